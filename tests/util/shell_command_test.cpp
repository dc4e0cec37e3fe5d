#include "support.h"
#include "util/malloced.h"
#include "util/shell_command.h"

#include <unistd.h>

#include <cerrno>

TEST(PopenExec, ShowsTheOutputOfAFailureOnly)
{
    const struct {
        const char *command;
        int result;
        const char *printed;
    } cases[] = {
        {"head -c 10000 /dev/zero", 0, ""},
        {"exit 2", 2, "popen_exec: command failed code: 2 , error: none\n"},
        {"echo why; exit 255", 255, "popen_exec: command failed code: 255 , why\n\n"},
        {"kill -9 $$", 0, ""},
    };
    for (const auto &row : cases) {
        const Outcome outcome = in_child([&] {
            errno = 0;
            EXPECT_EQ(popen_exec(row.command), row.result) << row.command;
        });
        EXPECT_EQ(outcome.out, row.printed);
        EXPECT_EQ(outcome.err, row.printed);
    }
}

TEST(PopenExec, FlushesWhatIsPendingBeforeTheCommandRuns)
{
    const Outcome outcome = in_child([] {
        ::dup2(STDOUT_FILENO, STDERR_FILENO);
        std::printf("first\n");
        popen_exec("echo second >&2");
    });
    EXPECT_EQ(outcome.out, "first\nsecond\n");
}

TEST(PopenExecOutput, CapturesEveryByteAtAnyLength)
{
    for (const std::size_t length : {0U, 1U, 4095U, 4096U, 4097U, 8192U, 8193U, 3000001U}) {
        char *output = nullptr;
        const std::string command = "yes 0123456 | head -c " + std::to_string(length);
        EXPECT_EQ(popen_exec_output(command.c_str(), &output), 0);
        const Malloced<char> owned(output);
        std::string expected;
        while (expected.size() < length) {
            expected += "0123456\n";
        }
        expected.resize(length);
        EXPECT_TRUE(output == expected) << length;
    }
}

TEST(PopenExecOutput, StandardErrorIsNotCaptured)
{
    const Outcome outcome = in_child([] {
        char *output = nullptr;
        EXPECT_EQ(popen_exec_output("echo aside >&2; exit 7", &output), 7);
        EXPECT_STREQ(output, "");
        std::free(output);
    });
    EXPECT_EQ(outcome.err, "aside\n");
}
