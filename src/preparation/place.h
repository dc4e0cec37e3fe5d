#pragma once

#include "util/descriptors.h"

#include <sys/stat.h>

#include <string>

// Finding files in directories that belong to others. A symbolic link counts only if it belongs to
// root and lies in a directory that belongs to root and that nobody else may write to: then only
// root can have made it.

// A name in an open directory, which is not a symbolic link.
struct Place {
    Descriptor owned;   // the directory, if it is not one that the caller has
    int directory = -1; // the directory
    std::string name;
    std::string path;        // for messages
    struct stat status = {}; // of what is there
    bool exists = false;

    bool isFile() const { return exists && S_ISREG(status.st_mode); }
};

// Looks at the name in the directory, and follows no link. Throws korvo::SystemError.
Place place_at(int directory, const std::string &path, const std::string &name);

// The same for another name in the directory of a place.
Place beside(const Place &place, const std::string &name);

// Finds the name in the directory, which must stay open as long as the place is used, and follows
// links. path: the path of the directory, for messages. What is not there is no error; a link that
// leads to nothing leads to the place where the file would be, if there is a directory for it.
// Throws korvo::SystemError, and std::runtime_error for a link that does not count or a directory
// that is missing; both name the path.
Place find_place(int directory, const std::string &path, const std::string &name);

// A directory, open to find places in it or to sync it.
struct Directory {
    Descriptor descriptor;
    std::string path; // for messages

    int get() const { return descriptor.get(); }
    bool isOpen() const { return descriptor.is_open(); }
};

// Opens the directory that the name leads to, as find_place does. What is returned is not open if
// there is none. Throws what find_place throws.
Directory open_directory(int directory, const std::string &path, const std::string &name);

// Opens the regular file at the place with the flags besides those that keep links out. Throws
// std::runtime_error if something else is there, which is not opened, and korvo::SystemError. Tells
// its status anew.
Descriptor open_file(Place &place, int flags);

// Throws korvo::SystemError with the path and the text of errno.
[[noreturn]] void fail(const std::string &path);

// Throws std::runtime_error with the path and the reason.
[[noreturn]] void fail(const std::string &path, const std::string &reason);
