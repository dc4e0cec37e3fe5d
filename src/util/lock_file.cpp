#include "util/lock_file.h"

#include "util/bounded_format.h"
#include "util/descriptors.h"
#include "util/report.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

const char *lock_files_dir = "/var/lock/files";

namespace
{

std::string lock_path(const char *name)
{
    return format_bounded("%s/%s", lock_files_dir, name);
}

int open_lock_file(const char *name, const std::string &path)
{
    if (std::strchr(name, '/') != nullptr) {
        errno = EINVAL;
        return -1;
    }
    return ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
}

} // namespace

int take_lock_file(const char *name, LockWait wait)
{
    const std::string path = lock_path(name);
    Descriptor file(open_lock_file(name, path));
    if (!file.is_open()) {
        return report_failure("Unable to open file \"%s\": %s.", path.c_str());
    }
    if (lock_descriptor(file.get(), wait == LockWait::wait) != 0) {
        if (errno != EWOULDBLOCK) {
            report_failure("Error occurred while locking the file %s: %s\n", path.c_str());
        }
        return -1;
    }
    return file.release();
}

int release_lock_file(const char *name, int descriptor)
{
    ::flock(descriptor, LOCK_UN); // a forked child may hold the descriptor, too
    if (::close(descriptor) != 0) {
        return report_failure("An error occured during closing '%s' file: %s\n",
                              lock_path(name).c_str());
    }
    return 0;
}
