#include "preparation/position_file.h"

#include "preparation/place.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace
{

Descriptor open_positions(const std::string &path)
{
    Descriptor directory(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!directory.is_open()) {
        fail(path);
    }
    return directory;
}

void sync_directory(const std::string &path)
{
    const Descriptor directory = open_positions(path);
    if (::fsync(directory.get()) != 0) {
        fail(path);
    }
}

std::string around(const std::string &path)
{
    return path.substr(0, path.rfind('/'));
}

// Makes the directory if it is missing.
void make_directory(const std::string &path)
{
    if (::mkdir(path.c_str(), 0700) == 0) {
        sync_directory(around(path));
    } else if (errno != EEXIST) {
        fail(path);
    }
}

Descriptor create(const std::string &path)
{
    const int flags = O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC;
    Descriptor file(::open(path.c_str(), flags, 0600));
    if (!file.is_open() && errno == ENOENT) {
        make_directory(around(path));
        file = Descriptor(::open(path.c_str(), flags, 0600));
    }
    if (!file.is_open()) {
        fail(path);
    }
    return file;
}

} // namespace

Descriptor lock_log_positions()
{
    const std::string path = log_positions_dir();
    make_directory(path);
    Descriptor directory = open_positions(path);
    struct stat status = {};
    if (::fstat(directory.get(), &status) != 0) {
        fail(path);
    }
    if (status.st_uid != ::geteuid() || (status.st_mode & 022U) != 0) {
        fail(path, "belongs to others than root, or they can write to it");
    }
    if (lock_descriptor(directory.get(), true) != 0) {
        fail(path);
    }
    return directory;
}

void write_log_position(const std::string &path, const LogPosition &position)
{
    const std::string new_path = path + ".new";
    const std::string text = log_position_text(position);
    const Descriptor file = create(new_path);
    const ssize_t written = ::write(file.get(), text.data(), text.size());
    if (written >= 0 && static_cast<std::size_t>(written) < text.size()) {
        errno = ENOSPC;
    }
    if (written != static_cast<ssize_t>(text.size()) || ::fsync(file.get()) != 0) {
        fail(new_path);
    }
    if (::rename(new_path.c_str(), path.c_str()) != 0) {
        fail(path);
    }
    sync_directory(around(path));
}
