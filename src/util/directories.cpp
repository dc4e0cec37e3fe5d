#include "util/directories.h"

#include "util/descriptors.h"
#include "util/directory_walk.h"
#include "util/report.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace
{

int failed(const char *format, const char *path)
{
    report(0, 0, format, path, std::strerror(errno));
    return -1;
}

// Ends the program with a report if the removal failed for any reason but a vanished entry.
void require_removed(int result, const char *format, const char *path)
{
    if (result != 0 && errno != ENOENT) {
        report(1, 0, format, path, std::strerror(errno));
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

} // namespace

int make_dir_owned(const char *path, uid_t owner, gid_t group, mode_t mode)
{
    errno = 0;
    if (::mkdir(path, mode) != 0 && errno != EEXIST) {
        return failed("ERROR: Unable to mkdir %s: %s\n", path);
    }
    // Without O_NONBLOCK a FIFO would hold the run.
    const Descriptor entry(::open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    const bool link_or_vanished = !entry.is_open() && (errno == ELOOP || errno == ENOENT);
    if (link_or_vanished) {
        return 0;
    }
    if (!entry.is_open() || ::fchown(entry.get(), owner, group) != 0) {
        return failed("ERROR: Unable to chown %s: %s\n", path);
    }
    if (::fchmod(entry.get(), mode) != 0) {
        return failed("ERROR: Unable to chmod %s: %s\n", path);
    }
    return 0;
}

void remove_tree(const char *path, bool remove_top)
{
    const RaisedDescriptorLimit raised;
    remove_path(path, remove_top);
}
