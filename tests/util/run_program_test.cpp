#include "support.h"
#include "util/child_process.h"
#include "util/descriptors.h"
#include "util/run_program.h"
#include "util/shell_command.h"

TEST(ForkExecv, ReturnsTheRawStatus)
{
    EXPECT_EQ(fork_execv("/bin/sh", shell_arguments("exit 3").data()), 3 << 8);
    EXPECT_EQ(fork_execv("/bin/sh", shell_arguments("kill -KILL $$").data()), SIGKILL);
    const Outcome outcome = in_child([] {
        std::printf("first\n");
        EXPECT_EQ(fork_execv("/bin/sh", shell_arguments("echo second").data()), 0);
        EXPECT_EQ(fork_execv("/nonexistent", shell_arguments("").data()), child_start_failed << 8);
    });
    expect_outcome(outcome, "first\nsecond\n",
                   "fork_execv: execv(\"/nonexistent\") failed: No such file or directory\n");
}

TEST(UtilExec, HasItsStreamsOnTheNullDevice)
{
    const Outcome outcome = in_child([] {
        EXPECT_EQ(util_exec("/bin/sh", "-c", "echo out; echo err >&2; cat; exit 7", nullptr), 7);
        EXPECT_EQ(util_exec("/bin/sh", "-c", "[ \"$1 $2\" = 'a b' ]", "name", "a", "b", nullptr), 0);
        EXPECT_EQ(util_exec("/bin/sh", "-c", "kill -TERM $$", nullptr), 1);
        EXPECT_EQ(util_exec("/nonexistent", nullptr), child_start_failed);
    });
    expect_outcome(outcome, "", "");
}

TEST(ForkExecFd, ConnectsTheDescriptors)
{
    Pipe in;
    Pipe out;
    ASSERT_TRUE(in.open() && out.open());
    ASSERT_EQ(::write(in.write_end.get(), "text", 4), 4);
    in.write_end.close();
    const char *const script = "cat; cd /proc/self/fd; echo *; exit 5";
    EXPECT_EQ(fork_exec_fd(in.read_end.get(), out.write_end.get(), "/bin/sh", "-c", script, nullptr), 5);
    char buffer[20] = "";
    EXPECT_GT(::read(out.read_end.get(), buffer, sizeof buffer - 1), 0);
    EXPECT_STREQ(buffer, "text0 1 2 3\n");
}

TEST(ForkExecFd, ReportsWhatWentWrong)
{
    const std::string refused = "values 0,1,2 not allowed for variables fd_in & fd_out\n";
    const std::string bad_address = "Error occured during execv():\nBad address, possible reason - NULL parameter is "
                                    "absent in util_exec(path, arg1, arg2, NULL) call.\n";
    const std::pair<std::function<int()>, std::string> cases[] = {
        {[] { return fork_exec_fd(0, -1, "/bin/sh", nullptr); }, refused},
        {[] { return fork_exec_fd(-1, 2, "/bin/sh", nullptr); }, refused},
        {[] { return fork_exec_fd(-1, -1, "/nonexistent", nullptr); },
         "Error occured during execv():\nNo such file or directory.\n" + system_error(ENOENT)},
        {[] { return fork_exec_fd(-1, -1, "/bin/true", reinterpret_cast<const char *>(8), nullptr); },
         bad_address + system_error(EFAULT)},
    };
    for (const auto &row : cases) {
        EXPECT_EQ(reported([&] { EXPECT_EQ(row.first(), -1); }), row.second);
    }
    EXPECT_TRUE(contains(reported([] { fork_exec_fd(-1, -1, "/bin/sh", "-c", "kill -TERM $$", nullptr); }),
                         " killed by signal 15\n"));
}

TEST(RunWithArguments, PassesAtMost99)
{
    std::vector<std::string> words(120, "word");
    words[0] = "-c";
    words[1] = "exit $#"; // the name of the shell and these two are not counted
    const Arguments arguments(words);
    const auto call = [&] {
        EXPECT_EQ(run_with_arguments("/bin/sh", arguments.data()), 99 - 3);
        run_library_program("no such program", arguments.data());
    };
    EXPECT_TRUE(contains(reported(call), "/usr/lib/korvo-9.0/no such program execution failed:\n"));
}
