// Captures what a program writes on standard output, through one of the two ways of a run.
//
// usage: capture runner|shell EXPECTED_BYTES PROGRAM ARGUMENT
#include "exec/ExecCmd.h"
#include "util/malloced.h"
#include "util/shell_command.h"

#include <malloc.h>

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>

namespace
{

std::size_t capture_by_runner(const std::string &program, const std::string &argument)
{
    korvo::ExecCmd command(program);
    command.addArg(argument);
    command.run();
    return command.output().size();
}

// The routine does not tell the text's length. To look for its end through all of it would count.
bool capture_by_shell(const std::string &program, const std::string &argument, std::size_t expected)
{
    char *output = nullptr;
    const int status = popen_exec_output((program + " " + argument).c_str(), &output);
    const Malloced<char> owned(output);
    return status == 0 && ::malloc_usable_size(output) > expected && output[expected] == '\0' &&
           output[expected - 1] != '\0';
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 5) {
        std::fputs("usage: capture runner|shell EXPECTED_BYTES PROGRAM ARGUMENT\n", stderr);
        return 2;
    }
    const std::size_t expected = std::stoul(argv[2]);
    const bool whole = std::strcmp(argv[1], "runner") == 0
                           ? capture_by_runner(argv[3], argv[4]) == expected
                           : capture_by_shell(argv[3], argv[4], expected);
    return whole ? 0 : 1;
}
