#include "admin/stored_file.h"

#include "admin/command.h"
#include "util/descriptors.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace
{

// Returns 0, or the error number.
int store(const std::string &path, const std::string &text, mode_t mode)
{
    if (::unlink(path.c_str()) != 0 && errno != ENOENT) {
        return errno;
    }
    Descriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
    const char *from = text.data();
    const char *const end = from + text.size();
    bool stored = file.is_open() && ::fchmod(file.get(), mode) == 0;
    while (stored && from != end) {
        const ssize_t written = ::write(file.get(), from, static_cast<std::size_t>(end - from));
        stored = written > 0;
        from += stored ? written : 0;
    }
    return stored && ::fsync(file.get()) == 0 && file.close() == 0 ? 0 : errno;
}

} // namespace

NewFile::NewFile(const std::string &path, const std::string &text, mode_t mode)
    : name_(path + "." + std::to_string(::getpid()) + ".new")
{
    const int error_number = store(name_, text, mode);
    if (error_number != 0) {
        ::unlink(name_.c_str());
        throw refusal_of(path, error_number);
    }
}

NewFile::~NewFile()
{
    ::unlink(name_.c_str());
}

void replace_file(const std::string &path, const std::string &text)
{
    struct stat found = {};
    if (::lstat(path.c_str(), &found) == 0 && !S_ISREG(found.st_mode)) {
        throw Refusal(path + ": not a regular file");
    }
    const NewFile file(path, text, 0644);
    if (::rename(file.name().c_str(), path.c_str()) != 0) {
        throw refusal_of(path, errno);
    }
}
