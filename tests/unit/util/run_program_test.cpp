#include "support.h"
#include "util/child_process.h"
#include "util/descriptors.h"
#include "util/owned.h"
#include "util/run_program.h"
#include "util/shell_command.h"

TEST(StartingPrograms, WithTheStreamsOfThisOneOrWithNone)
{
    EXPECT_EQ(fork_execv("/bin/sh", shell_arguments("kill -KILL $$").data()), SIGKILL);
    const Outcome outcome = in_child([] {
        std::printf("first\n");
        EXPECT_EQ(fork_execv("/bin/sh", shell_arguments("echo second").data()), 0);
        EXPECT_EQ(fork_execv("/nonexistent", shell_arguments("").data()), child_start_failed << 8);
        EXPECT_EQ(util_exec("/bin/sh", "-c", "echo out; echo err >&2; cat; exit 7", nullptr), 7);
        EXPECT_EQ(util_exec("/bin/sh", "-c", "kill -TERM $$", nullptr), 1);
        EXPECT_EQ(util_exec("/nonexistent", nullptr), child_start_failed);
        ::close(STDIN_FILENO); // a closed stream stays closed
        const Arguments none_there = shell_arguments("[ ! -e /proc/$$/fd/0 ]");
        EXPECT_EQ(fork_execv("/bin/sh", none_there.data()), 0);
        EXPECT_EQ(wait_child(fork_execv_pipes(0, no_descriptor, 2, "/bin/sh", none_there.data()), nullptr, nullptr), 0);
    });
    expect_outcome(outcome, "first\nsecond\n",
                   "fork_execv: execv(\"/nonexistent\") failed: No such file or directory\n");
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
    expect_reports({
        {[] { EXPECT_EQ(fork_exec_fd(0, 3, "/bin/sh", nullptr), -1); }, refused},
        {[] { EXPECT_EQ(fork_exec_fd(-1, 2, "/bin/sh", nullptr), -1); }, refused},
        {[] { EXPECT_EQ(fork_exec_fd(-1, -1, "/nonexistent", nullptr), -1); }, "Error occured during execv():\n%.\n",
         ENOENT},
    });
    EXPECT_TRUE(contains(reported([] { EXPECT_EQ(fork_exec_fd(-1, -1, "/bin/sh", "-c", "kill $$", nullptr), -1); }),
                         " killed by signal 15\n"));
}

TEST(StartingPrograms, FailsWithoutADescriptorOrAProcess)
{
    char *text = nullptr;
    const Arguments arguments = shell_arguments("echo hit");
    const auto capture = [&] {
        fork_execv_getouterr(&text, &text, "/bin/sh", arguments.data());
    };
    expect_reports({
        {[&] { forbid_children(), capture(); }, "fork_execv_pipes: fork() failed", EAGAIN, 1},
        {[&] { forbid_children(), fork_execv("/", arguments.data()); }, "Unable to fork", EAGAIN, 1},
        {[&] { use_up_descriptors(), capture(); }, "fork_execv_getouterr: pipe() failed", EMFILE, 1},
        {[] { forbid_children(), fork_exec_fd(-1, -1, "/", nullptr); }, "Error occured during fork():\n%", EAGAIN},
        {[] { use_up_descriptors(), fork_exec_fd(-1, -1, "/", nullptr); }, "fork_exec_fd pipe(): %", EMFILE},
    });
}

TEST(StartingPrograms, GoesOnAfterSignals)
{
    const std::string script = "echo out; " + after_signals("exec >&- 2>&-; " + after_signals("exit 7"));
    in_child([&] {
        char *out = nullptr;
        char *err = nullptr;
        EXPECT_EQ(fork_exec_fd(-1, -1, "/bin/sh", "-c", script.c_str(), nullptr), 7);
        EXPECT_EQ(fork_execv_getouterr(&out, &err, "/bin/sh", shell_arguments(script).data()), 7);
        EXPECT_STREQ(Malloced<char>(out).get(), "out\n");
        Malloced<char>(err).reset();
        const std::string page = "head -c 4096 /dev/zero | tr '\\0' x; "; // fills the buffer
        EXPECT_EQ(popen_exec_output((page + after_signals("echo out")).c_str(), &out), 0);
        EXPECT_EQ(Malloced<char>(out).get(), std::string(4096, 'x') + "out\n");
    });
}

TEST(RunWithArguments, PassesAtMost99)
{
    std::vector<std::string> words(120, "exit $#"); // the name of the shell and the first two are not counted
    words[0] = "-c";
    EXPECT_EQ(reported([&] { EXPECT_EQ(run_with_arguments("/bin/sh", Arguments(words).data()), 99 - 3); }),
              "/bin/sh execution failed (no output)\n");
}
