#include "util/ownership.h"

#include "util/directory_walk.h"
#include "util/report.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <functional>

namespace
{

// What is done to every entry of a tree, and what to say where it fails.
struct TreeChange {
    std::function<int(const char *path, const struct stat &status)> apply;
    const char *entry_failed;     // an entry of a directory
    const char *directory_failed; // a directory
    const char *path_failed;      // the path that the change began with, if it is no directory
};

// Reports a failure, if there is one; only a vanished entry does not end the program.
void require(int result, const char *format, const char *path)
{
    if (result == 0) {
        return;
    }
    if (errno == ENOENT) {
        report_failure("Directory entry %s doesn't exist: %s\n", path);
    } else {
        report_failure(format, path, 1);
    }
}

void change_directory_tree(const char *path, const struct stat &status, const TreeChange &change)
{
    walk_directory(path, FinalLink::refuse, 1, [&](const char *name, const struct stat &entry) {
        if (!S_ISDIR(entry.st_mode)) {
            require(change.apply(name, entry), change.entry_failed, name);
        } else if (!is_dot_or_dot_dot(name)) {
            change_directory_tree(name, entry, change);
        }
        return true;
    });
    require(change.apply(path, status), change.directory_failed, path);
}

void change_tree(const char *path, const TreeChange &change)
{
    const RaisedDescriptorLimit raised;
    struct stat status = {};
    if (::lstat(path, &status) != 0) {
        report_failure("Unable to get entry %s: %s\n", path, 1);
    } else if (S_ISDIR(status.st_mode)) {
        change_directory_tree(path, status, change);
    } else {
        require(change.apply(path, status), change.path_failed, path);
    }
}

} // namespace

int set_owner_and_mode(const char *path, uid_t owner, gid_t group, mode_t mode)
{
    if (::chown(path, owner, group) != 0) {
        return report_failure("ERROR: unable to chown %s: %s\n", path);
    }
    if (::chmod(path, mode) != 0) {
        return report_failure("ERROR: unable to chmod %s: %s\n", path);
    }
    return 0;
}

void chown_tree(const char *path, uid_t owner, gid_t group)
{
    const char *const entry_failed = "Unable to chown directory entry %s: %s\n";
    const auto apply = [&](const char *entry, const struct stat &) {
        return ::lchown(entry, owner, group);
    };
    change_tree(path, {apply, entry_failed, "Unable to chown dir %s: %s\n", entry_failed});
}

void chmod_tree(const char *path, mode_t mode)
{
    const auto apply = [&](const char *entry, const struct stat &status) {
        return S_ISLNK(status.st_mode) ? 0 : ::fchmodat(AT_FDCWD, entry, mode, AT_SYMLINK_NOFOLLOW);
    };
    change_tree(path, {apply, "Unable to chmod directory entry %s: %s\n",
                       "Unable to chmod dir %s: %s\n", "Unable to chmod entry %s: %s\n"});
}
