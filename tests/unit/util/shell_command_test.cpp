#include "support.h"
#include "util/owned.h"
#include "util/shell_command.h"

TEST(PopenExec, ShowsTheOutputOfAFailureOnly)
{
    const std::tuple<const char *, int, std::string> cases[] = {
        {"echo fine", 0, ""},
        {"exit 2", 2, "popen_exec: command failed code: 2 , error: none\n"},
        {"echo why; exit 255", 255, "popen_exec: command failed code: 255 , why\n\n"},
        {"kill -9 $$", 0, ""},
    };
    for (const auto &row : cases) {
        EXPECT_EQ(reported([&] { EXPECT_EQ(popen_exec(std::get<0>(row)), std::get<1>(row)); }), std::get<2>(row));
    }
}

TEST(PopenExec, SaysThatACommandCouldNotBeStarted)
{
    const Outcome outcome = in_child([] {
        use_up_descriptors();
        EXPECT_EQ(popen_exec("echo hit") + popen_exec_with_input("echo hit", ""), -2);
    });
    EXPECT_EQ(outcome.out, "popen_exec: failed to execute command: Too many open files\n" + system_error(EMFILE) +
                               "Failed to execute command with input: either pipe, fork or memory allocation failed." +
                               system_error(EMFILE));
}

TEST(PopenExecOutput, CapturesEveryByteAtAnyLength)
{
    for (const std::size_t length : {0U, 1U, 4095U, 4096U, 4097U, 8193U, 3000001U}) {
        char *output = nullptr;
        EXPECT_EQ(popen_exec_output(("yes | tr -d '\\n' | head -c " + std::to_string(length)).c_str(), &output), 0);
        const Malloced<char> owned(output);
        EXPECT_TRUE(output == std::string(length, 'y')) << length;
    }
}

TEST(PopenExecWithInput, FeedsTheCommandAfterWhatIsPending)
{
    const std::string text(300000, 'x');
    const auto print_and_feed = [&] {
        std::printf("pending, ");
        popen_exec_with_input("cat", text.c_str());
    };
    EXPECT_EQ(in_child(print_and_feed).out, "pending, " + text);
    EXPECT_EQ(popen_exec_with_input("cat >/dev/null; exit 9", ""), 9);
    EXPECT_TRUE(contains(reported([&] { EXPECT_EQ(popen_exec_with_input("exec <&-", text.c_str()), -1); }),
                         "Failed to execute command with input: only "));
}
