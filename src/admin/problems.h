#pragma once

#include <map>
#include <string>
#include <vector>

// What an administrator has to know, as found by the checks.

enum class ProblemKind {
    configuration,    // zut.conf
    disk,             // a file system that is full or read-only
    expired_month,    // pages that should be gone
    no_configuration, // logs of a service that the generator is not configured for
    no_generator,     // logs or pages of a domain without a generator
    owner,            // somebody else than root may write
    place,            // a directory, link or file that is missing or of another kind
    position,         // how far a log is prepared can't be told
    program,          // one that is missing or can't be started
    stale_pages,      // pages that are older than their data
    waiting           // records that no run has taken in
};

// The kinds' names, in alphabetical order: "configuration", "disk" and so on.
extern const std::map<ProblemKind, const char *> problem_kind_names;

struct Problem {
    ProblemKind kind;
    std::string domain; // empty for what concerns the whole server
    std::string what;   // begins with the path, unless it is about none
    std::string mend;   // a command, or what to do in words
};

using Problems = std::vector<Problem>;
