#include "support.h"
#include "util/child_process.h"
#include "util/descriptors.h"
#include "util/owned.h"

#include <sys/time.h>

#include <chrono>

namespace
{

Outcome capture_script(const std::string &script)
{
    char *out = nullptr;
    char *err = nullptr;
    const int status = fork_execv_getouterr(&out, &err, "/bin/sh", shell_arguments(script).data());
    const Malloced<char> owned_out(out);
    const Malloced<char> owned_err(err);
    return {out == nullptr ? "" : out, err == nullptr ? "" : err, status};
}

} // namespace

TEST(CapturedRunner, CollectsBothStreamsWithoutDeadlockAndLeavesNothing)
{
    const int before = lowest_free_descriptor();
    const Descriptor high(::fcntl(0, F_DUPFD, 200));
    const Outcome outcome = capture_script("head -c 1500000 /dev/zero | tr '\\0' e >&2; "
                                           "head -c 1000000 /dev/zero | tr '\\0' o; exit 9");
    EXPECT_EQ(outcome.status, 9);
    EXPECT_TRUE(outcome.out == std::string(1000000, 'o') && outcome.err == std::string(1500000, 'e'));
    EXPECT_EQ(capture_script("cd /proc/self/fd; echo *").out, "0 1 2 3\n"); // 3: the listing
    EXPECT_EQ(lowest_free_descriptor(), before);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
}

TEST(CapturedRunner, DoesNotWaitForABackgroundProcessThatHoldsThePipes)
{
    const std::string background = "sleep 30 & echo $!; ";
    const auto start = std::chrono::steady_clock::now();
    in_child([&] {
        const itimerval often = {{0, 100000}, {0, 100000}}; // its signals must not begin the second anew
        ::signal(SIGALRM, [](int) {});
        ::setitimer(ITIMER_REAL, &often, nullptr);
        const Outcome ended = capture_script(background + "exit 4");
        const Outcome killed = capture_script(background + "kill -TERM $$");
        EXPECT_TRUE(ended.status == 4 && killed.status == -1 && errno == 0);
        EXPECT_EQ(::kill(std::stoi(ended.out), SIGKILL) + ::kill(std::stoi(killed.out), SIGKILL), 0);
    });
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(15));
}

TEST(RunAndReport, SaysWhatAFailedProgramWrote)
{
    const auto outcome_of = [](const std::string &script, bool quiet, int result) {
        return in_child([&] { EXPECT_EQ(run_and_report("/bin/sh", shell_arguments(script).data(), quiet), result); });
    };
    const std::string failed = "/bin/sh execution failed";
    expect_outcome(outcome_of("echo fine; echo fine >&2", false, 0), "", "");
    expect_outcome(outcome_of("echo why; exit 3", false, 3), failed + " (no output)\n",
                   "why\n" + failed + " (no output)\n");
    expect_outcome(outcome_of("echo why >&2; exit 3", false, 3), failed + ":\nwhy\n", failed + ":\nwhy\n");
    expect_outcome(outcome_of("echo why >&2; exit 3", true, 3), "", "");
    EXPECT_TRUE(contains(outcome_of("kill -TERM $$", true, -1).out, ": process '/bin/sh' killed by signal 15\n"));
}

TEST(WaitChild, LogsWhatItCouldNotWaitFor)
{
    const auto wait_for_stopped_child = [] {
        const pid_t child = ::fork();
        if (child == 0) {
            ::raise(SIGSTOP);
        }
        EXPECT_EQ(wait_child(child, "tool", nullptr), -1);
        ::kill(child, SIGKILL);
    };
    EXPECT_TRUE(contains(reported(wait_for_stopped_child), ": process 'tool' stopped by signal 19\n"));
    expect_reports({
        {[] { EXPECT_EQ(wait_child(-1, nullptr, nullptr), -1); }, "fork before spawning '<unknown>' failed\n"},
        {[] { EXPECT_EQ(wait_child(1, "init", nullptr), -1); },
         "waitpid(1) for 'init' process failed: No child processes (10)\n"},
    });
}
