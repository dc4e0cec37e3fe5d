// Trials of runs whose system calls fail, that are killed, whose generators fail, or that meet a limit.

#include "server/sweep.h"

#include <sys/mount.h>

#include <fcntl.h>
#include <sched.h>

#include <iostream>

namespace
{

std::vector<std::string> shell(const std::string &script)
{
    return {"bash", "-c", script, STATISTICS_RUN};
}

struct Mounted {
    std::string path;
    ~Mounted()
    {
        fs::current_path("/");
        ::umount2(path.c_str(), MNT_DETACH);
    }
};

} // namespace

class Faults : public InTempDir
{
protected:
    // Judges after a disturbed run. The domains that it did not do are not counted.
    void judge(const std::string &deed, const Outcome &outcome, std::size_t faults = 9, bool killed = false)
    {
        for (const std::string &text : accepted.rest(deed, trial.judge(outcome, faults, killed))) {
            ADD_FAILURE() << text;
        }
    }

    // A run with a limit, which some run must meet.
    void tryLimit(const std::string &deed, const std::string &reason, const std::vector<std::string> &command)
    {
        const Outcome outcome = run_program(command);
        met += (outcome.out + outcome.err).find(reason) != std::string::npos ? 1 : 0;
        fs::remove_all("filler");
        judge(deed, outcome);
    }

    // Lets the stand-in prepare the logs, which would make room otherwise.
    void prepareLogs()
    {
        trial.prepare();
        ASSERT_EQ(run_program({root() + "/panel/admin/sbin/statistics_log_processor"}).status, 0);
    }

    Accepted accepted{ACCEPTED};
    Trial trial{SampleServer(root()), {STATISTICS_RUN}};
    int met = 0;
};

TEST_F(Faults, OfSystemCalls)
{
    Sweep sweep = {
        {STATISTICS_RUN},
        [&] { trial.prepare(); },
        [&](const Outcome &outcome, const Fault &fault) { return trial.judge(outcome, fault.count, fault.killed); },
        accepted};
    const Violations wrong = sweep.run(fault_number("FIRST_FAULT", 0), fault_number("FAULT_STEP", 20));
    std::cout << trial.doubled << " records were taken in again\n";
    for (const std::string &text : wrong) {
        ADD_FAILURE() << text;
    }
}

TEST_F(Faults, OfProgramsThatAreStarted)
{
    for (const std::string program :
         {"statistics_log_processor", "webalizer", "awstats.pl", "awstats_buildstaticpages.pl"}) {
        for (const auto &[file, deed] : {std::pair("fail", "exit 1"), std::pair("fail_late", "exit 255"),
                                         std::pair("fail", "kill $$"), std::pair("fail_late", "kill -KILL $$")}) {
            trial.prepare();
            write_file(file, program + " *\n" + deed + "\n");
            const Outcome outcome = run_program(trial.command());
            fs::remove(file);
            EXPECT_TRUE(contains(outcome.out, "Finished."));
            judge(program + " fails: " + deed, outcome, program == "statistics_log_processor" ? 5 : 1);
        }
    }
}

TEST_F(Faults, OfAFullDisk)
{
    ASSERT_EQ(::unshare(CLONE_NEWNS) + ::mount("", "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0);
    if (::mount("none", root().c_str(), "tmpfs", 0, "size=1m,nr_inodes=400") != 0) {
        GTEST_SKIP() << "no disk can be mounted here";
    }
    const Mounted mounted = {root()};
    fs::current_path(root());
    for (int left = 0; left <= 64; left += 4) {
        prepareLogs();
        const std::string fill =
            "head -c 2m /dev/zero >filler 2>/dev/null; truncate -s -" + std::to_string(left) + "k filler; ";
        tryLimit("blocks", "No space left", shell(fill + "exec $0"));
    }
    for (int left = 0; left <= 8; ++left) {
        prepareLogs();
        const std::string fill = "mkdir filler; while : >filler/$((++i)); do :; done 2>/dev/null; "
                                 "for ((i = 1; i <= " +
                                 std::to_string(left) + "; ++i)); do rm filler/$i; done; ";
        tryLimit("inodes", "No space left", shell(fill + "exec $0"));
    }
    EXPECT_GT(met, 4);
}

TEST_F(Faults, OfAFileThatGetsTooLarge)
{
    for (const int bytes : {0, 100, 456, 457, 900, 5000}) {
        const std::string limit = "prlimit --fsize=" + std::to_string(bytes) + " $0; } 2>&1 | cat";
        for (const std::string trap : {"{ trap '' XFSZ; ", "{ "}) {
            prepareLogs();
            tryLimit("sizes", "oo large", shell(std::string(trap).append(limit)));
        }
    }
    EXPECT_GT(met, 0);
}

TEST_F(Faults, OfFewDescriptors)
{
    for (int limit = 5; limit <= 20; ++limit) {
        trial.prepare();
        tryLimit("descriptors", "Too many open files", shell("ulimit -n " + std::to_string(limit) + "; exec $0"));
    }
    EXPECT_GT(met, 4);
}
