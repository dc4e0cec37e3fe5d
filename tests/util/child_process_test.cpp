#include "support.h"
#include "util/admin_utility.h"
#include "util/child_process.h"
#include "util/descriptors.h"
#include "util/malloced.h"
#include "util/report.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>

namespace
{

struct Captured {
    int result;
    std::string out;
    std::string err;
};

Captured capture_script(std::string script)
{
    char shell[] = "/bin/sh";
    char option[] = "-c";
    char *const argv[] = {shell, option, script.data(), nullptr};
    char *out = nullptr;
    char *err = nullptr;
    const int result = fork_execv_getouterr(&out, &err, shell, argv);
    const Malloced<char> owned_out(out);
    const Malloced<char> owned_err(err);
    return {result, out == nullptr ? "" : out, err == nullptr ? "" : err};
}

} // namespace

TEST(CapturedRunner, CollectsBothStreamsWithoutDeadlock)
{
    const Captured captured = capture_script("head -c 1500000 /dev/zero | tr '\\0' e >&2; head -c "
                                             "1000000 /dev/zero | tr '\\0' o; exit 9");
    EXPECT_EQ(captured.result, 9);
    EXPECT_TRUE(captured.out == std::string(1000000, 'o'));
    EXPECT_TRUE(captured.err == std::string(1500000, 'e'));
}

TEST(CapturedRunner, DoesNotWaitForABackgroundProcessThatHoldsThePipes)
{
    const auto start = std::chrono::steady_clock::now();
    const Captured captured = capture_script("sleep 30 & echo $!; exit 4");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(15));
    EXPECT_EQ(captured.result, 4);
    ::kill(std::stoi(captured.out), SIGKILL);
    const Captured killed = capture_script("sleep 30 & echo $!; kill -TERM $$");
    EXPECT_EQ(killed.result, -1);
    ::kill(std::stoi(killed.out), SIGKILL);
}

TEST(CapturedRunner, TheChildHasNoDescriptorsButItsStreams)
{
    const Descriptor high(::fcntl(0, F_DUPFD, 200));
    EXPECT_EQ(
        capture_script("echo /proc/self/fd/*").out,
        "/proc/self/fd/0 /proc/self/fd/1 /proc/self/fd/2 /proc/self/fd/3\n"); // 3: its listing
}

TEST(CapturedRunner, LeavesNoDescriptorAndNoChild)
{
    const int before = ::dup(0);
    ::close(before);
    capture_script("exit 0");
    capture_script("kill -9 $$");
    const int after = ::dup(0);
    ::close(after);
    EXPECT_EQ(after, before);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
}

TEST(RunAndReport, SaysWhatAFailedProgramWrote)
{
    const struct {
        const char *script;
        bool quiet;
        int result;
        const char *out;
        const char *err;
    } cases[] = {
        {"echo fine; echo fine >&2", false, 0, "", ""},
        {"echo why; exit 3", false, 3, "/bin/sh execution failed (no output)\n",
         "why\n/bin/sh execution failed (no output)\n"},
        {"echo why >&2; exit 3", false, 3, "/bin/sh execution failed:\nwhy\n",
         "/bin/sh execution failed:\nwhy\n"},
        {"echo why >&2; exit 3", true, 3, "", ""},
        {"kill -TERM $$", true, -1, "P\n", "P\n"},
    };
    for (const auto &row : cases) {
        const Outcome outcome = in_child([&] {
            char shell[] = "/bin/sh";
            char option[] = "-c";
            char *const argv[] = {shell, option, const_cast<char *>(row.script), nullptr};
            errno = 0;
            EXPECT_EQ(run_and_report(shell, argv, row.quiet), row.result) << row.script;
        });
        const auto without_pid = [](const std::string &text) {
            return text.find("killed by signal 15") == std::string::npos ? text : "P\n";
        };
        EXPECT_EQ(without_pid(outcome.out), row.out);
        EXPECT_EQ(without_pid(outcome.err), row.err);
    }
}

TEST(RunAndReport, AMissingProgramEndsItsChildWith255)
{
    const Outcome outcome = in_child([] {
        char path[] = "/nonexistent/tool";
        char *const argv[] = {path, nullptr};
        std::printf("pending\n");
        errno = 0;
        EXPECT_EQ(run_and_report(path, argv, false), child_start_failed);
    });
    EXPECT_EQ(outcome.out, "pending\n/nonexistent/tool execution failed:\nfork_execv: "
                           "execv(\"/nonexistent/tool\") failed: No such file or directory\n");
}

TEST(WaitChild, LogsWhatItCouldNotWaitFor)
{
    const Outcome outcome = in_child([] {
        EXPECT_EQ(wait_child(-1, nullptr, nullptr), -1);
        EXPECT_EQ(wait_child(1, "init", nullptr), -1);
        const pid_t child = ::fork();
        if (child == 0) {
            ::raise(SIGSTOP);
            ::_exit(6);
        }
        int raw = 0;
        EXPECT_EQ(wait_child(child, "tool", &raw), -1);
        EXPECT_TRUE(WIFSTOPPED(raw));
        ::kill(child, SIGCONT);
        EXPECT_EQ(wait_child(child, "tool", &raw), 6);
        std::printf("%d", child);
    });
    const std::string child = outcome.out.substr(outcome.out.rfind('\n') + 1);
    EXPECT_EQ(outcome.err,
              "fork before spawning '<unknown>' failed\n"
              "waitpid(1) for 'init' process failed: No child processes (10)\n" +
                  replace_all("waitpid(P)=P: process 'tool' stopped by signal 19\n", "P", child));
}

TEST(AttachDescriptor, MinusOneIsTheNullDevice)
{
    const Descriptor target(::dup(0));
    EXPECT_EQ(attach_descriptor(-1, target.get()), target.get());
    EXPECT_EQ(::write(target.get(), "x", 1), 1);
    char byte = 0;
    EXPECT_EQ(::read(target.get(), &byte, 1), 0);
    EXPECT_EQ(attach_descriptor(target.get(), target.get()), target.get());
    EXPECT_EQ(attach_descriptor(::dup(0), -1), -1);
}

class AdminUtility : public InTempDir
{
};

TEST_F(AdminUtility, RunsFromTheProductRootWithAtMost99Arguments)
{
    write_file("etc/zut/zut.conf", "PRODUCT_ROOT_D " + root() + "\n");
    write_script("admin/sbin/count", "echo $# $1 $2 >count; exit 5");
    const Outcome outcome = in_child([] {
        EXPECT_EQ(run_admin_utility("count", "one", "two words", nullptr), 5);
        EXPECT_EQ(read_file("count"), "2 one two words\n");
#define TEN "a", "a", "a", "a", "a", "a", "a", "a", "a", "a"
        run_admin_utility("count", TEN, TEN, TEN, TEN, TEN, TEN, TEN, TEN, TEN, TEN, TEN, nullptr);
        EXPECT_EQ(read_file("count"), "99 a a\n");
    });
    EXPECT_EQ(outcome.status, 0);
}

TEST_F(AdminUtility, ANameWithASlashStartsNothing)
{
    const Outcome outcome = in_child([] {
        errno = 0;
        EXPECT_EQ(run_admin_utility("../count", nullptr), -1);
    });
    EXPECT_EQ(outcome.out,
              "Utility name '../count' is invalid. Use only utility name without path.\n");
}
