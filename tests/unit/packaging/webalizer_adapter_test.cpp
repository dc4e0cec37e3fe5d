#include "support.h"
#include "util/run_program.h"

#include <map>

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

TEST_F(WebalizerAdapter, FillsTheDnsCacheAloneAndReadsItTogetherWithOthers)
{
    // Who else could take the lock meanwhile, to read the cache and to fill it.
    write_script("stock",
                 "for turn in shared exclusive; do flock -n --$turn cache.lock printf \"$turn \"; done; exit 0");
    ::setenv("STOCK_WEBALIZER", (root() + "/stock").c_str(), 1);
    write_file("cache.lock", "");
    const std::map<std::string, std::string> others = {
        {"-D cache -N 15", ""},         {"-D cache -p -N 0", "shared "},
        {"-n -D -D cache -N 15", ""},   {"-D other -N 15", "shared exclusive "},
        {"-N 15", "shared exclusive "},
    };
    for (const auto &[words, could] : others) {
        EXPECT_EQ(run_program({"/bin/sh", "-c", adapter + " " + words}).out, could) << words;
    }
    EXPECT_EQ(attributes("other.lock"), "0:0 600");
    const Outcome without_cache = run_program({adapter, "-D", "missing/cache"});
    EXPECT_EQ(without_cache.out, "shared exclusive ");
    EXPECT_TRUE(contains(without_cache.err, "missing/cache.lock"));
    EXPECT_EQ(without_cache.status, 0);
}

TEST_F(WebalizerAdapter, NeedsAWebalizerThatIsNotItself)
{
    for (const std::string &path : {root() + "/missing", root(), adapter}) {
        ::setenv("STOCK_WEBALIZER", path.c_str(), 1);
        expect_outcome(run_program({adapter}), "", adapter + ": STOCK_WEBALIZER names no Webalizer: " + path + "\n", 1);
    }
}
