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
    EXPECT_TRUE(contains(without_cache.err, "cannot open missing/cache.lock: No such file"));
    EXPECT_EQ(without_cache.status, 0);
}

// The configuration names the files of the state by a path and relative to the directory of the pages.
class WebalizerState : public WebalizerAdapter
{
protected:
    WebalizerState() { ::setenv("STOCK_WEBALIZER", (root() + "/stock").c_str(), 1); }

    static void begin(bool with_state)
    {
        write_file("conf", "IncrementalName other\nincrementalName\t state \nHistoryName " +
                               fs::current_path().string() + "/history\n");
        fs::remove("history");
        fs::remove_all("out");
        fs::create_directory("out");
        if (with_state) {
            write_file("out/state", "old");
            write_file("history", "old");
        }
    }

    // The exit status of a pass in which one of the adapter's system calls fails.
    static int pass(const std::string &script, const std::string &fault = "fsync:error=EIO:when=9")
    {
        write_script("stock", script);
        return run_program({"strace", "-qq", "-o", "trace", "-e", "trace=fsync,unlink", "-e", "inject=" + fault,
                            WEBALIZER_ADAPTER, "-c", "conf", "-p", "-o", "out"})
            .status;
    }

    // All files of the state, with those that are kept meanwhile.
    static std::string files() { return run_program({"sh", "-c", "head -v -n 1 out/* history*"}).out; }

    const std::string state = "printf '# Webalizer V2.23\\n# End Of Table - usernames\\n' >out/state; ";
    const std::string history = "printf '# (2 month)\\nnew\\nnew\\n' >history; ";
    const std::string saved = "==> out/state <==\n# Webalizer V2.23\n\n==> history <==\n# (2 month)\n";
};

TEST_F(WebalizerState, IsTheNewOneOnlyIfAllOfItIsOnTheDisk)
{
    const struct {
        std::string script;
        int status;
        std::string fault = "fsync:error=EIO:when=9";
    } rows[] = {
        {history + state, 0},
        {history + state, 1, "fsync:error=EIO:when=1"},
        {history + state, 1, "fsync:error=EIO:when=2"},
        {history + state, 1, "unlink:error=EIO:when=1"},
        {history + state + "exit 3", 3},
        {history + state + "kill -KILL $$", 128 + SIGKILL},
        {history + "rm -f out/state", 1},
        {history + ": >out/state", 1},
        {history + state + "truncate -s -1 out/state", 1},
        {history + state + "truncate -s -1 history", 1},
        {history + state + "truncate -s -4 history", 1},
        {state, 1},
    };
    for (const auto &row : rows) {
        for (const bool with_state : {true, false}) {
            begin(with_state);
            const std::string before = files();
            EXPECT_EQ(pass(row.script, row.fault), row.status) << row.script << row.fault;
            EXPECT_EQ(files(), row.status == 0 ? saved : before) << row.script << row.fault;
        }
    }
    begin(true);
    EXPECT_EQ(pass(history + state, "fsync:error=EIO:when=3"), 1); // of the directory
    EXPECT_EQ(pass("exit 0"), 0);                                  // all records were ignored
    EXPECT_EQ(pass("printf new >out/state"), 0);                   // another program's state is not judged
}

TEST_F(WebalizerState, IsPutBackAfterAKillAndGuardedUntilThePassHasEnded)
{
    for (const bool with_state : {true, false}) {
        begin(with_state);
        const std::string before = files();
        write_script("stock", history + state + "kill -KILL $PPID; flock -n out true || echo guarded");
        EXPECT_EQ(run_program({"sh", "-c", adapter + " -c conf -p -o out | cat"}).out, "guarded\n");
        EXPECT_EQ(pass("exit 3"), 3);
        EXPECT_EQ(files(), before);
    }
}

TEST_F(WebalizerAdapter, NeedsAWebalizerThatIsNotItself)
{
    for (const std::string &path : {root() + "/missing", root(), adapter}) {
        ::setenv("STOCK_WEBALIZER", path.c_str(), 1);
        expect_outcome(run_program({adapter}), "", adapter + ": STOCK_WEBALIZER names no Webalizer: " + path + "\n", 1);
    }
}
