#include "preparation/log_preparation.h"
#include "util/descriptors.h"
#include "util/directory_walk.h"
#include "util/log_line.h"

#include <csignal>
#include <cstdio>
#include <exception>
#include <string>

namespace
{

const char *const help =
    "usage: statistics_log_processor [--help | --version]\n\n"
    "Appends the new lines of every domain's logs to their prepared copies,\n"
    "LOG.webstat. statistics_run starts it. See statistics_log_processor(8).\n";

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
        return std::fputs(help, stdout) == EOF ? 1 : 0;
    }
    if (option == "--version") {
        return std::puts("statistics_log_processor " PROGRAM_VERSION) == EOF ? 1 : 0;
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
