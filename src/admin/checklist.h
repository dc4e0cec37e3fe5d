#pragma once

#include "admin/problems.h"

#include <sys/stat.h>

#include <set>
#include <string>
#include <utility>

// The problems that have been found so far, and the looks that many checks take.
class Checklist
{
public:
    // Whose problems are found from now on; empty for the server's.
    void begin_domain(const std::string &domain) { domain_ = domain; }

    void add(ProblemKind kind, const std::string &what, const std::string &mend);

    // That what was found at the path, its links not followed (st_mode 0: nothing), is a directory
    // in which nobody but root may write, on a file system that takes what is written. Returns
    // whether it is a directory. mode: what a missing one has to be made with; one that a link leads to
    // is to take the link's place.
    bool expect_directory(const std::string &path, const struct stat &found, const char *mode);

    // That there is such a directory, also by a link, and that nobody but root can put another in its
    // place. Whether its file system takes what is written matters only where runs write to it.
    enum class Written { yes, no };
    void expect_shared_directory(const std::string &name, Written written,
                                 const char *mode = "755");

    // That nobody but root may write.
    void expect_owner(const std::string &path, const struct stat &found);

    // The same of the directories above the path, and above what it leads to; one in which everybody
    // can only touch what is his own, as in /tmp, will do.
    void expect_owner_above(const std::string &path);

    // That it is a program, which only root can change or replace. Returns whether it can be started.
    // mend: what puts a file there.
    bool expect_program(const std::string &path, const std::string &mend);

    const Problems &problems() const { return problems_; }

private:
    bool expect_kind(const std::string &path, const struct stat &found, const char *mode);
    void expect_disk(const std::string &path, dev_t device);

    Problems problems_;
    std::string domain_;
    std::set<std::pair<dev_t, ino_t>> above_; // directories that have been looked at
    std::set<std::pair<dev_t, bool>>
        disks_; // that have been looked at, and whether they are read-only
};
