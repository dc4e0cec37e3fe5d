#include "util/unchanged.h"

#include "util/descriptors.h"
#include "util/errno_guard.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <string>

namespace
{

// Whether a read of that many bytes brought exactly the text.
bool is_text(ssize_t length, const std::string &bytes, const char *text, std::size_t size)
{
    return length == static_cast<ssize_t>(size) && std::memcmp(bytes.data(), text, size) == 0;
}

} // namespace

bool file_holds(const char *path, const char *text, std::size_t size)
{
    const ErrnoGuard kept;
    const Descriptor file(::open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOATIME | O_CLOEXEC));
    struct stat status = {};
    if (!file.is_open() || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) ||
        status.st_size != static_cast<off_t>(size)) {
        return false;
    }
    std::string bytes(size, '\0');
    return is_text(::read(file.get(), bytes.data(), size), bytes, text, size);
}

bool is_link_to(const char *path, const char *target)
{
    const ErrnoGuard kept;
    const std::size_t size = std::strlen(target);
    std::string bytes(size + 1, '\0'); // a longer target shows
    return is_text(::readlink(path, bytes.data(), bytes.size()), bytes, target, size);
}
