#include "support.h"
#include "util/log_line.h"

TEST(LogLine, OneThatCannotBeWrittenDoesNotKeepTheNextBack)
{
    const Outcome outcome = in_child([] {
        const int error = ::dup(STDERR_FILENO);
        ::dup2(::open("/dev/full", O_WRONLY), STDERR_FILENO);
        log_line("lost");
        ::dup2(error, STDERR_FILENO);
        log_line("kept");
    });
    expect_outcome(outcome, "", "kept\n");
}
