#include "util/shell_command.h"

#include "util/malloced.h"
#include "util/report.h"
#include "util/text_buffer.h"

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>

namespace
{

constexpr std::size_t growth = 4096;

struct ClosePipe {
    void operator()(std::FILE *stream) const noexcept { ::pclose(stream); }
};

// Reads the stream to its end. Returns false for lack of memory.
bool read_to_end(std::FILE *stream, TextBuffer &text)
{
    for (;;) {
        const std::size_t room = text.room();
        const std::size_t count = std::fread(text.end(), 1, room, stream);
        text.added(count);
        const int next = count < room ? EOF : std::getc(stream);
        if (next == EOF) {
            return true;
        }
        if (!text.grow_to(text.capacity() + growth)) {
            return false;
        }
        *text.end() = static_cast<char>(next);
        text.added(1);
    }
}

} // namespace

int popen_exec_output(const char *command, char **output)
{
    *output = nullptr;
    std::fflush(stdout);
    std::unique_ptr<std::FILE, ClosePipe> stream(::popen(command, "r"));
    if (stream == nullptr) {
        std::fputs("popen_exec: failed to execute command: fork or pipe calls failed, or cannot "
                   "allocate memory\n",
                   stderr);
        return -1;
    }
    TextBuffer text;
    if (!text.grow_to(growth + 1)) {
        std::fputs("popen_exec: failed to allocate memory\n", stderr);
        return -1;
    }
    if (read_to_end(stream.get(), text)) {
        *output = text.release();
    } else {
        std::fputs("popen_exec: warning: failed to allocate memory for command output buffer\n",
                   stderr);
    }
    const int status = ::pclose(stream.release());
    return status == -1 ? -1 : (status >> 8) & 0xff;
}

int popen_exec(const char *command)
{
    char *output = nullptr;
    const int result = popen_exec_output(command, &output);
    const Malloced<char> owned(output);
    if (result == -1) {
        report(0, 0, "popen_exec: failed to execute command: %s\n", std::strerror(errno));
    } else if (result != 0) {
        const bool silent = output == nullptr || *output == '\0';
        report(0, 0, "popen_exec: command failed code: %d , %s\n", result,
               silent ? "error: none" : output);
    }
    return result;
}
