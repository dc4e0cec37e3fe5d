#include "admin/stored_file.h"

#include "admin/command.h"
#include "util/descriptors.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

void store_file(const std::string &path, const std::string &text, mode_t mode)
{
    Descriptor file(
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, mode));
    const char *from = text.data();
    const char *const end = from + text.size();
    bool stored = file.is_open() && ::fchmod(file.get(), mode) == 0;
    while (stored && from != end) {
        const ssize_t written = ::write(file.get(), from, static_cast<std::size_t>(end - from));
        stored = written > 0;
        from += stored ? written : 0;
    }
    if (!stored || ::fsync(file.get()) != 0 || file.close() != 0) {
        throw refusal_of(path, errno);
    }
}

void replace_file(const std::string &path, const std::string &text)
{
    const std::string next = path + ".new";
    store_file(next, text, 0644);
    if (::rename(next.c_str(), path.c_str()) != 0) {
        const int error_number = errno;
        ::unlink(next.c_str());
        throw refusal_of(path, error_number);
    }
}
