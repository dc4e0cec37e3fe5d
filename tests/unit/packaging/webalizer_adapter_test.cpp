#include "support.h"

// Runs the adapter of Webalizer with a stand-in for Webalizer.
class WebalizerAdapter : public InTempDir
{
protected:
    WebalizerAdapter() { ::setenv("STOCK_WEBALIZER", (root() + "/stock").c_str(), 1); }

    const std::string adapter = WEBALIZER_ADAPTER;
};

TEST_F(WebalizerAdapter, PassesEverythingOnButEndsBySignalAsFailures)
{
    write_file("log", "record\n");
    const auto status_of = [this](const std::string &script) {
        write_script("stock", script);
        return run_script("exec " + adapter + " -c 'a b' - <log >out 2>&1").status;
    };
    EXPECT_EQ(status_of("kill -KILL $$"), 128 + SIGKILL);
    EXPECT_EQ(status_of("kill -TERM $PPID; exit 0"), 128 + SIGTERM);
    EXPECT_EQ(status_of("printf '<%s>' \"$@\"; cat; echo complained >&2; exit 7"), 7);
    EXPECT_EQ(read_file("out"), "<-c><a b><->record\ncomplained\n");
}

TEST_F(WebalizerAdapter, FillsTheDnsCacheAloneAndReadsItTogetherWithOthers)
{
    // Who else could take the lock meanwhile, to read the cache and to fill it.
    write_script("stock",
                 "for turn in shared exclusive; do flock -n --$turn cache.lock printf \"$turn \"; done; exit 0");
    write_file("cache.lock", "");
    EXPECT_EQ(run_program({adapter, "-n", "-D", "-D", "cache", "-N", "15"}).out, "");
    EXPECT_EQ(run_program({adapter, "-D", "cache", "-N", "0"}).out, "shared ");
    EXPECT_EQ(run_program({adapter, "-D", "other", "-N", "15"}).out, "shared exclusive ");
    EXPECT_EQ(attributes("other.lock"), "0:0 600");
    expect_outcome(run_program({adapter, "-D", "missing/cache"}), "shared exclusive ",
                   adapter + ": cannot open missing/cache.lock: No such file or directory\n");
}

// The configuration names the files of the state by a path and relative to the directory of the pages.
class WebalizerState : public WebalizerAdapter
{
protected:
    void begin(bool with_state) const
    {
        write_file("conf", "HistoryName " + root() + "/history\nIncrementalName no\nincrementalname\t state \n");
        run_script("rm -rf history out; mkdir out; touch out/state.lock; echo a >log");
        if (with_state) {
            run_script("printf old >out/state; echo '# (1 month)\nold' >history");
        }
    }

    static constexpr const char *no_fault = "fsync:error=EIO:when=9";

    // The exit status of a pass in which one of the adapter's system calls fails.
    static int pass(const std::string &script, const std::string &fault = no_fault)
    {
        write_script("stock", script);
        const std::string calls = "strace -qq -o trace -e trace=fsync,unlink -e inject=" + fault + " ";
        return run_script(calls + WEBALIZER_ADAPTER + " -c conf -p -o out <log").status;
    }

    // All files of the state, with those that are kept meanwhile.
    static std::string files() { return run_script("head -v out/* history* 2>&1").out; }

    const std::string head = "# Webalizer V2.23\\n2026 11 20 10 59 8\\n";
    const std::string state = "printf '" + head + "# End Of Table - usernames\\n' >out/state; ";
    const std::string history = R"(printf '# (2 month)\nnew\nnew\n' >history; )";
};

TEST_F(WebalizerState, IsTheNewOneOnlyIfAllOfItIsOnTheDisk)
{
    const std::tuple<std::string, int, std::string> rows[] = {
        {history + state, 1, "fsync:error=EIO:when=1"},
        {history + state, 1, "fsync:error=EIO:when=2"},
        {history + state, 1, "unlink:error=EIO:when=1"},
        {history + state + "exit 3", 3, no_fault},
        {history + state + "kill -KILL $$", 128 + SIGKILL, no_fault},
        {history + "rm -f out/state", 1, no_fault},
        {history + state + "truncate -s -1 out/state", 1, no_fault},
        {history + state + "truncate -s -1 history", 1, no_fault},
        {history + state + "truncate -s -4 history", 1, no_fault},
        {state, 1, no_fault},
    };
    for (const bool with_state : {true, false}) {
        begin(with_state);
        const std::string before = files();
        for (const auto &[script, status, fault] : rows) {
            EXPECT_EQ(pass(script, fault), status) << script << fault;
            EXPECT_EQ(files(), before) << script << fault;
        }
        // A kill. The pass that still goes on holds the next one off.
        write_script("stock", history + state + "kill -KILL $PPID; flock -n out/state.lock true || echo guarded");
        EXPECT_EQ(run_script(adapter + " -c conf -p -o out | cat").out, "guarded\n");
        EXPECT_EQ(pass("exit 3"), 3);
        EXPECT_EQ(files(), before);
    }
    begin(true);
    EXPECT_EQ(pass(history + state, "unlink:error=EIO:when=2"), 1); // the new state counts already
    EXPECT_EQ(pass("exit 0"), 0);                                   // all records were ignored
    EXPECT_EQ(pass("printf new >out/state"), 0);                    // another program's state is not judged
    EXPECT_EQ(pass(history + state, "fsync:error=EIO:when=4"), 1);  // of the directory
    begin(false);
    EXPECT_EQ(pass("exit 0"), 0);                                         // all records were ignored
    EXPECT_EQ(pass("mkdir out/state.new; touch -d @1 out/state.new"), 1); // no state can be made
    EXPECT_EQ(pass("rmdir out/state.new; echo >out/page"), 1);
}

TEST_F(WebalizerState, CountsEachRecordOfALogOnceAlsoThoseOfTheLastSecond)
{
    begin(false);
    const std::string look =
        "(cat; sed -n 2p out/state; stat -c %u%a out/state; rm out/state) >seen; " + history + state;
    EXPECT_EQ(pass(look), 0);
    EXPECT_EQ(pass("exit 1"), 0); // nothing is left to be counted
    EXPECT_EQ(::chown("out/state", 1, 1) + ::chmod("out/state", 0600), 0);
    write_file("log", "a\nb\n");
    EXPECT_EQ(pass(look), 0);
    EXPECT_EQ(read_file("seen"), "b\n2026 11 20 10 59 7\n1600\n");
    write_file("log", "c\nd\ne\n");
    EXPECT_EQ(pass(look), 0);
    EXPECT_EQ(read_file("seen"), "c\nd\ne\n2026 11 20 10 59 7\n1600\n");
}
