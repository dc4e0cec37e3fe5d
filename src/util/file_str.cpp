#include "util/file_str.h"

#include "util/descriptors.h"
#include "util/errno_guard.h"
#include "util/owned.h"
#include "util/report.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

namespace
{

// Opens and locks the file that is at the path once the lock is held: whoever held it before may
// have put another one there. Null after a report.
OwnedFile open_locked(const std::string &path, struct stat &status)
{
    for (;;) {
        OwnedFile file(std::fopen(path.c_str(), "re"));
        if (file == nullptr) {
            report_failure("file_str: Unable to open file %s: %s\n", path.c_str());
            return nullptr;
        }
        if (lock_descriptor(::fileno(file.get()), true) != 0) {
            report_failure("Error occurred while locking the file %s: %s\n", path.c_str());
            return nullptr;
        }
        struct stat current = {};
        if (::fstat(::fileno(file.get()), &status) != 0 || ::stat(path.c_str(), &current) != 0) {
            report_failure("file_str: Unable to stat file %s: %s\n", path.c_str());
            return nullptr;
        }
        if (current.st_dev == status.st_dev && current.st_ino == status.st_ino) {
            return file;
        }
    }
}

// The new file beside the old one; removed unless it has taken that one's place.
class Replacement
{
public:
    explicit Replacement(const std::string &path) : path_(path), temporary_(path + ".tmp") {}
    ~Replacement()
    {
        const ErrnoGuard kept;
        if (file_ != nullptr && is_own()) {
            ::unlink(temporary_.c_str());
        }
        file_.reset();
    }
    Replacement(const Replacement &) = delete;
    Replacement &operator=(const Replacement &) = delete;

    // One that is there already was left by an editor that did not come to its end.
    int open(const struct stat &status)
    {
        ::unlink(temporary_.c_str());
        Descriptor created(
            ::open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
        if (!created.is_open()) {
            return report_failure("file_str: Unable to create file %s: %s\n", temporary_.c_str());
        }
        file_.reset(::fdopen(created.get(), "w"));
        if (file_ == nullptr) {
            ::unlink(temporary_.c_str());
            return report_failure("file_str: Unable to open file %s: %s\n", temporary_.c_str());
        }
        const int descriptor = created.release(); // closed with the stream
        if (::fchown(descriptor, status.st_uid, status.st_gid) != 0 ||
            ::fchmod(descriptor, status.st_mode & 07777U) != 0) {
            return report_failure("file_str: Unable to set owner and mode of file %s: %s\n",
                                  temporary_.c_str());
        }
        return 0;
    }

    std::FILE *stream() const { return file_.get(); }

    int write_failed() const
    {
        report(0, 0, "cannot write a line to %s", temporary_.c_str());
        return -1;
    }

    int take_place()
    {
        if (std::fflush(stream()) != 0 || ::fsync(::fileno(stream())) != 0) {
            return write_failed();
        }
        if (!is_own()) {
            errno = ESTALE;
            return report_failure("Unable to rename file %s: %s\n", temporary_.c_str());
        }
        if (::rename(temporary_.c_str(), path_.c_str()) != 0) {
            return report_failure("Unable to rename file %s: %s\n", temporary_.c_str());
        }
        file_.reset();
        return 0;
    }

private:
    // Whether the name still is that of this file: an editor that does not know of this one's lock,
    // because the file has been replaced, makes a new one.
    bool is_own() const
    {
        struct stat ours = {};
        struct stat named = {};
        return ::fstat(::fileno(stream()), &ours) == 0 &&
               ::lstat(temporary_.c_str(), &named) == 0 && ours.st_dev == named.st_dev &&
               ours.st_ino == named.st_ino;
    }

    std::string path_;
    std::string temporary_;
    OwnedFile file_;
};

int edit_lines(const std::string &path, std::FILE *old_file, const Replacement &replacement,
               LineEditor editor, void *context)
{
    char *line = nullptr;
    std::size_t capacity = 0;
    ssize_t length = 0;
    int result = 0;
    while (result == 0 && (length = ::getline(&line, &capacity, old_file)) != -1) {
        result = editor(line, static_cast<std::size_t>(length), replacement.stream(), context);
        if (std::ferror(replacement.stream())) {
            result = replacement.write_failed();
        }
    }
    const ErrnoGuard kept;
    const Malloced<char> owned(line);
    if (result == 0 && !std::feof(old_file)) {
        return report_failure("file_str: Unable to read file %s: %s\n", path.c_str());
    }
    return result;
}

} // namespace

int file_str(const char *path, LineEditor editor, void *context)
{
    const Malloced<char> resolved(::realpath(path, nullptr));
    if (resolved == nullptr) {
        return report_failure("file_str: Unable to stat file %s: %s\n", path);
    }
    const std::string file_path = resolved.get();
    struct stat status = {};
    const OwnedFile old_file = open_locked(file_path, status);
    if (old_file == nullptr) {
        return -1;
    }
    Replacement replacement(file_path);
    if (replacement.open(status) != 0 ||
        edit_lines(file_path, old_file.get(), replacement, editor, context) != 0) {
        return -1;
    }
    return replacement.take_place();
}
