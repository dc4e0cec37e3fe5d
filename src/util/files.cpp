#include "util/files.h"

#include "util/bounded_format.h"
#include "util/descriptors.h"
#include "util/malloced.h"
#include "util/owned_streams.h"
#include "util/report.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace
{

int make_file(const char *path, int flags, mode_t mode, const char *failure)
{
    const Descriptor file(::open(path, O_WRONLY | O_CREAT | O_NONBLOCK | O_CLOEXEC | flags, mode));
    if (!file.is_open()) {
        report(0, 0, failure, path, std::strerror(errno));
        return -1;
    }
    return 0;
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

bool has_type(const char *path, mode_t type)
{
    struct stat status = {};
    return ::stat(path, &status) == 0 && (status.st_mode & S_IFMT) == type;
}

// The resolved name of a directory; null after a report.
Malloced<char> resolve_dir(const char *path)
{
    const std::string inside = std::string(path) + "/.";
    Malloced<char> name(::realpath(*path == '\0' ? path : inside.c_str(), nullptr));
    if (name == nullptr) {
        report(0, 0, "Unable to change dir %s: %s\n", path, std::strerror(errno));
    }
    return name;
}

int stream_failed(const char *message)
{
    report(0, 0, "%s", message);
    return -1;
}

} // namespace

int truncate_or_create_file(const char *path, mode_t mode)
{
    return make_file(path, O_TRUNC, mode, "Unable to truncate or create file %s: %s");
}

int create_file(const char *path, mode_t mode)
{
    return make_file(path, O_EXCL, mode, "Unable to create file %s: %s");
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

bool file_exists(const char *path)
{
    return has_type(path, S_IFREG);
}

bool dir_exists(const char *path)
{
    return has_type(path, S_IFDIR);
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

int read_line(const char *path, char *buffer, std::size_t size)
{
    const OwnedFile file(std::fopen(path, "re"));
    if (file == nullptr) {
        report(0, 0, "Unable to open file %s: %s\n", path, std::strerror(errno));
        return -1;
    }
    std::size_t length = 0;
    int character = EOF;
    while (length < size && (character = std::getc(file.get())) != EOF && character != '\n') {
        buffer[length++] = static_cast<char>(character);
    }
    if (std::ferror(file.get())) {
        report(0, 0, "Unable to read line from file: %s\n", std::strerror(errno));
        return -1;
    }
    if (length >= size) {
        errno = ERANGE;
        report(0, 0, "The buffer too short\n");
        return -1;
    }
    buffer[length] = '\0';
    return 0;
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

int copy_stream(std::FILE *input, std::FILE *output)
{
    if (std::ferror(output)) {
        return stream_failed("Output stream error occurred.");
    }
    char buffer[bounded_buffer_size];
    std::size_t count = 0;
    while ((count = std::fread(buffer, 1, sizeof buffer, input)) > 0) {
        if (std::fwrite(buffer, 1, count, output) < count) {
            return stream_failed("Writing to output stream failed.");
        }
    }
    if (std::ferror(input)) {
        return stream_failed("Input stream error occurred.");
    }
    return std::fflush(output) == 0 ? 0 : stream_failed("Writing to output stream failed.");
}
