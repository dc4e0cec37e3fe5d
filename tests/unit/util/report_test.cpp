#include "support.h"
#include "util/report.h"

#include <syslog.h>

TEST(Reports, AppendTheSystemErrorThatIsSetAndFitsAndKeepErrno)
{
    const wchar_t no_character[] = {0x7fffffff, 0};
    const std::string limit(4096 - system_error(ENOENT).size(), 'x');
    const auto report_text = [](int error, const std::string &text) {
        return [=] {
            errno = error, report(0, 0, "%s", text.c_str());
        };
    };
    expect_reports({
        {report_text(0, ""), "\n"},
        {[&] { report_text(0, "ended\n")(), ::_exit(0); }, "ended\n"}, // what is not flushed is lost
        {report_text(ENOENT, limit), limit, ENOENT},
        {[&] { report_text(ENOENT, limit + "x")(), errno = 0; }, limit + "x\n"},
        {[&] { ::close(STDOUT_FILENO), ::close(STDERR_FILENO), report_text(ENOENT, "lost")(); }, "", ENOENT},
        {[&] { log_message(0, "%ls", no_character); }, "", EILSEQ},
        {[&] { xasprintf("%ls", no_character); }, "Cannot allocate memory: %", EILSEQ, 1},
    });
}

TEST(Reports, PrefixIsTheBaseNameOfTheProgramPath)
{
    for (const auto &[path, prefix] : {std::pair("/sbin/tool", "tool: "), {"tool", "tool: "}, {"/sbin/", ""}}) {
        program_path = path;
        EXPECT_EQ(reported([] { print_message("text", 0); }), std::string(prefix) + "text\n");
    }
    program_path = nullptr;
}

TEST(Log, GoesToTheSystemLogOrUpToAThresholdToTheConsole)
{
    const auto log_two_levels = [](const char *target, int threshold) {
        log_setup(target, threshold, LOG_USER, LOG_PERROR, "tests"); // with a copy on standard error
        log_output(log_level_error, "%d", 3);
        log_output(log_level_info, "%d", 6);
    };
    const Outcome outcome = in_child([&] {
        log_two_levels(nullptr, 0);
        log_two_levels("console", 5);
        log_two_levels("file", 0);
        log_two_levels("file", 6);
        ::_exit(0);
    });
    EXPECT_EQ(outcome.out, "3\n3\n6\n");
    EXPECT_EQ(outcome.err.rfind("tests[", 0), 0U);
    EXPECT_TRUE(contains(outcome.err, "]: 6\n3\n3\n6\n"));
}
