#include "util/directories.h"

#include "util/accounts.h"
#include "util/descriptors.h"
#include "util/directory_walk.h"
#include "util/errno_guard.h"
#include "util/owned.h"
#include "util/report.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

namespace
{

// Ends the program with a report if the removal failed for any reason but a vanished entry.
void require_removed(int result, const char *format, const char *path)
{
    if (result != 0 && errno != ENOENT) {
        report_failure(format, path, 1);
    }
}

void remove_path(const char *path, bool remove_top);

bool remove_entry(const char *name, const struct stat &status)
{
    if (!S_ISDIR(status.st_mode)) {
        require_removed(::unlink(name), "Unable to unlink directory entry %s: %s\n", name);
    } else if (!is_dot_or_dot_dot(name)) {
        remove_path(name, true);
    }
    return true;
}

void remove_path(const char *path, bool remove_top)
{
    struct stat status = {};
    if (::lstat(path, &status) != 0) {
        require_removed(-1, "Unable to get entry %s: %s\n", path);
        return;
    }
    if (S_ISREG(status.st_mode) || S_ISLNK(status.st_mode)) {
        require_removed(::unlink(path), "Unable to unlink entry %s: %s\n", path);
        return;
    }
    walk_directory(path, FinalLink::refuse, 1, remove_entry);
    if (remove_top) {
        require_removed(::rmdir(path), "Unable to remove dir %s: %s\n", path);
    }
}

// Set the owner, or the mode, of what was opened. What can't be opened, as a socket, is changed by
// its name, which must not be a link: none is followed.
int change_owner(const Descriptor &entry, const char *path, uid_t owner, gid_t group)
{
    return entry.is_open() ? ::fchown(entry.get(), owner, group)
                           : ::fchownat(AT_FDCWD, path, owner, group, AT_SYMLINK_NOFOLLOW);
}

int change_mode(const Descriptor &entry, const char *path, mode_t mode)
{
    return entry.is_open() ? ::fchmod(entry.get(), mode)
                           : ::fchmodat(AT_FDCWD, path, mode, AT_SYMLINK_NOFOLLOW);
}

// Renames a directory without replacing what is at the target. Where the file system can't promise
// that in one step, a look beforehand has to do.
int rename_to_free_name(const char *from, const char *to)
{
    struct stat status = {};
    if (::lstat(from, &status) != 0) {
        return -1;
    }
    if (!S_ISDIR(status.st_mode)) {
        errno = ENOTDIR;
        return -1;
    }
    if (::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) {
        return 0;
    }
    if (errno != EINVAL && errno != ENOSYS) {
        return -1;
    }
    if (::lstat(to, &status) == 0) {
        errno = EEXIST;
        return -1;
    }
    return ::rename(from, to);
}

// The resolved name of a directory; null after a report.
Malloced<char> resolve_dir(const char *path)
{
    const std::string inside = std::string(path) + "/.";
    Malloced<char> name(::realpath(*path == '\0' ? path : inside.c_str(), nullptr));
    if (name == nullptr) {
        report_failure("Unable to change dir %s: %s\n", path);
    }
    return name;
}

} // namespace

int make_dir_owned(const char *path, uid_t owner, gid_t group, mode_t mode)
{
    errno = 0;
    if (::mkdir(path, mode) != 0 && errno != EEXIST) {
        return report_failure("ERROR: Unable to mkdir %s: %s\n", path);
    }
    // Without O_NONBLOCK a FIFO would hold the run.
    const Descriptor entry(::open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    const bool link_or_vanished = !entry.is_open() && (errno == ELOOP || errno == ENOENT);
    if (link_or_vanished) {
        return 0;
    }
    const bool is_known = entry.is_open() || errno == ENXIO;
    if (!is_known || change_owner(entry, path, owner, group) != 0) {
        return report_failure("ERROR: Unable to chown %s: %s\n", path);
    }
    if (change_mode(entry, path, mode) != 0) {
        return report_failure("ERROR: Unable to chmod %s: %s\n", path);
    }
    return 0;
}

int make_user_dir(const char *path, const char *user, mode_t mode)
{
    uid_t owner = 0;
    gid_t group = 0;
    if (user_id_by_name(user, &owner, &group) != 0) {
        return -1;
    }
    if (::mkdir(path, mode) != 0) {
        return report_failure("Cannot create directory %s: %s", path);
    }
    // By descriptor: in a directory of somebody else's, the name may be a link by now.
    const Descriptor directory(::open(path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!directory.is_open() || ::fchown(directory.get(), owner, group) != 0) {
        report_failure("Cannot chown %s: %s", path);
        const ErrnoGuard kept;
        ::rmdir(path);
        return -1;
    }
    return 0;
}

int make_dir_with_umask(const char *path, mode_t mode, mode_t mask)
{
    const mode_t previous = ::umask(mask);
    const int result = ::mkdir(path, mode);
    ::umask(previous);
    return result;
}

void remove_tree(const char *path, bool remove_top)
{
    const RaisedDescriptorLimit raised;
    remove_path(path, remove_top);
}

int rename_dir(const char *from, const char *to)
{
    if (rename_to_free_name(from, to) == 0) {
        return 0;
    }
    if (errno == EEXIST) {
        report(0, 0, "Directory rename error: target directory %s already exists.\n", to);
    } else {
        report(0, 0, "Remaming %s to %s failed: %s\n", from, to, std::strerror(errno));
    }
    return -1;
}

bool dir_exists(const char *path)
{
    struct stat status = {};
    return ::stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

int is_dir_inside(const char *inner, const char *outer)
{
    const Malloced<char> inner_name = resolve_dir(inner);
    const Malloced<char> outer_name = inner_name == nullptr ? nullptr : resolve_dir(outer);
    if (outer_name == nullptr) {
        return -1;
    }
    const std::size_t length = std::strlen(outer_name.get());
    const bool same_start = std::strncmp(inner_name.get(), outer_name.get(), length) == 0;
    const char next = same_start ? inner_name.get()[length] : '\0';
    const bool outer_is_root = length == 1;
    return same_start && (next == '\0' || next == '/' || outer_is_root) ? 1 : 0;
}

char *find_entry(const char *directory, const char *name)
{
    const OwnedListing listing(::opendir(directory));
    if (listing == nullptr) {
        return nullptr;
    }
    std::string found;
    errno = 0;
    while (const dirent *const entry = ::readdir(listing.get())) {
        const bool same = std::strcmp(entry->d_name, name) == 0;
        if (same || (found.empty() && ::strcasecmp(entry->d_name, name) == 0)) {
            found = entry->d_name;
        }
        if (same) {
            break;
        }
    }
    if (found.empty()) {
        errno = errno == 0 ? ENOENT : errno;
        return nullptr;
    }
    return xasprintf("%s/%s", directory, found.c_str());
}
