#include "support.h"

// Runs the adapter of awstats.pl with a stand-in for it, whose update replaces the data of a month or two.
class AwstatsAdapter : public InTempDir
{
protected:
    AwstatsAdapter() { ::setenv("AWSTATS_STOCK_PROGRAM", (root() + "/stock.pl").c_str(), 1); }

    static void write_stock(const std::string &text)
    {
        fs::remove_all("data");
        write_file("data/a1.txt", "old");
        write_script("stock.pl", "");
        write_file("stock.pl", text);
    }

    // Runs an update with one of its system calls failing.
    static Outcome run(const std::string &fault)
    {
        return run_program({"strace", "-f", "-qq", "-o", "trace", "-e", "trace=fsync,rename,sync,symlink", "-e",
                            "inject=" + fault, AWSTATS_ADAPTER, "-update"});
    }

    // The files of the data, with the content of each.
    static std::string data() { return run_script("cd data; grep '' * /dev/null").out; }

    const std::string known = "#!/usr/bin/perl\n$VERSION = \"7.8 (stand-in)\";\n"
                              "($DirData, $PROG, $FileSuffix) = ('data', 'a', ''); opendir DIR, $DirData;\n";
    const std::string replacing = "for (@m) { open F, '>', \"data/a$_.tmp.$$\"; print F 'new'; close F }\n"
                                  "rename \"data/a$_.tmp.$$\", \"data/a$_.txt\" for @m;\n";
    const std::string update = known + "@m = 1;\n" + replacing;
    const std::string update_of_two = known + "@m = (1, 2);\n" + replacing;
};

TEST_F(AwstatsAdapter, PassesEverythingOn)
{
    write_file("log", "record");
    const std::string body = "print map({ \"<$_>\" } $0, @ARGV), $ENV{PWD}, <STDIN>; print STDERR 'complained';\n";
    for (const char *const word : {"-output=a b", "-update"}) {
        for (const char *const ending : {"exit 7;", "kill 9, $$;", "die;"}) {
            write_stock(known + body + ending);
            const Outcome stock = run_script("exec $PWD/stock.pl \"$0\" <log", word);
            const Outcome adapted = run_script("exec " AWSTATS_ADAPTER " \"$0\" <log", word);
            expect_outcome(adapted, stock.out, stock.err, stock.status);
        }
    }
}

TEST_F(AwstatsAdapter, AnUpdateSucceedsOnlyWithItsDataOnTheDisk)
{
    const std::string backup = known + "rename 'data/a1.txt', 'data/a1.bak'; exit 2;\n";
    // Of this process, one that lives and one that does not.
    const std::string stale =
        "#!/usr/bin/perl\nfor (\"$$.bis\", 1, 99999999) { open F, '>', \"data/a3.tmp.$_\"; print F 1 }\n";
    const std::string foreign = known + "$NbOfLinesParsed = $NbOfLinesCorrupted = ";
    const std::string script = "#!/bin/sh\nprintf new >data/a1.txt; exit ";
    // The last: what the adapter tells, or does instead of syncing the data.
    const std::tuple<std::string, const char *, int, const char *, const char *> rows[] = {
        {update, "fsync:error=EIO:when=3", 0, "a1.txt:new\n", ""},
        {update, "fsync:error=EIO:when=1", 1, "a1.txt:old\n", "cannot sync data/a1.tmp."},
        {update, "fsync:error=EIO:when=2", 1, "a1.txt:new\n", "cannot sync data: Input/output error\n"},
        {update, "rename:error=ENOSPC", 1, "a1.txt:old\n", ""},
        {backup, "rename:error=EIO", 2, "a1.bak:old\na1.txt:old\n", ""},
        {stale + update, "rename:error=EIO:when=2", 0, "a1.txt:new\na3.tmp.1:1\n", ""},
        {update_of_two, "fsync:error=ENOSPC:when=2", 1, "a1.txt:old\n", "cannot sync data/a"},
        {update_of_two, "fsync:error=EIO:when=3", 1, "a1.txt:old\n", "cannot sync data: Input/output error\n"},
        {update_of_two, "rename:error=EIO:when=2", 1, "a1.txt:old\n", ""},
        {update_of_two, "symlink:error=EIO:when=2", 1, "a1.txt:old\n", "cannot keep data/a2.txt as it is"},
        {update_of_two, "fsync:error=EINVAL:when=3+", 0, "a1.txt:new\na2.txt:new\n", ""}, // of a directory
        {update_of_two, "rename:signal=KILL:when=2", -SIGKILL, "a1.txt:old\n", "a.update.before"},
        {foreign + "60;\n" + update, "fsync:error=EIO", 1, "a1.txt:old\n", "no line of the log is in the format"},
        {foreign + "3;\n" + update, "rename:error=EIO:when=2", 0, "a1.txt:new\n", ""}, // known lines were there before
        {foreign + "60; $NbOfLinesParsed = 61;\n" + update, "rename:error=EIO:when=2", 0, "a1.txt:new\n", ""},
        {foreign + "3; $LogFile = 'web';\n" + update, "rename:error=EIO:when=2", 1, "a1.txt:old\n",
         "no line of the log"},
        {foreign + "3; $LogFile = 'ftp';\n" + update, "rename:error=EIO:when=2", 1, "a1.txt:old\n",
         "no line of the log"},
        {foreign + "1; $LogFile = 'proftpd';\n" + update, "rename:error=EIO", 1, "a1.txt:old\n", "no line of the log"},
        {foreign + "1; $LogFile = 'vsftpd';\n" + update, "rename:error=EIO", 1, "a1.txt:old\n", "no line of the log"},
        {foreign + "2; $LogFile = 'web';\n" + update, "rename:error=EIO:when=2", 0, "a1.txt:new\n",
         ""}, // of its last two
        {foreign + "3;\n", "rename:error=EIO", 1, "a1.txt:old\n", "no line of the log is in the format"},
        {replace_all(update, "7.8", "9.0"), "fsync:error=EIO", 0, "a1.txt:new\n", "sync()"},
        {update + "=pod\n", "fsync:error=EIO", 0, "a1.txt:new\n", "sync()"}, // it cannot be compiled as a routine
        {script + "0", "fsync:error=EIO", 0, "a1.txt:new\n", "sync()"},
        {script + "5", "fsync:error=EIO", 5, "a1.txt:new\n", ""},
    };
    write_file("web", "a 7 \"GET / HTTP/1.1\" 200\nprobe\nprobe\n");
    write_file("proftpd", "a - b [01/Nov/2026:10:00:00 +0000] \"RETR /f\" 226 5\n");
    write_file("vsftpd", "Sun Nov  1 10:00:00 2026 [pid 7] [b] OK DOWNLOAD: Client \"a\", \"/f\", 5 bytes\n");
    write_file("ftp", "Sun Nov  1 10:00:00 2026 1 a 5 /f b _ o a x ftp 0 * c\n");
    for (const auto &[program, fault, status, files, told] : rows) {
        write_stock(program);
        const Outcome outcome = run(fault);
        EXPECT_EQ(outcome.status, status) << program << fault;
        if (status < 0) { // the next update puts back what that one has replaced
            EXPECT_TRUE(contains(data(), "a1.txt:new\na1.txt.before:old\n"));
            write_file("stock.pl", known);
            EXPECT_EQ(run_program({AWSTATS_ADAPTER, "-update"}).status, 0);
        }
        EXPECT_EQ(data(), files) << program << fault;
        EXPECT_TRUE(contains(outcome.err + read_file("trace"), told));
    }
}
