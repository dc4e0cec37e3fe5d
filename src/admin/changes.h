#pragma once

#include "admin/ending_signals.h"

#include <sys/types.h>

#include <string>
#include <vector>

// Makes directories, files and links, all of them or none: what was made is taken away again at the
// end of the object's life unless keep() was called. Signals that ask the program to end wait until
// then. What is there already is never changed. All belongs to root. Every failure is a Refusal that
// names the path and the reason.
class Changes
{
public:
    Changes() = default;
    ~Changes();
    Changes(const Changes &) = delete;
    Changes &operator=(const Changes &) = delete;

    // Makes the directory with the mode, whatever the file-creation mask, and the ones that are
    // missing above it with 0755. Returns false if there is a directory already.
    bool make_dir(const std::string &path, mode_t mode);

    // Makes the file, which gets its name only when all of it is on the disk. Refuses where there
    // is anything already.
    void write_file(const std::string &path, const std::string &text, mode_t mode);

    // Makes the symbolic link. Refuses where there is anything already but the same link.
    void make_link(const std::string &target, const std::string &path);

    // What has been made so far stays.
    void keep() { made_.clear(); }

    // The same, after a directory that was made has got its last name, at which there is nothing.
    void keep_renamed(const std::string &from, const std::string &to);

private:
    const HeldSignals held_;
    std::vector<std::string> made_;
};
