#include "support.h"
#include "util/report.h"

#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

TEST(Report, AppendsTheSystemErrorThatIsSet)
{
    const std::string limit(4096 - sizeof "\nSystem error 2: No such file or directory", 'x');
    const struct {
        int error_number;
        std::string message;
        std::string printed;
    } cases[] = {
        {0, "plain", "plain\n"},
        {0, "ended\n", "ended\n"},
        {2, "plain", "plain\nSystem error 2: No such file or directory\n"},
        {2, "ended\n", "ended\n\nSystem error 2: No such file or directory\n"},
        {2, limit, limit + "\nSystem error 2: No such file or directory\n"},
        {2, limit + "x", limit + "x\n"},
        {2, std::string(5000, 'y'), std::string(5000, 'y') + "\n"},
        {0, "", "\n"},
    };
    for (const auto &row : cases) {
        const Outcome outcome = in_child([&] {
            errno = row.error_number;
            report(0, 0, "%s", row.message.c_str());
            EXPECT_EQ(errno, row.error_number);
        });
        EXPECT_EQ(outcome.err, row.printed);
        EXPECT_EQ(outcome.out, row.printed);
        EXPECT_EQ(outcome.status, 0);
    }
}

TEST(Report, EndsTheProgramWithTheExitStatus)
{
    const auto end = [] {
        errno = 0;
        report(3, 0, "the %s", "end");
    };
    EXPECT_EQ(in_child(end, 3).out, "the end\n");
}

TEST(Report, KeepsErrnoWhereTheOutputFails)
{
    in_child([] {
        const int full = ::open("/dev/full", O_WRONLY);
        ::dup2(full, STDOUT_FILENO);
        errno = ENOENT;
        report(0, 0, "text");
        EXPECT_EQ(errno, ENOENT);
    });
}

TEST(Report, PrefixIsTheBaseNameOfTheProgramPath)
{
    const struct {
        const char *path;
        const char *printed;
    } cases[] = {{"/usr/sbin/tool", "tool: text\n"}, {"tool", "tool: text\n"}, {"/usr/", "text\n"}};
    for (const auto &row : cases) {
        const Outcome outcome = in_child([&] {
            program_path = row.path;
            print_message("text", 0);
        });
        EXPECT_EQ(outcome.out, row.printed);
        EXPECT_EQ(outcome.err, row.printed);
    }
}

TEST(Log, PassesLevelsUpToTheThresholdOfTheConsole)
{
    const auto log_three_levels = [] {
        for (const int level : {log_level_error, log_level_info, 7}) {
            log_output(level, "%d", level);
        }
    };
    const struct {
        const char *target;
        int level;
        const char *printed;
    } cases[] = {
        {"console", 4, "3\n"}, {"CONSOLE-x", 7, "3\n6\n7\n"}, {"console", 0, ""}, {"file", 7, ""}};
    EXPECT_EQ(in_child(log_three_levels).out, "3\n6\n");
    for (const auto &row : cases) {
        const Outcome outcome = in_child([&] {
            log_setup(row.target, row.level, 16, 0, "tests");
            log_three_levels();
        });
        EXPECT_EQ(outcome.out, row.printed) << row.target << ' ' << row.level;
        EXPECT_EQ(outcome.err, row.printed);
    }
}

TEST(Log, GoesToTheSystemLogAndBack)
{
    const Outcome outcome = in_child([] {
        log_setup(nullptr, log_level_info, LOG_USER, LOG_PERROR,
                  "tests"); // a copy on standard error
        log_output(log_level_error, "to the %s", "log");
        log_setup("console", log_level_info, LOG_USER, 0, "tests");
        log_output(log_level_error, "to the %s", "console");
    });
    const std::string::size_type pid_end = outcome.err.find("]: ");
    EXPECT_EQ(outcome.err.substr(0, 6), "tests[");
    ASSERT_NE(pid_end, std::string::npos);
    EXPECT_EQ(outcome.err.substr(pid_end), "]: to the log\nto the console\n");
    EXPECT_EQ(outcome.out, "to the console\n");
}

TEST(Xasprintf, AllocatesTheFormattedText)
{
    char *const text = xasprintf("%s-%05d", std::string(9000, 'z').c_str(), 42);
    EXPECT_EQ(text, std::string(9000, 'z') + "-00042");
    std::free(text);
}
