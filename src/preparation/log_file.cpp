#include "preparation/log_file.h"

#include "exec/system_error.h"

#include <openssl/sha.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <numeric>
#include <utility>
#include <vector>

namespace
{

constexpr unsigned compressed_buffer_size = 131072;
constexpr std::size_t buffer_size = 65536;
constexpr std::size_t fingerprint_bytes = 16;
const char *const damaged = "is damaged or cut short";

std::string fingerprint(const std::string &text, std::uint64_t length)
{
    if (length == 0) {
        return "-";
    }
    unsigned char digest[SHA256_DIGEST_LENGTH];
    ::SHA256(reinterpret_cast<const unsigned char *>(text.data()),
             std::min<std::uint64_t>(length, text.size()), digest);
    char hex[2 * fingerprint_bytes + 1];
    for (std::size_t i = 0; i < fingerprint_bytes; ++i) {
        std::snprintf(hex + 2 * i, 3, "%02x", digest[i]);
    }
    return hex;
}

std::uint64_t fingerprinted(std::uint64_t taken)
{
    return std::min<std::uint64_t>(taken, fingerprint_reach);
}

std::uint64_t summed_up(std::uint64_t taken)
{
    return std::min<std::uint64_t>(taken, ending_reach);
}

// A sum in which each byte weighs so much more than the next one.
std::uint64_t add(std::uint64_t sum, char byte)
{
    return sum * 6364136223846793005U + static_cast<unsigned char>(byte);
}

std::uint64_t sum_of(const std::string &text)
{
    return std::accumulate(text.begin(), text.end(), std::uint64_t{0}, add);
}

} // namespace

LogFile::LogFile(Place place) : place_(std::move(place)), file_(open_file(place_, O_RDONLY))
{
    if (!is_compressed(place_.name)) {
        beginning_ = readAt(0, fingerprint_reach);
        return;
    }
    startDecompressing();
    beginning_.resize(fingerprint_reach);
    beginning_.resize(readCompressed(beginning_.data(), beginning_.size()));
    gzrewind(compressed_.get());
}

void LogFile::close()
{
    compressed_.reset();
    file_ = Descriptor();
    next_ = 0;
}

void LogFile::reopen()
{
    if (file_.is_open()) {
        return;
    }
    const struct stat known = place_.status;
    try {
        file_ = open_file(place_, O_RDONLY);
    } catch (const korvo::ExSystemError<ENOENT> &) {
        throw LogChanged(place_.path);
    }
    if (place_.status.st_ino != known.st_ino) {
        throw LogChanged(place_.path);
    }
    place_.status = known;
    if (is_compressed(place_.name)) {
        startDecompressing();
    }
}

void LogFile::startDecompressing()
{
    const int copy = ::lseek(file_.get(), 0, SEEK_SET) == 0
                         ? ::fcntl(file_.get(), F_DUPFD_CLOEXEC, 0) // closed with the stream
                         : -1;
    if (copy == -1) {
        fail(place_.path);
    }
    compressed_.reset(gzdopen(copy, "r"));
    if (compressed_ == nullptr) {
        ::close(copy);
        errno = ENOMEM;
        fail(place_.path);
    }
    if (place_.status.st_size == 0) {
        fail(place_.path, damaged);
    }
    gzbuffer(compressed_.get(), compressed_buffer_size);
}

bool LogFile::beginsAs(const TakenFile &file) const
{
    const std::uint64_t length = fingerprinted(file.taken);
    return length > 0 && beginning_.size() >= length &&
           fingerprint(beginning_, length) == file.fingerprint;
}

bool LogFile::isKnownAs(const TakenFile &file)
{
    return beginsAs(file) && upToEnd(file.taken) == file.taken &&
           (file.ending == 0 || sum_of(readBefore(file.taken)) == file.ending);
}

std::optional<std::uint64_t> LogFile::findEnding(const TakenFile &file)
{
    const std::uint64_t length = summed_up(file.taken);
    const std::uint64_t weight = sum_of('\1' + std::string(length, '\0')); // of a byte that goes
    std::string text(length, '\0'); // what is summed up, and what comes next
    std::vector<char> buffer(buffer_size);
    std::uint64_t sum = 0;
    std::uint64_t passed = 0;
    while (const std::size_t count = read(buffer.data(), buffer.size())) {
        text.append(buffer.data(), count);
        for (std::size_t i = 0; i < count; ++i) {
            sum = add(sum, text[length + i]) - weight * static_cast<unsigned char>(text[i]);
            if (sum == file.ending) {
                close();
                return passed + i + 1;
            }
        }
        text.erase(0, count);
        passed += count;
    }
    close();
    return std::nullopt;
}

bool LogFile::isTheSame() const
{
    return is_compressed(place_.name) || readAt(0, beginning_.size()) == beginning_;
}

std::uint64_t LogFile::upToEnd(std::uint64_t bytes) const
{
    const auto size = static_cast<std::uint64_t>(place_.status.st_size);
    return is_compressed(place_.name) ? bytes : std::min(bytes, size);
}

std::size_t LogFile::read(char *buffer, std::size_t size)
{
    if (compressed_ != nullptr) {
        return readCompressed(buffer, size);
    }
    const std::uint64_t count_to_end = upToEnd(next_ + size) - upToEnd(next_);
    const ssize_t count = ::pread(file_.get(), buffer, count_to_end, static_cast<off_t>(next_));
    if (count < 0) {
        fail(place_.path);
    }
    next_ += static_cast<std::uint64_t>(count);
    return static_cast<std::size_t>(count);
}

void LogFile::skip(std::uint64_t bytes)
{
    if (compressed_ == nullptr) {
        next_ += bytes;
        return;
    }
    std::vector<char> passed(buffer_size);
    while (bytes > 0) {
        const std::size_t count =
            readCompressed(passed.data(), std::min<std::uint64_t>(bytes, passed.size()));
        if (count == 0) {
            return;
        }
        bytes -= count;
    }
}

void LogFile::sync() const
{
    if (::fdatasync(file_.get()) != 0) {
        fail(place_.path);
    }
}

TakenFile LogFile::asTaken(std::uint64_t bytes)
{
    TakenFile file;
    file.name = place_.name;
    file.inode = place_.status.st_ino;
    file.size = static_cast<std::uint64_t>(place_.status.st_size);
    file.changed = changed_at(place_.status);
    file.taken = bytes;
    file.fingerprint = fingerprint(beginning_, fingerprinted(bytes));
    if (is_compressed(place_.name)) {
        startDecompressing();
    }
    const std::string text = readBefore(bytes);
    endReading();
    if (text.size() < summed_up(bytes)) {
        throw LogChanged(place_.path);
    }
    file.ending = sum_of(text);
    return file;
}

std::size_t LogFile::readCompressed(char *buffer, std::size_t size)
{
    errno = 0;
    const int count = gzread(compressed_.get(), buffer, static_cast<unsigned>(size));
    int code = Z_OK;
    gzerror(compressed_.get(), &code);
    if (code == Z_ERRNO) {
        fail(place_.path);
    }
    if (code == Z_MEM_ERROR) {
        fail(place_.path, "out of memory");
    }
    if (count < 0 || code != Z_OK) {
        fail(place_.path, damaged);
    }
    if (count > 0 && gzdirect(compressed_.get()) != 0) {
        fail(place_.path, "is not compressed");
    }
    return static_cast<std::size_t>(count);
}

std::string LogFile::readAt(std::uint64_t from, std::size_t size) const
{
    std::string text(size, '\0');
    const ssize_t count = ::pread(file_.get(), text.data(), size, static_cast<off_t>(from));
    if (count < 0) {
        fail(place_.path);
    }
    text.resize(static_cast<std::size_t>(count));
    return text;
}

// The last ones of the first so many bytes.
std::string LogFile::readBefore(std::uint64_t end)
{
    const std::uint64_t length = summed_up(end);
    if (compressed_ == nullptr) {
        return readAt(end - length, length);
    }
    std::string text(length, '\0');
    skip(end - length);
    text.resize(readCompressed(text.data(), text.size()));
    gzrewind(compressed_.get());
    return text;
}

bool is_compressed(const std::string &name)
{
    return name.size() > 3 && name.compare(name.size() - 3, 3, ".gz") == 0;
}

std::int64_t changed_at(const struct stat &status)
{
    return status.st_ctim.tv_sec * std::int64_t{1000000000} + status.st_ctim.tv_nsec;
}
