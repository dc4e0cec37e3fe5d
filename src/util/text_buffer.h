#pragma once

#include "util/owned.h"

#include <cstddef>

// A growing text in memory from malloc, for output that is collected piece by piece and handed to
// a caller who frees it. The buffer is filled from outside: ask for room(), write at most that much
// at end(), then say how much with added(). One byte of the capacity is kept for the terminator.
class TextBuffer
{
public:
    // Makes the capacity that many bytes. Returns false, with nothing changed, for lack of memory.
    bool grow_to(std::size_t capacity);

    std::size_t capacity() const { return capacity_; }
    std::size_t free_bytes() const { return capacity_ - length_; }
    std::size_t room() const { return capacity_ == 0 ? 0 : capacity_ - length_ - 1; }
    char *end() { return memory_.get() + length_; }
    void added(std::size_t bytes) { length_ += bytes; }

    // Terminates the text and hands it out; the caller frees it. Null if there never was any room.
    char *release();

private:
    Malloced<char> memory_;
    std::size_t capacity_ = 0;
    std::size_t length_ = 0;
};
