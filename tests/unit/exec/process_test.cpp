#include "exec/process.h"
#include "exec/system_error.h"
#include "support.h"
#include "util/descriptors.h"

namespace
{

Outcome capture_script(const std::string &script, const std::string &input = "", const std::string &user = "",
                       const korvo::Environment &environment = {})
{
    Outcome outcome;
    outcome.status = korvo::forkExecvGetOutErr(input, outcome.out, outcome.err, "/bin/sh",
                                               shell_arguments(script).data(), user, environment);
    return outcome;
}

} // namespace

TEST(Process, StatusAndStreams)
{
    const Descriptor high(::fcntl(0, F_DUPFD, 200));
    EXPECT_EQ(korvo::dup2Custom(-1, high.get()), high.get()); // the null device
    expect_outcome(capture_script("echo out; echo err >&2; cat; exit 255", "text"), "out\ntext", "err\n", 255);
    expect_outcome(capture_script("printf a; cat; kill -TERM $$"), "a", "", -1);
    expect_outcome(capture_script("exec >&- 2>&-; cat >/dev/null; exit 3", "x"), "", "", 3);
    expect_outcome(capture_script("cd /proc/self/fd; echo *"), "0 1 2 3\n", ""); // 3: the listing
    const Arguments arguments = shell_arguments("cat; echo ${HOME+set} $(id -u); echo err >&2");
    std::string out = "appended ";
    EXPECT_EQ(korvo::forkExecvGetOutErr(out, "sh", arguments.data()), 0);
    EXPECT_EQ(out, "appended set 0\n");
    EXPECT_EQ(capture_script("echo $HOME", "", "", {{"HOME", "changed"}}).out, "changed\n");
}

TEST(Process, SwitchesTheUserCompletelyOrNotAtAll)
{
    EXPECT_EQ(capture_script("id -u; id -g; id -G", "", "nobody").out, "65534\n65534\n65534\n");
    EXPECT_EQ(capture_script("id -u", "", "no such user").out, "0\n");
    in_child(as_nobody([] {
        const Outcome outcome = capture_script("echo started", "", "daemon");
        EXPECT_TRUE(outcome.status == -1 && outcome.out.empty());
        EXPECT_TRUE(contains(outcome.err, "p_setuid() to 'daemon' failed: Operation not permitted"));
    }));
}

TEST(Process, AProgramThatDoesNotReadItsInputIsASystemErrorThatLeavesNothingBehind)
{
    const int lowest_free = lowest_free_descriptor();
    ::signal(SIGPIPE, SIG_DFL);
    try {
        capture_script("exec <&- yes", std::string(1U << 20, 'x')); // ends only because its output is closed, too
        ADD_FAILURE() << "not thrown";
    } catch (const korvo::SystemError &error) {
        EXPECT_STREQ(error.what(), "writeToString failed: Broken pipe");
    }
    EXPECT_EQ(::signal(SIGPIPE, SIG_DFL), SIG_DFL);
    sigset_t mask;
    ::pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    EXPECT_EQ(sigismember(&mask, SIGPIPE), 0);
    EXPECT_EQ(lowest_free_descriptor(), lowest_free);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
}

TEST(Process, NoPipesEndTheProcessAndNoChildIsASystemError)
{
    expect_reports(
        {{[] { use_up_descriptors(), capture_script(""); }, "forkExecvGetOutErr: pipe() failed", EMFILE, 1}});
    in_child([] {
        const int lowest_free = lowest_free_descriptor();
        forbid_children();
        EXPECT_THROW(capture_script(""), korvo::ExSystemError<EAGAIN>);
        EXPECT_EQ(lowest_free_descriptor(), lowest_free);
    });
}

TEST(Process, MegabytesOnAllStreamsWithSignalsAndDescriptorsAboveTheSizeOfASet)
{
    std::string input(4U << 20, '\0');
    for (unsigned i = 0; i < input.size(); ++i) {
        input[i] = static_cast<char>(i * 2654435761U >> 24);
    }
    in_child([&] {
        const rlimit limit = {2048, 2048};
        ::setrlimit(RLIMIT_NOFILE, &limit);
        while (::dup(0) < FD_SETSIZE) {
        }
        const Outcome outcome =
            capture_script(after_signals("tee /dev/stderr; exec >&- 2>&-; " + after_signals("exit 7")), input);
        EXPECT_TRUE(outcome.status == 7 && outcome.out == input && outcome.err == input);
    });
}

TEST(Process, AProgramThatCannotBeStartedSaysWhy)
{
    const auto call = [] {
        std::printf("pending");
        std::string out;
        std::string err;
        EXPECT_EQ(korvo::forkExecvGetOutErr(out, err, "/nonexistent/tool", shell_arguments("").data()), 1);
        EXPECT_TRUE(out == err && out == "forkExecvPipes: execv() failed" + reason(ENOENT));
    };
    EXPECT_EQ(in_child(call).out, "pending");
}
