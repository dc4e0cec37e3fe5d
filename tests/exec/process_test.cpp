#include "exec/process.h"
#include "exec/system_error.h"
#include "support.h"
#include "util/descriptors.h"
#include "util/report.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace
{

struct Captured {
    int result = 0;
    std::string out;
    std::string err;
};

Captured capture_script(std::string script, const std::string &input = "",
                        const std::string &user = "", const korvo::Environment &environment = {})
{
    char shell[] = "/bin/sh";
    char option[] = "-c";
    char *const argv[] = {shell, option, script.data(), nullptr};
    Captured captured;
    captured.result = korvo::forkExecvGetOutErr(input, captured.out, captured.err, shell, argv,
                                                user, environment);
    return captured;
}

// The lowest free descriptor: it tells whether one has been left open below it.
int lowest_free_descriptor()
{
    const Descriptor probe(::dup(0));
    return probe.get();
}

class NothingLeftBehind : public testing::Test
{
protected:
    ~NothingLeftBehind() override
    {
        EXPECT_EQ(lowest_free_descriptor(), free_before_);
        EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
    }

private:
    int free_before_ = lowest_free_descriptor();
};

} // namespace

class Process : public NothingLeftBehind
{
};

TEST_F(Process, StatusAndStreams)
{
    const struct {
        const char *script;
        const char *input;
        int result;
        const char *out;
        const char *err;
    } cases[] = {
        {"echo out; echo err >&2", "", 0, "out\n", "err\n"},
        {"cat; exit 255", "text", 255, "text", ""},
        {"cat", "", 0, "", ""},
        {"printf a; kill -TERM $$", "", -1, "a", ""},
        {"exec >&- 2>&-; cat >/dev/null; exit 3", "x", 3, "", ""},
    };
    for (const auto &row : cases) {
        const Captured captured = capture_script(row.script, row.input);
        EXPECT_EQ(captured.result, row.result) << row.script;
        EXPECT_EQ(captured.out, row.out);
        EXPECT_EQ(captured.err, row.err);
    }
}

TEST_F(Process, ShorterFormsFillInTheDefaults)
{
    char name[] = "sh";
    char option[] = "-c";
    char script[] = "cat; echo ${A-unset} $(id -u); echo err >&2";
    char *const argv[] = {name, option, script, nullptr};
    std::string out;
    std::string err;
    EXPECT_EQ(korvo::forkExecvGetOutErr(out, err, name, argv, "", {{"A", "set"}}), 0);
    EXPECT_EQ(korvo::forkExecvGetOutErr(out, err, name, argv, "nobody"), 0);
    EXPECT_EQ(korvo::forkExecvGetOutErr(out, err, name, argv), 0);
    EXPECT_EQ(korvo::forkExecvGetOutErr(out, name, argv), 0);
    EXPECT_EQ(out, "set 0\nunset 65534\nunset 0\nunset 0\n"); // appended, each time
    EXPECT_EQ(err, "err\nerr\nerr\n");
}

TEST_F(Process, SwitchesTheUserCompletelyOrNotAtAll)
{
    EXPECT_EQ(capture_script("id -u; id -G", "", "nobody").out, "65534\n65534\n");
    for (const char *const user : {"", "root", "no such user"}) {
        EXPECT_EQ(capture_script("id -u", "", user).out, "0\n") << user;
    }
}

TEST_F(Process, MegabytesOnAllThreeStreamsAtOnce)
{
    const std::size_t size = 64U << 20;
    std::string input;
    for (unsigned i = 0; input.size() < size; ++i) {
        input += static_cast<char>(i * 2654435761U >> 24);
    }
    const Captured captured = capture_script("tee /dev/stderr", input);
    EXPECT_EQ(captured.result, 0);
    EXPECT_TRUE(captured.out == input);
    EXPECT_TRUE(captured.err == input);
}

TEST_F(Process, AProgramThatDoesNotReadItsInputIsASystemError)
{
    struct sigaction before = {};
    ::sigaction(SIGPIPE, nullptr, &before);
    try {
        capture_script("exit 0", std::string(1U << 20, 'x'));
        FAIL() << "not thrown";
    } catch (const korvo::SystemError &error) {
        EXPECT_STREQ(error.what(), "writeToString failed: Broken pipe");
    }
    struct sigaction after = {};
    ::sigaction(SIGPIPE, nullptr, &after);
    EXPECT_TRUE(before.sa_handler == after.sa_handler);
    sigset_t mask;
    ::pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    EXPECT_EQ(sigismember(&mask, SIGPIPE), 0);
}

TEST_F(Process, AMissingProgramIsReportedInItsChild)
{
    const Outcome outcome = in_child([] {
        std::printf("pending");
        char name[] = "/nonexistent/tool";
        char *const argv[] = {name, nullptr};
        std::string out;
        std::string err;
        EXPECT_EQ(korvo::forkExecvGetOutErr(out, err, name, argv), 1);
        const std::string reported = "forkExecvPipes: execv() failed: No such file or directory\n\n"
                                     "System error 2: No such file or directory\n";
        EXPECT_EQ(out, reported);
        EXPECT_EQ(err, reported);
    });
    EXPECT_EQ(outcome.out, "pending");
}

TEST_F(Process, AnExceptionInTheChildStaysThere)
{
    try {
        const Captured captured = capture_script("echo started", "", "", {{"A=B", "x"}});
        EXPECT_EQ(captured.result, -1);
        EXPECT_EQ(captured.out, "");
        EXPECT_NE(captured.err.find("forkExecvPipes: setenv() falied: Invalid argument"),
                  std::string::npos);
    } catch (const korvo::SystemError &) {
        std::_Exit(1); // a second copy of the test
    }
}

TEST_F(Process, TheChildHasNoDescriptorsButItsStreams)
{
    const Descriptor high(::fcntl(0, F_DUPFD, 200));
    EXPECT_EQ(
        capture_script("echo /proc/self/fd/*").out,
        "/proc/self/fd/0 /proc/self/fd/1 /proc/self/fd/2 /proc/self/fd/3\n"); // 3: its listing
}

TEST_F(Process, DescriptorsAboveTheSizeOfASet)
{
    in_child([] {
        rlimit limit = {};
        ::getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = limit.rlim_max < 4096 ? limit.rlim_max : 4096;
        ::setrlimit(RLIMIT_NOFILE, &limit);
        int last = 0;
        while (last < FD_SETSIZE + 10 && last != -1) {
            last = ::dup(0);
        }
        ASSERT_GT(last, FD_SETSIZE);
        const Captured captured = capture_script("cat; echo err >&2", "in");
        EXPECT_EQ(captured.result, 0);
        EXPECT_EQ(captured.out, "in");
        EXPECT_EQ(captured.err, "err\n");
    });
}

TEST_F(Process, NoFreeDescriptorEndsTheProcessWithAReport)
{
    const auto run_short_of_descriptors = [] {
        // The exit of the test program itself needs descriptors.
        std::atexit([] {
            const rlimit enough = {256, 4096};
            ::setrlimit(RLIMIT_NOFILE, &enough);
        });
        const rlimit limit = {static_cast<rlim_t>(lowest_free_descriptor()) + 3, 4096};
        ::setrlimit(RLIMIT_NOFILE, &limit);
        errno = 0;
        capture_script("true");
    };
    const Outcome outcome = in_child(run_short_of_descriptors, 1);
    EXPECT_EQ(outcome.err,
              "forkExecvGetOutErr: pipe() failed\nSystem error 24: Too many open files\n");
}

TEST_F(Process, Dup2Custom)
{
    const Descriptor target(::dup(0));
    EXPECT_EQ(korvo::dup2Custom(-1, target.get()), target.get());
    char byte = 0;
    EXPECT_EQ(::read(target.get(), &byte, 1), 0); // the null device
    EXPECT_EQ(korvo::dup2Custom(target.get(), target.get()), target.get());
    EXPECT_EQ(korvo::dup2Custom(::dup(0), -1), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST_F(Process, ReadAndWriteReportAClosedDescriptor)
{
    std::string text = "text";
    EXPECT_THROW(korvo::readToString(-1, text), korvo::SystemError);
    EXPECT_THROW(korvo::writeToString(-1, text), korvo::SystemError);
    EXPECT_EQ(text, "text");
}
