// Starts a program again and again, through one of the two ways of a run.
//
// usage: child_starts runner|shell TIMES PROGRAM
#include "exec/ExecCmd.h"
#include "util/shell_command.h"

#include <cstdio>
#include <cstring>
#include <string>

namespace
{

int start_by_runner(const std::string &program)
{
    korvo::ExecCmd command(program);
    return command.runNoThrow();
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 4) {
        std::fputs("usage: child_starts runner|shell TIMES PROGRAM\n", stderr);
        return 2;
    }
    const bool by_runner = std::strcmp(argv[1], "runner") == 0;
    for (int times = std::stoi(argv[2]); times > 0; --times) {
        const int status = by_runner ? start_by_runner(argv[3]) : popen_exec(argv[3]);
        if (status != 0) {
            return 1;
        }
    }
    return 0;
}
