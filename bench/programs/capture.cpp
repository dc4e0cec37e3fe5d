// Captures what a command writes on standard output: through one of the two ways of a run, or by a
// bare loop that reads as much at a time as those into memory that doubles.
//
// usage: capture runner|shell|loop EXPECTED_BYTES PROGRAM
#include "exec/ExecCmd.h"
#include "util/owned.h"
#include "util/shell_command.h"

#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace
{

constexpr std::size_t read_size = 4096;

std::size_t capture_by_runner(const std::string &program)
{
    korvo::ExecCmd command(program);
    command.run();
    return command.output().size();
}

// The routine does not tell the text's length. To look for its end through all of it would count.
std::size_t capture_by_shell(const char *command, std::size_t expected)
{
    char *output = nullptr;
    const int status = popen_exec_output(command, &output);
    const Malloced<char> owned(output);
    const bool whole = status == 0 && ::malloc_usable_size(output) > expected &&
                       output[expected] == '\0' && output[expected - 1] != '\0';
    return whole ? expected : 0;
}

std::size_t capture_by_loop(const char *command)
{
    std::FILE *const output = ::popen(command, "re");
    std::size_t length = 0;
    std::size_t capacity = read_size;
    auto *text = static_cast<char *>(std::malloc(capacity));
    ssize_t count = 0;
    while ((count = ::read(::fileno(output), text + length, read_size)) > 0) {
        length += static_cast<std::size_t>(count);
        if (capacity - length < read_size) {
            capacity *= 2;
            text = static_cast<char *>(std::realloc(text, capacity));
        }
    }
    std::free(text);
    return ::pclose(output) == 0 ? length : 0;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 4) {
        std::fputs("usage: capture runner|shell|loop EXPECTED_BYTES PROGRAM\n", stderr);
        return 2;
    }
    const std::size_t expected = std::stoul(argv[2]);
    const std::size_t captured = argv[1][0] == 'r'   ? capture_by_runner(argv[3])
                                 : argv[1][0] == 's' ? capture_by_shell(argv[3], expected)
                                                     : capture_by_loop(argv[3]);
    return captured == expected ? 0 : 1;
}
