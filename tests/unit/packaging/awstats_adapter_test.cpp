#include "support.h"

// Runs the adapter of awstats.pl with a stand-in for it, whose update replaces "data/a.txt".
class AwstatsAdapter : public InTempDir
{
protected:
    AwstatsAdapter() { ::setenv("AWSTATS_STOCK_PROGRAM", (root() + "/stock.pl").c_str(), 1); }
    ~AwstatsAdapter() override { ::unsetenv("AWSTATS_STOCK_PROGRAM"); }

    static void write_stock(const std::string &text)
    {
        fs::remove_all("data");
        write_file("data/a.txt", "old");
        write_script("stock.pl", "");
        write_file("stock.pl", text);
    }

    // Runs an update with one of its system calls failing.
    static Outcome run(const std::string &fault)
    {
        return run_program({"strace", "-f", "-qq", "-o", "trace", "-e", "trace=fsync,rename,sync", "-e",
                            "inject=" + fault, AWSTATS_ADAPTER, "-update"});
    }

    // The files of the data, with the content of each.
    static std::string data() { return run_program({"sh", "-c", "cd data && grep '' * /dev/null"}).out; }

    const std::string known = "#!/usr/bin/perl\n$VERSION = \"7.8 (stand-in)\";\n$DirData = 'data';\n";
    const std::string update = known + "open F, '>', \"data/a.tmp.$$\"; print F 'new'; close F;\n"
                                       "rename \"data/a.tmp.$$\", 'data/a.txt';\n";
};

TEST_F(AwstatsAdapter, PassesEverythingOn)
{
    write_file("log", "record");
    const std::string body = "print map({ \"<$_>\" } $0, @ARGV), $ENV{PWD}, <STDIN>; print STDERR 'complained';\n";
    for (const char *const word : {"-output=a b", "-update"}) {
        for (const char *const ending : {"exit 7;", "kill 9, $$;", "die;"}) {
            write_stock(known + body + ending);
            const Outcome stock = run_program({"sh", "-c", "exec $PWD/stock.pl \"$1\" <log", "", word});
            const Outcome adapted = run_program({"sh", "-c", "exec $1 \"$2\" <log", "", AWSTATS_ADAPTER, word});
            expect_outcome(adapted, stock.out, stock.err, stock.status);
        }
    }
}

TEST_F(AwstatsAdapter, AnUpdateSucceedsOnlyWithItsDataOnTheDisk)
{
    const std::string backup = known + "rename 'data/a.txt', 'data/a.bak'; exit 2;\n";
    const std::string stale = known + "open F, '>', 'data/a.tmp'; close F; utime 1, 1, 'data/a.tmp';\n"
                                      "rename 'data/a.tmp', 'data/a.txt'; unlink 'data/a.tmp';\n";
    const std::string foreign = known + "$NbOfLinesParsed = $NbOfLinesCorrupted = ";
    const std::string script = "#!/bin/sh\nprintf new >data/a.txt; exit ";
    // The last: what the adapter tells, or does instead of syncing the data.
    const std::tuple<std::string, const char *, int, const char *, const char *> rows[] = {
        {update, "fsync:error=EIO:when=3", 0, "a.txt:new\n", ""},
        {update, "fsync:error=EIO:when=1", 1, "a.txt:old\n", "cannot sync data/a.tmp."},
        {update, "fsync:error=EIO:when=2", 1, "a.txt:new\n", "cannot sync data: Input/output error\n"},
        {update, "rename:error=ENOSPC", 1, "a.txt:old\n", ""},
        {backup, "rename:error=EIO", 2, "a.bak:old\na.txt:old\n", ""},
        {stale, "rename:error=EIO", 1, "a.txt:old\n", "data/a.tmp was left by an update that was killed\n"},
        {foreign + "60;\n" + update, "fsync:error=EIO", 1, "a.txt:old\n", "no line of the log is in the format"},
        {foreign + "3;\n" + update, "rename:error=EIO:when=2", 0, "a.txt:new\n", ""}, // known lines were there before
        {foreign + "3;\n", "rename:error=EIO", 1, "a.txt:old\n", "no line of the log is in the format"},
        {replace_all(update, "7.8", "9.0"), "fsync:error=EIO", 0, "a.txt:new\n", "sync()"},
        {update + "=pod\n", "fsync:error=EIO", 0, "a.txt:new\n", "sync()"}, // it cannot be compiled as a routine
        {script + "0", "fsync:error=EIO", 0, "a.txt:new\n", "sync()"},
        {script + "5", "fsync:error=EIO", 5, "a.txt:new\n", ""},
    };
    for (const auto &[program, fault, status, files, told] : rows) {
        write_stock(program);
        const Outcome outcome = run(fault);
        EXPECT_EQ(outcome.status, status) << program << fault;
        EXPECT_EQ(data(), files) << program << fault;
        EXPECT_TRUE(contains(outcome.err + read_file("trace"), told));
    }
}
