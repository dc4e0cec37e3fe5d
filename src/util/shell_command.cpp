#include "util/shell_command.h"

#include "util/errno_guard.h"
#include "util/owned.h"
#include "util/report.h"
#include "util/sigpipe_held.h"
#include "util/text_buffer.h"

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

namespace
{

constexpr std::size_t growth = 4096;

struct ClosePipe {
    void operator()(std::FILE *stream) const noexcept { ::pclose(stream); }
};

using CommandPipe = std::unique_ptr<std::FILE, ClosePipe>;

// Closes the pipe and returns the command's exit status; -1 if it can't be had.
int close_command(CommandPipe pipe)
{
    const int status = ::pclose(pipe.release());
    return status == -1 ? -1 : (status >> 8) & 0xff;
}

// Whether the last call on the stream was cut short by a signal; then the stream can go on.
bool interrupted(std::FILE *stream)
{
    if (!std::ferror(stream) || errno != EINTR) {
        return false;
    }
    std::clearerr(stream);
    return true;
}

// Writes the text to the stream. Returns how much of it could be written.
std::size_t write_all(const char *text, std::size_t length, std::FILE *stream)
{
    const SigpipeHeld held;
    std::size_t written = 0;
    do {
        written += std::fwrite(text + written, 1, length - written, stream);
    } while (written < length && interrupted(stream));
    return written;
}

// The next character of the stream, or EOF at its end.
int next_character(std::FILE *stream)
{
    int next = EOF;
    do {
        next = std::getc(stream);
    } while (next == EOF && interrupted(stream));
    return next;
}

// Reads the stream to its end. Returns false for lack of memory.
bool read_to_end(std::FILE *stream, TextBuffer &text)
{
    for (;;) {
        const std::size_t room = text.room();
        const std::size_t count = std::fread(text.end(), 1, room, stream);
        text.added(count);
        if (count < room && interrupted(stream)) {
            continue;
        }
        const int next = count < room ? EOF : next_character(stream);
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
    CommandPipe stream(::popen(command, "r"));
    if (stream == nullptr) {
        const ErrnoGuard reason;
        std::fputs("popen_exec: failed to execute command: fork or pipe calls failed, or cannot "
                   "allocate memory\n",
                   stderr);
        return -1;
    }
    TextBuffer text;
    if (!text.grow_to(growth + 1)) {
        const ErrnoGuard reason;
        std::fputs("popen_exec: failed to allocate memory\n", stderr);
        stream.reset();
        return -1;
    }
    if (read_to_end(stream.get(), text)) {
        *output = text.release();
    } else {
        std::fputs("popen_exec: warning: failed to allocate memory for command output buffer\n",
                   stderr);
    }
    return close_command(std::move(stream));
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

int popen_exec_with_input(const char *command, const char *input)
{
    std::fflush(stdout);
    CommandPipe stream(::popen(command, "w"));
    if (stream == nullptr) {
        report(0, 0,
               "Failed to execute command with input: either pipe, fork or memory allocation "
               "failed.");
        return -1;
    }
    const std::size_t length = std::strlen(input);
    std::setbuf(stream.get(), nullptr); // nothing is left for the closing to write
    const std::size_t written = write_all(input, length, stream.get());
    if (written < length) {
        report(0, 0, "Failed to execute command with input: only %u of %u bytes were written.",
               static_cast<unsigned>(written), static_cast<unsigned>(length));
        return -1;
    }
    return close_command(std::move(stream));
}
