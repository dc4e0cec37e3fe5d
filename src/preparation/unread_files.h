#pragma once

#include "domain/log_position.h"
#include "preparation/log_file.h"

#include <deque>
#include <optional>
#include <string>

// What there is to read of a log since it was last read, whatever has become of its file.
//
// The log and the files that it was rotated to are a chain in the order of time. The position tells
// the file that was being read and an older one, which its writer may still have open; both are
// found by what was taken of them, or, while no line of them is, by inode and time. What is unread is
// the rest of both and all that is newer than them:
// - The log is the file that was being read: only the rest of it, and of the older file.
// - A rotated file is: the rest of it, the files after it, and the log.
// - Only the older one is found: what follows it.
// - None is: the log, and those files that were written to after the last look at the log.
// In the last two cases a message tells that the file is gone. But where one of the files that are
// unread holds what was taken last, at another place, a log was edited: what follows that is unread,
// with a message. Of a log whose end was cut off nothing is unread, with a message, too.
// Where the log is missing and was not rotated, nothing is read, as it may be back some day.
// A copy of the log that has not been truncated yet is part of it and not read by itself.

// A file and how much of it was taken. Those that were searched are closed.
struct UnreadFile {
    LogFile file;
    std::uint64_t taken;
};

struct Unread {
    std::optional<TakenFile> kept; // the older file, if it is unchanged
    std::deque<UnreadFile> files;  // the oldest first
    std::string message;           // what is lost, if anything
};

// Whether nothing at all has come since the position.
bool is_unchanged(const Place &log, const LogPosition &position);

// The position of a log that was never looked at: all of it is unread, what was rotated before is
// not.
LogPosition first_position(const Place &log);

// Finds what is unread. Throws LogChanged, std::runtime_error for a log that is missing with its
// last lines, and what a LogFile throws.
Unread find_unread(const Place &log, const LogPosition &position);
