#pragma once

#include "preparation/log_file.h"

#include <cstddef>
#include <cstdint>

// Takes lines.
class LineTaker
{
public:
    virtual ~LineTaker() = default;

    // The next bytes: complete lines, or a part of one that is very long.
    virtual void take(const char *bytes, std::size_t count) = 0;

    // What was taken last, so many bytes, is not a complete line and does not count.
    virtual void takeBack(std::uint64_t count) = 0;

protected:
    LineTaker() = default;
    LineTaker(const LineTaker &) = default;
    LineTaker &operator=(const LineTaker &) = default;
};

// Reads the lines of the file after so many bytes and gives them to the taker, unless that is null;
// what follows the last newline is no line yet. Zeros at the beginning of the file are passed over: a
// hole that a writer has left which does not append, when the log was truncated. Needs no more memory
// for a longer line. Returns where the lines end. Throws what LogFile and the taker throw.
std::uint64_t read_lines(LogFile &file, std::uint64_t from, LineTaker *taker);
