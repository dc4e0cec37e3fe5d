#include "support.h"

#include <fstream>

// Log preparation of one domain in the working directory; its log is access_log. `all` holds every line written to it.
class Preparation : public InTempDir
{
protected:
    Preparation() { layOut(); }

    void layOut() const
    {
        run_script("rm -rf v p all; mkdir -p p/var v/system/d/conf v/system/d/logs; touch all");
        write_file("etc/zut/zut.conf", "HTTPD_VHOSTS_D v\nPRODUCT_ROOT_D p\n");
    }

    // Adds to the log, and to what is to come over.
    void write(const std::string &lines) const
    {
        for (const std::string &path : {logs + "access_log", std::string("all")}) {
            std::ofstream(path, std::ios::app) << lines;
        }
    }

    // The same with a line that is like no other.
    void writeLine() const
    {
        static int number = 0;
        write("192.0.2.1 - - [15/May/2024:12:00:00 +0000] \"GET /" + std::to_string(++number) + "\" 200 1\n");
    }

    // Runs a shell script in the directory of the logs, with the log as $l and its position as $p. `new FILE` adds a
    // line to it, `prep` prepares the logs; `much N` has many lines taken, whose beginning is f then, and `keep` adds its
    // input to what is to come over.
    void inLogs(const std::string &script) const
    {
        const std::string beginning = R"(l=access_log; p=$PWD/p/var/log_positions/d/$l; r=$PWD; cd v/system/d/logs
            new() { n=x$n; echo $n | tee -a $r/all >>$1; }
            prep() { (cd $r; $0 2>&1) }
            keep() { tee -a $r/all; }
            much() { seq -f %09.0f ${1}0000 ${1}9999 | keep >>$l; prep; new $l; head -n 950 $l >f; }
            )";
        const Outcome outcome = run_script(beginning + script, STATISTICS_LOG_PROCESSOR);
        EXPECT_EQ(outcome.status, 0) << script << outcome.err;
    }

    // Prepares the logs. Returns what it says, which is nothing if it ends with 0.
    std::string prepare(int status = 0, const std::string &time = "2024-05-15 12:00") const
    {
        const Outcome outcome = run_program({"env", "TEST_TIME=" + time, STATISTICS_LOG_PROCESSOR});
        EXPECT_TRUE(outcome.status == status && outcome.out.empty() && outcome.err.empty() == (status == 0))
            << outcome.status << outcome.err;
        return replace_all(outcome.err, "statistics_log_processor: " + logs, "");
    }

    // Prepares the logs: every line has come over once, in order.
    void expectAll() const
    {
        prepare();
        EXPECT_EQ(read_file(prepared), read_file("all"));
    }

    const std::string logs = "v/system/d/logs/";
    const std::string prepared = logs + "access_log.webstat";
    const std::string position = "p/var/log_positions/d/access_log";
};

TEST_F(Preparation, MovesCompleteLinesAsTheyAreAndOnce)
{
    prepare();
    EXPECT_FALSE(exists(prepared) || exists(position));
    const std::string part(600000, 'i');
    write(std::string("a\0b\r\n\n", 6) + std::string(700000, 'x') + "\nlast\n");
    std::ofstream(logs + "access_log", std::ios::app) << part;
    expectAll();
    EXPECT_EQ(attributes(prepared) + ", " + attributes(position) + ", " + attributes("p/var/log_positions"),
              "0:0 600, 0:0 600, 0:0 700");
    fs::permissions(prepared, fs::perms::owner_all);
    std::ofstream("all", std::ios::app) << part;
    write("\n");
    expectAll();
    fs::resize_file(prepared, 0);
    write_file("all", "");
    write(std::string("\0x\n", 3));
    expectAll();
    EXPECT_EQ(attributes(prepared), "0:0 700");
}

// Each of the scripts rotates a log of which one line is taken and another one is not.
TEST_F(Preparation, FollowsRotation)
{
    const char *const rotations[] = {
        "mv $l $l.1",
        "mv $l $l.1; gzip -k $l.1; truncate -s 20 $l.1.gz", // still being compressed
        "cp $l $l.1; : >$l",
        "cp $l $l.1; gzip $l.1; : >$l",
        "cp $l $l.1", // to be truncated next
        "cp $l $l.2; : >$l; echo 1 | tee -a ../../../../all >$l; cp $l $l.1",
        "mv $l $l.1; tee -a ../../../../all <$l.1 >$l", // the same lines again
        "mv $l $l.2; printf '1\\n1\\n' >>../../../../all; echo 1 | tee $l.1 >$l",
        "mv $l $l-20240514-23",
        "mv $l $l-1715731200; gzip $l-1715731200",
        "mv $l $l.1; : >$l; mv $l.1 $l.2; mv $l $l.1", // an empty one between
        "mv $l.5.gz $l.10.gz; mv $l $l.9",
        "mv $l $l.2; : >$l.1; new $l; prep; new $l.1", // by who has not opened the new one yet
        "mv $l $l.2; : >$l.1; new $l; prep; new $l.1; touch -r $l $l.1; gzip $l.1", // the clock of files is coarse
        "mv $l $l.2; : >$l.1; new $l; prep; new $l.1; mv $l.2 $l.3; mv $l.1 $l.2; mv $l $l.1",
        "prep; mkdir f; mv $l $l.5.gz f; prep | grep -q missing; prep | grep -q missing; mv f/* .; rmdir f",
        "prep; mv $l $l.1; new $l; prep; mv $l f; prep | grep -q missing; prep | grep -q missing; mv f $l",
        "prep; mv $l $l.1; new $l; prep; mkdir f; mv $l $l.1 f; prep | grep -q missing; mv f/* .; rmdir f",
        "sed -i 's/ ending [0-9]*//' $p",                           // as positions were once
        "s=$(stat -c %s $l); cp $l $l.1; : >$l; truncate -s $s $l", // its writer goes on behind the hole
        "much 2; cp $l $l.1; keep <f >$l",                          // the new log begins as the old one does
        "much 2; cp $l $l.1; gzip $l.1; (cat f; seq 9000) | keep >$l",
        "much 2; cp $l $l.2; (cat f; seq 2 9) | keep >$l; cp $l $l.1; (cat f; seq 9000) | keep >$l",
        "much 2; gzip <$l >$l.1.gz; keep <f >$l; new $l; prep; gzip <$l >$l.0.gz; (cat f; seq 30000) | keep >$l",
        "cp $l $l.1; echo >>$l.1; truncate -s -1 $l.1; cp $l.1 new; mv new $l", // not rotated, but for its inode
        "mv $l $l.1; gzip $l.1; new $l; mv $l.1.gz $l.2.gz; gzip $l; mv $l.gz $l.1.gz",
        "mv $l $l.1; new $l.1; new $l; prep; new $l.1; mv $l.1 $l.2; gzip $l.2; mv $l $l.1; new $l", // late once more
        "mv $l $l.1; prep; new $l; prep; mv $l $l-20240601", // dates follow numbers
    };
    for (const std::string rotation : rotations) {
        for (const bool at_once : {false, true}) {
            SCOPED_TRACE(rotation);
            layOut();
            inLogs("echo past | gzip >$l.5.gz; echo x >$l.old; mkdir $l.d; echo x >$l.1.bak; : >$l");
            prepare();
            writeLine();
            prepare();
            writeLine();
            inLogs(rotation);
            if (at_once) {
                prepare();
            }
            writeLine();
            expectAll();
            writeLine();
            expectAll();
        }
    }
}

TEST_F(Preparation, SaysWhatIsLost)
{
    const std::string gone = "access_log: the log that was being read is gone, with what it held after the last line "
                             "taken; going on from the beginning of ";
    writeLine();
    inLogs("echo past | tee $l.1 >$l.4; touch -d 2000-01-01 $l.1 $l.4");
    prepare();
    writeLine();
    prepare();
    inLogs("rm $l");
    writeLine();
    EXPECT_EQ(prepare(1), gone + "access_log\n");
    inLogs("mv $l $l.1; rm $l.1; echo a >$l.3; echo b | gzip >$l.2.gz; echo c >$l");
    std::ofstream("all", std::ios::app) << "a\nb\nc\n";
    EXPECT_EQ(prepare(1), gone + "access_log.3\n");
    inLogs("rm $l; echo bc | keep >$l"); // what was taken is in it, too, but by chance
    EXPECT_EQ(prepare(1), gone + "access_log\n");
    write(std::string(5000, 'x') + "\n");
    prepare();
    inLogs("echo late >$l.1; truncate -s 4999 $l");
    EXPECT_EQ(prepare(1),
              "access_log: is shorter than what was taken of it; going on from its end, past what was written since\n");
    writeLine();
    expectAll();
    inLogs("much 2; echo late >$l.1; sed -i 5,9d $l; keep <f >>$l");
    EXPECT_EQ(prepare(1), "access_log: was edited; going on after the last line taken, in access_log\n");
    inLogs("much 3; new $l; tail -n 500 $l >$l.1; keep <f >>$l.1; gzip $l.1; : >$l");
    EXPECT_EQ(prepare(1), "access_log: was edited; going on after the last line taken, in access_log.1.gz\n");
    inLogs("much 4; prep; mv $l $l.1; rm $l.1; (cat f; seq 50000 90000) | keep >$l");
    EXPECT_EQ(prepare(1), gone + "access_log\n");
    expectAll();
    inLogs("much 5; prep; cp $l $l.1; new $l; prep; : >$l; new $l; touch $l.1"); // taken between copy and truncation
    EXPECT_EQ(prepare(1), "access_log.1: is shorter than what was taken of it; going on from its end, past what was "
                          "written since\n");
    expectAll();
    inLogs("rm $l $l.1; : >$l");
    EXPECT_EQ(prepare(1), gone + "access_log\n");
    inLogs("mv $l $l.1"); // what was passed before is not taken now
    prepare();
    writeLine();
    expectAll();
}

TEST_F(Preparation, ServesTheOtherLogsAndLosesNothingWhereOneIsBad)
{
    const char *const not_understood = "p/var/log_positions/d/access_log: not a position of this program";
    const std::tuple<const char *, const char *, const char *> cases[] = {
        {"mv $l f; mkfifo $l", "mv f $l", "access_log: is not a regular file"},
        {"mv $l f; ln -s f $l; chown -h 1 $l", "mv f $l", "access_log: is a link that others"},
        {"mv $l f; ln -s f $l; chmod 777 .", "chmod 755 .; mv f $l", "access_log: is a link that others"},
        {"mv $l f; ln -s $l $l", "mv f $l", "access_log: Too many levels of symbolic links"},
        {"mv $l f; mkfifo $l.1", "rm $l.1; mv f $l.1", "access_log.1: is not a regular file"},
        {"gzip $l; truncate -s -6 $l.gz; mv $l.gz $l.1.gz", "rm $l.1.gz; echo 1 >$l.1; echo 2 >>$l.1",
         "access_log.1.gz: is damaged or cut short"},
        {"mv $l $l.1; cp $l.1 $l.2.gz; mv $l.1 f", "mv f $l.1; rm $l.2.gz", "access_log.2.gz: is not compressed"},
        {"ln -s f $l.webstat.f; mv $l.webstat f; mv $l.webstat.f $l.webstat", "mv f $l.webstat",
         "access_log.webstat: is not a regular file"},
        {"mv $l $l.2; : >$l.1.gz", "rm $l.1.gz", "access_log.1.gz: is damaged or cut short"},
        {"ln $l.webstat f", "rm f", "access_log.webstat: has other names, too"},
        {"mv $l.webstat $l.webstat.new; : >$l.webstat", "rm $l.webstat",
         "access_log.webstat: has come while its lines"},
        {"cp $p f; sed -i /^end/d $p", "mv f $p", not_understood},
        {"cp $p f; echo end >>$p", "mv f $p", not_understood},
        {"cp $p f; sed -i 's/size /size -/' $p", "mv f $p", not_understood},
        {"cp $p f; sed -i /^file/d $p", "mv f $p", not_understood},
        {"cp $p f; sed -i '/^file/{p;p}' $p", "mv f $p", not_understood},
        {"cp $p f; sed -i 's/beginning [^ ]*/beginning -/' $p", "mv f $p", not_understood},
        {"mv $p f; mkdir $p", "rmdir $p; mv f $p", not_understood},
        {"mv $p f; mv $l.webstat $l.webstat.new", "mv f $p; mv $l.webstat.new $l.webstat",
         "access_log.webstat.new: there is no position for its lines: append it to access_log.webstat and remove it"},
    };
    for (const auto &[spoil, mend, message] : cases) {
        SCOPED_TRACE(spoil);
        layOut();
        write("1\n");
        prepare();
        write("2\n");
        inLogs(spoil);
        write_file(logs + "xferlog", "x\n");
        write_file("v/system/e/logs/access_log", "e\n");
        EXPECT_TRUE(contains(prepare(1), message));
        EXPECT_EQ(read_file(logs + "xferlog.webstat") + read_file("v/system/e/logs/access_log.webstat"), "x\ne\n");
        inLogs(mend);
        expectAll();
    }
}

TEST_F(Preparation, FollowsLinksOfRootToALogAndToADomain)
{
    inLogs("mkdir $r/apache; ln -s apache $r/web; chown -h 1 $r/web; ln -s ../../../../web/a.log $l; "
           "ln -s d ../../alias; touch ../../file"); // the alias has the same logs
    writeLine();
    EXPECT_TRUE(contains(prepare(1), "/web: is a link that others than root can have made"));
    EXPECT_EQ(::lchown("web", 0, 0), 0);
    prepare();
    writeLine();
    fs::rename("apache", "elsewhere");
    EXPECT_TRUE(contains(prepare(1), "/apache: is missing"));
    inLogs("cd $r; mv elsewhere apache; mv apache/a.log apache/a.log.1");
    writeLine();
    expectAll();
    EXPECT_FALSE(exists("p/var/log_positions/alias"));
    inLogs("mkdir ../../mine; ln -s $r/apache ../../mine/logs; chown -h 1 ../../mine/logs");
    EXPECT_TRUE(contains(prepare(1), "v/system/mine/logs: is a link that others than root can have made"));
}

TEST_F(Preparation, ReplacesTheCopiesOfTheProxysLogs)
{
    for (const std::string lines : {"1\n", "2\n3\n", ""}) {
        std::ofstream(logs + "proxy_access_log", std::ios::app) << lines;
        prepare();
        EXPECT_EQ(read_file(logs + "proxy_access_log.webstat"), lines);
    }
}

TEST_F(Preparation, ShowsItsHelpWhereItDoesNotKnowAnOption)
{
    expect_outcome(run_program({STATISTICS_LOG_PROCESSOR, "-x"}), "",
                   run_program({STATISTICS_LOG_PROCESSOR, "--help"}).out, 1);
}

TEST_F(Preparation, LeavesTheMarkerOfThePreviousMonth)
{
    const std::string marker = "v/system/d/conf/prev_month.found";
    const std::tuple<const char *, const char *, const char *, bool> cases[] = {
        {"access_log", "1.2.3.4 - [x] [30/Apr/2024:23:59:59 +0000] \"GET /\"", "2024-05-15 12:00", true},
        {"access_log", "1.2.3.4 - - [30/Apr/2023:23:59:59 +0000] \"GET /\"", "2024-05-15 12:00", false},
        {"access_log", "1.2.3.4 - - [01/May/2024:00:00:00 +0000] \"GET /[30/Apr/2024:\"", "2024-05-15 12:00", false},
        {"access_log", "x\n1.2.3.4 - - [31/Dec/2023:23:59:59 +0000] \"GET /\"", "2024-01-01 00:00", true},
        {"xferlog", "Tue Apr 30 23:59:59 2024 1 1.2.3.4 1 /f b _ o a x ftp 0 * c", "2024-05-15 12:00", true},
        {"xferlog", "Wed May  1 00:00:00 2024 1 1.2.3.4 1 /Apr b _ o a x ftp 0 * c", "2024-05-15 12:00", false},
    };
    for (const auto &[log, line, time, found] : cases) {
        std::ofstream(logs + log, std::ios::app) << line << '\n';
        prepare(0, time);
        EXPECT_EQ(exists(marker), found) << line;
        EXPECT_EQ(fs::remove(marker), found);
    }
    fs::create_symlink("elsewhere", marker);
    writeLine();
    EXPECT_EQ(prepare(1, "2024-06-15 12:00"),
              "statistics_log_processor: v/system/d/conf/prev_month.found: is not a regular file\n");
    EXPECT_FALSE(contains(read_file(prepared), read_file("all")) || exists("v/system/d/conf/elsewhere"));
    fs::remove(marker);
    prepare(0, "2024-06-15 12:00");
    EXPECT_TRUE(contains(read_file(prepared), read_file("all")) && exists(marker));
}

TEST_F(Preparation, WaitsForAnotherOne)
{
    writeLine();
    prepare();
    const std::string script =
        "exec 9<p/var/log_positions; flock 9; \"$0\" 9<&- & until grep -q 'State:.S' /proc/$!/status && "
        "readlink /proc/$!/fd/[3-8] | grep -q log_positions$; do sleep .01; done; echo late >>\"$1\"; flock -u 9; wait "
        "$!";
    EXPECT_EQ(run_program({"sh", "-c", script, STATISTICS_LOG_PROCESSOR, logs + "access_log"}).status, 0);
    EXPECT_EQ(read_file(prepared), read_file("all") + "late\n");
    EXPECT_EQ(::chmod("p/var/log_positions", 0777), 0);
    EXPECT_TRUE(contains(prepare(1), "p/var/log_positions: belongs to others than root, or they can write to it"));
}
