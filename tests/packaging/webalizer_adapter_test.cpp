#include "support.h"
#include "util/run_program.h"

// Runs the adapter of Webalizer with a stand-in for Webalizer, through different shells.
class WebalizerAdapter : public InTempDir
{
protected:
    ~WebalizerAdapter() override { ::unsetenv("STOCK_WEBALIZER"); }

    // The exit status that a shell's wait status holds, as the run takes it.
    static int exit_bits(const char *shell, const std::string &program)
    {
        const Arguments words({"sh", "-c", program + " -c 'a b' - < log >out 2>&1"});
        return (fork_execv(shell, words.data()) >> 8) & 0xff;
    }

    const std::string adapter = WEBALIZER_ADAPTER;
};

TEST_F(WebalizerAdapter, AnEndBySignalIsAFailureWhateverTheShell)
{
    write_file("log", "record\n");
    write_script("stock", "kill -KILL $$");
    ::setenv("STOCK_WEBALIZER", (root() + "/stock").c_str(), 1);
    EXPECT_EQ(exit_bits("/bin/dash", root() + "/stock"), 128 + SIGKILL);
    EXPECT_EQ(exit_bits("/bin/busybox", root() + "/stock"), 0); // taken for a success
    for (const char *const shell : {"/bin/dash", "/bin/busybox", "/bin/bash"}) {
        EXPECT_EQ(exit_bits(shell, adapter), 128 + SIGKILL) << shell;
    }
}

TEST_F(WebalizerAdapter, PassesEverythingOn)
{
    write_file("log", "record\n");
    write_script("stock", "printf '<%s>' \"$@\"; cat; echo complained >&2; exit 7");
    ::setenv("STOCK_WEBALIZER", (root() + "/stock").c_str(), 1);
    EXPECT_EQ(exit_bits("/bin/busybox", adapter), 7);
    EXPECT_EQ(read_file("out"), "<-c><a b><->record\ncomplained\n");
    write_script("stock", "kill -TERM $PPID; exit 0");
    EXPECT_EQ(exit_bits("/bin/busybox", adapter), 128 + SIGTERM);
}

TEST_F(WebalizerAdapter, NeedsAWebalizerThatIsNotItself)
{
    for (const std::string &path : {root() + "/missing", root(), adapter}) {
        ::setenv("STOCK_WEBALIZER", path.c_str(), 1);
        expect_outcome(run_program({adapter}), "", adapter + ": STOCK_WEBALIZER names no Webalizer: " + path + "\n", 1);
    }
}
