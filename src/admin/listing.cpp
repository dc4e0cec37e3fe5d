#include "admin/listing.h"

#include "util/descriptors.h"
#include "util/directory_walk.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/types.h>

#include <vector>

struct stat look_at(int at, const std::string &path, int flags)
{
    struct stat found = {};
    if (::fstatat(at, path.c_str(), &found, flags) != 0) {
        found.st_mode = 0;
    }
    return found;
}

bool is_there(const std::string &path)
{
    return look_at(AT_FDCWD, path, AT_SYMLINK_NOFOLLOW).st_mode != 0;
}

bool read_directory(int at, const char *path, const EntryReader &reader)
{
    const Descriptor directory(::openat(at, path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!directory.is_open()) {
        return false;
    }
    std::vector<char> buffer(32768);
    ssize_t length = 0;
    while ((length = ::getdents64(directory.get(), buffer.data(), buffer.size())) > 0) {
        for (ssize_t at_entry = 0; at_entry < length;) {
            const auto *const entry =
                reinterpret_cast<const dirent64 *>(&buffer[static_cast<std::size_t>(at_entry)]);
            if (!is_dot_or_dot_dot(entry->d_name)) {
                reader(directory.get(), entry->d_name, entry->d_type);
            }
            at_entry += entry->d_reclen;
        }
    }
    return length == 0;
}
