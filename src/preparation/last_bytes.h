#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// The last bytes of a text that is read byte by byte: a sum that tells whether they are certain
// ones, in the same time whatever their number.
class LastBytes
{
public:
    // length: how many of the last bytes count.
    explicit LastBytes(std::size_t length);

    void add(char byte);

    // The sum of the bytes, in their order; of all, while there are fewer of them.
    std::uint64_t sum() const { return sum_; }

private:
    std::string bytes_; // a ring, the oldest at next_
    std::size_t next_ = 0;
    std::uint64_t weight_ = 1; // of a byte that goes
    std::uint64_t sum_ = 0;
};
