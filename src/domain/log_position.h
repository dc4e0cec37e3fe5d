#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// How far log preparation has taken the lines of a raw log. Each log has a file of its own for it,
// <product root>/var/log_positions/<domain>/<log>, a small text that only statistics_log_processor
// writes.

// How many bytes at the beginning of a file its fingerprint covers at the most; and how many of the
// last ones taken, some lines, are summed up.
constexpr std::size_t fingerprint_reach = 4096;
constexpr std::size_t ending_reach = 1024;

// A file that lines were taken from: the log itself, or what it was rotated to.
struct TakenFile {
    std::string name;         // in the directory of the log
    std::uint64_t inode = 0;  // inode, size and time of the last change of its status, in
    std::uint64_t size = 0;   // nanoseconds, when it was last looked at
    std::int64_t changed = 0; //
    std::uint64_t taken = 0;  // bytes taken, complete lines; of the text, if it is compressed
    std::string fingerprint;  // of the first bytes of those taken; "-" if none is taken
    std::uint64_t ending = 0; // sum of the last bytes of those taken; 0 if not known
};

struct LogPosition {
    std::uint64_t prepared = 0;   // bytes of the prepared log when its last line was appended
    std::vector<TakenFile> files; // one or two, the newest last
};

// <product root>/var/log_positions
std::string log_positions_dir();

// The path of the position of a domain's log.
std::string log_position_path(const std::string &domain, const std::string &log);

// The text of a position as its file holds it.
std::string log_position_text(const LogPosition &position);

// Reads a position; none if there is no such file. Throws std::runtime_error with the path and the
// reason if it can't be read, or is not a regular file that holds, byte for byte, what
// log_position_text gives for one or two files with fingerprints exactly where lines were taken.
// Positions did not tell endings once.
std::optional<LogPosition> read_log_position(const std::string &path);
