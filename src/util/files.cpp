#include "util/files.h"

#include "util/bounded_format.h"
#include "util/descriptors.h"
#include "util/owned.h"
#include "util/report.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

namespace
{

int make_file(const char *path, int flags, mode_t mode, const char *failure)
{
    const Descriptor file(::open(path, O_WRONLY | O_CREAT | O_NONBLOCK | O_CLOEXEC | flags, mode));
    if (!file.is_open()) {
        return report_failure(failure, path);
    }
    return 0;
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

bool file_exists(const char *path)
{
    struct stat status = {};
    return ::stat(path, &status) == 0 && S_ISREG(status.st_mode);
}

int read_line(const char *path, char *buffer, std::size_t size)
{
    const OwnedFile file(std::fopen(path, "re"));
    if (file == nullptr) {
        return report_failure("Unable to open file %s: %s\n", path);
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
