#include "preparation/line_reader.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

namespace
{

constexpr std::size_t read_size = 262144;

// How much of the bytes are complete lines.
std::size_t length_of_lines(const char *bytes, std::size_t count)
{
    const void *const newline = ::memrchr(bytes, '\n', count);
    return newline == nullptr
               ? 0
               : static_cast<std::size_t>(static_cast<const char *>(newline) - bytes) + 1;
}

} // namespace

std::uint64_t read_lines(LogFile &file, std::uint64_t from, LineTaker *taker)
{
    std::vector<char> buffer(read_size);
    std::size_t held = 0;       // bytes in the buffer
    std::uint64_t part = 0;     // of a line that is longer than the buffer, already given away
    std::uint64_t lines = from; // where the lines end
    std::uint64_t hole = 0;     // bytes before the first line
    bool is_hole = from == 0;
    file.skip(from);
    while (std::size_t count = file.read(buffer.data() + held, buffer.size() - held)) {
        if (is_hole) {
            const std::string_view bytes(buffer.data(), count);
            const std::size_t zeros = std::min(count, bytes.find_first_not_of('\0'));
            std::memmove(buffer.data(), buffer.data() + zeros, count - zeros);
            hole += zeros;
            count -= zeros;
            is_hole = count == 0;
        }
        const std::size_t complete = length_of_lines(buffer.data() + held, count);
        const std::size_t ready = complete > 0 ? held + complete : 0;
        held += count;
        const std::size_t given = ready == 0 && held == buffer.size() ? held : ready;
        if (given > 0 && taker != nullptr) {
            taker->take(buffer.data(), given);
        }
        part += given;
        if (ready > 0) {
            lines += hole + part;
            hole = part = 0;
        }
        held -= given;
        std::memmove(buffer.data(), buffer.data() + given, held);
    }
    if (part > 0 && taker != nullptr) {
        taker->takeBack(part);
    }
    return lines;
}
