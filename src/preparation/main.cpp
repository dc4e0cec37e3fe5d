#include "preparation/log_preparation.h"
#include "util/descriptors.h"
#include "util/directory_walk.h"
#include "util/log_line.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

namespace
{

const char *const help =
    "usage: statistics_log_processor [--help | --version]\n\n"
    "Appends the new lines of every domain's logs to their prepared copies,\n"
    "LOG.webstat. statistics_run starts it. See statistics_log_processor(8).\n";

int print(const char *text)
{
    if (std::fputs(text, stdout) == EOF || std::fflush(stdout) == EOF) {
        log_line(std::string("statistics_log_processor: standard output: ") + std::strerror(errno));
        return 1;
    }
    return 0;
}

int prepare()
{
    const RaisedDescriptorLimit limit; // for a log with a thousand rotated files
    std::signal(SIGPIPE, SIG_IGN);     // nobody may want to read of a failure,
    std::signal(SIGXFSZ, SIG_IGN);     // or a limit be reached: both are errors of a write
    return prepare_all_logs() ? 0 : 1;
}

} // namespace

int main(int argc, char **argv)
{
    open_standard_descriptors();
    const std::string option = argc == 2 ? argv[1] : "";
    if (option == "--help") {
        return print(help);
    }
    if (option == "--version") {
        return print("statistics_log_processor " PROGRAM_VERSION "\n");
    }
    if (argc > 1) {
        std::fputs(help, stderr);
        return 1;
    }
    try {
        return prepare();
    } catch (const std::exception &failure) {
        log_line(std::string("statistics_log_processor: ") + failure.what());
        return 1;
    }
}
