#pragma once

#include "admin/problems.h"

#include <sys/stat.h>

#include <set>
#include <string>

// The problems that have been found so far, and the looks that many checks take.
class Checklist
{
public:
    // Whose problems are found from now on; empty for the server's.
    void begin_domain(const std::string &domain) { domain_ = domain; }

    void add(ProblemKind kind, const std::string &what, const std::string &mend);

    // That what was found at the path, its links not followed (st_mode 0: nothing), is a directory
    // in which nobody but root may write. Returns whether it is a directory. mode: what a missing one
    // has to be made with.
    bool expect_directory(const std::string &path, const struct stat &found, const char *mode);

    // That there is such a directory; a link to one will do. Where runs write to it, its file
    // system has to take that.
    enum class Written { yes, no };
    void expect_shared_directory(const std::string &path, Written written,
                                 const char *mode = "755");

    // That nobody but root may write.
    void expect_owner(const std::string &path, const struct stat &found);

    // That it is a program.
    void expect_program(const std::string &path, const std::string &mend);

    const Problems &problems() const { return problems_; }

    // That the file system of the path, which is on that device, takes what is written.
    void expect_disk(const std::string &path, dev_t device);

private:
    Problems problems_;
    std::string domain_;
    std::set<dev_t> devices_; // whose file systems have been looked at
};
