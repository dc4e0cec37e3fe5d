// Trials of runs whose system calls fail, that are killed, whose generators fail, or that meet a limit.

#include "server/sweep.h"

#include <sys/mount.h>

#include <sched.h>

class Faults : public InTempDir
{
protected:
    // Judges after a disturbed run, whose domains that it did not do are not counted.
    void judge(const std::string &deed, const Outcome &outcome, std::size_t faults = 9)
    {
        EXPECT_EQ(accepted.rest(deed, trial.judge(outcome, faults)), Violations());
    }

    Accepted accepted{ACCEPTED};
    const Trial trial{SampleServer(root()), {STATISTICS_RUN}};
};

TEST_F(Faults, OfSystemCalls)
{
    const auto prepare = [&] {
        trial.prepare();
    };
    const auto judge = [&](const Outcome &outcome, const Fault &fault) {
        return trial.judge(outcome, fault.count, fault.killed);
    };
    Sweep{{STATISTICS_RUN}, prepare, judge}.run(accepted);
}

TEST_F(Faults, OfProgramsThatAreStarted)
{
    for (const std::string program :
         {"statistics_log_processor", "webalizer", "awstats.pl", "awstats_buildstaticpages.pl"}) {
        for (const auto &[file, deed] : {std::pair("fail", "exit 1"), std::pair("fail_late", "exit 255"),
                                         std::pair("fail", "kill $$"), std::pair("fail_late", "kill -KILL $$")}) {
            trial.prepare();
            write_file(file, program + " *\n" + deed + "\n");
            const Outcome outcome = run_program({STATISTICS_RUN});
            fs::remove(file);
            EXPECT_TRUE(contains(outcome.out, "Finished."));
            judge(program + " fails: " + deed, outcome, program == "statistics_log_processor" ? 5 : 1);
        }
    }
}

TEST_F(Faults, OfLimits)
{
    const std::tuple<std::string, std::vector<int>, const char *, const char *> limits[] = {
        {"blocks",
         {0, 4, 8, 12, 16, 20, 24, 28, 32, 40, 48, 64},
         "No space left",
         "head -c 2m /dev/zero >filler 2>/dev/null; truncate -s -${1}k filler; exec $0"},
        {"inodes",
         {0, 1, 2, 3, 4, 5, 6, 7, 8},
         "No space left",
         "mkdir filler; while : >filler/$((++i)); do :; done 2>/dev/null; "
         "for ((i = 1; i <= $1; ++i)); do rm filler/$i; done; exec $0"},
        {"sizes", {0, 100, 456, 457, 900, 5000}, "oo large", "trap '' XFSZ; prlimit --fsize=$1 $0 2>&1 | cat"},
        {"sizes", {0, 100, 456, 457, 900, 5000}, "", "prlimit --fsize=$1 $0 2>&1 | cat"},
        {"descriptors", {5, 6, 7, 8, 9, 10, 11, 12, 14, 16, 20}, "Too many open files", "ulimit -n $1; exec $0"},
    };
    ASSERT_EQ(::unshare(CLONE_NEWNS) + ::mount("", "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0);
    ASSERT_EQ(::mount("none", root().c_str(), "tmpfs", 0, "size=1m,nr_inodes=400"), 0);
    fs::current_path(root());
    for (const auto &[deed, values, reason, script] : limits) {
        int met = 0;
        for (const int value : values) {
            trial.prepare();
            run_program({root() + "/panel/admin/sbin/statistics_log_processor"}); // which would make room later
            const Outcome outcome = run_program({"bash", "-c", script, STATISTICS_RUN, std::to_string(value)});
            met += (outcome.out + outcome.err).find(reason) != std::string::npos ? 1 : 0;
            fs::remove_all("filler");
            judge("limit: " + deed, outcome);
        }
        EXPECT_GT(met, 0) << deed;
    }
    fs::current_path("/");
    ::umount2(root().c_str(), MNT_DETACH);
}
