#pragma once

#include "domain/log_position.h"
#include "preparation/place.h"

#include <zlib.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

// The files of the log were rotated or truncated just then: to be found anew.
class LogChanged : public std::runtime_error
{
public:
    explicit LogChanged(const std::string &path)
        : std::runtime_error(path + ": keeps changing while it is being read")
    {
    }
};

// A raw log, or a file that it was rotated to, open for reading; compressed if its name ends in
// ".gz". Of a file that is not compressed, no more is read than it held when it was opened. Nothing
// here changes a file. Failures are thrown with the path of the file: korvo::SystemError, and
// std::runtime_error for a compressed file that is damaged.
class LogFile
{
public:
    // Opens the file at the place and reads its beginning.
    explicit LogFile(Place place);

    // Keeps no more than its place and its beginning.
    void close();

    // Opens it again if it is closed, to read it from its first byte, as long as it was at first.
    // Throws LogChanged if its name is another file's, or nobody's.
    void reopen();

    // Ends reading: frees what decompressing needs. It can still be synced.
    void endReading() { compressed_.reset(); }

    const Place &place() const { return place_; }

    // Whether its first bytes are those of the other one. Where nothing was taken of that, nobody can
    // tell.
    bool beginsAs(const TakenFile &file) const;

    // Whether it begins with what was taken from the other one: whether its first bytes and the last
    // ones of those taken are the same. It must be open and not be read yet.
    bool isKnownAs(const TakenFile &file);

    // Finds where it holds the last bytes taken of the other one, wherever that is. It must be open,
    // and is closed on return.
    std::optional<std::uint64_t> findEnding(const TakenFile &file);

    // Whether it is still unchanged in its beginning: if not, it was truncated or written anew.
    bool isTheSame() const;

    // So many bytes, or all that it holds if that is less and it is not compressed.
    std::uint64_t upToEnd(std::uint64_t bytes) const;

    // Reads the next bytes, at most so many. Returns how many; 0 at the end.
    std::size_t read(char *buffer, std::size_t size);

    // Passes over bytes, less if it has less.
    void skip(std::uint64_t bytes);

    // Returns when what it holds lies safely on the disk.
    void sync() const;

    // What there is to remember when so many bytes are taken; ends reading. Throws LogChanged if they
    // are no longer there.
    TakenFile asTaken(std::uint64_t bytes);

private:
    struct CloseGz {
        void operator()(gzFile_s *file) const noexcept { gzclose_r(file); }
    };

    void startDecompressing();
    std::size_t readCompressed(char *buffer, std::size_t size);
    std::string readAt(std::uint64_t from, std::size_t size) const;
    std::string readBefore(std::uint64_t end);

    Place place_;
    Descriptor file_;
    std::unique_ptr<gzFile_s, CloseGz> compressed_;
    std::uint64_t next_ = 0; // where the next bytes are
    std::string beginning_;
};

// Whether the name is one of a compressed file.
bool is_compressed(const std::string &name);

// When the status was last changed, in nanoseconds.
std::int64_t changed_at(const struct stat &status);
