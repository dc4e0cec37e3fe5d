#pragma once

#include <sys/resource.h>
#include <sys/stat.h>

#include <functional>

// Called for each entry of a directory, with its bare name and its status; links are not followed.
// The working directory is the one that is being walked, and must be again on return. Returns
// whether the walk goes on.
using EntryVisitor = std::function<bool(const char *name, const struct stat &status)>;

// Called after the last entry, before the walk returns to the saved working directory. Returns
// whether the walk goes on.
using ListingEnd = std::function<bool()>;

// Whether a walk accepts a path whose last component is a symbolic link to a directory.
enum class FinalLink { follow, refuse };

// Walks the entries of one directory, "." and ".." included, through the working directory: saves
// it, opens the directory, changes into it, visits the entries in the directory's own order,
// returns to the saved working directory and closes the listing. Names stay bare, so the depth of
// nested walks is not limited by the length of a path; each level holds two descriptors. An entry
// that has vanished is skipped.
//
// Returns true when all of this succeeded. Each failure is reported with the exit status, and a
// status other than 0 thereby ends the program; with 0 the walk returns false:
// - a failure to save, open or change: the working directory is as before and nothing stays open;
// - a failure to check an entry, or false from visit or from listed: the walk stops at once and
//   leaves the working directory, the saved descriptor and the listing as they are;
// - a failure to return or to close: what could not be restored stays so.
// A listing that can't be read to its end is reported and taken to end there.
bool walk_directory(const char *path, FinalLink final_link, int exit_status,
                    const EntryVisitor &visit, const ListingEnd &listed = {});

bool is_dot_or_dot_dot(const char *name);

// Raises the limit of open descriptors as far as the process may, but not so far that the stack
// gives out before, and puts it back at the end of its life: for walks that call themselves at every
// level of a deep tree.
class RaisedDescriptorLimit
{
public:
    RaisedDescriptorLimit() noexcept;
    ~RaisedDescriptorLimit();
    RaisedDescriptorLimit(const RaisedDescriptorLimit &) = delete;
    RaisedDescriptorLimit &operator=(const RaisedDescriptorLimit &) = delete;

private:
    rlimit previous_ = {};
};
