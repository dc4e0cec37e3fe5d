#include "support.h"
#include "util/admin_utility.h"
#include "util/child_process.h"
#include "util/descriptors.h"
#include "util/run_program.h"
#include "util/shell_command.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace
{

char shell[] = "/bin/sh";
char option[] = "-c";

// The reports of a call, on standard output, with errno 0 at its beginning.
std::string reported(const std::function<void()> &call)
{
    return in_child([&] {
               errno = 0;
               call();
           })
        .out;
}

} // namespace

TEST(ForkExecv, ReturnsTheRawStatus)
{
    const struct {
        const char *script;
        int status;
    } cases[] = {{"exit 3", 3 << 8}, {"kill -KILL $$", SIGKILL}};
    for (const auto &row : cases) {
        char *const argv[] = {shell, option, const_cast<char *>(row.script), nullptr};
        EXPECT_EQ(fork_execv(shell, argv), row.status);
    }
    char *const argv[] = {shell, nullptr};
    const Outcome outcome =
        in_child([&] { EXPECT_EQ(fork_execv("/nonexistent", argv), child_start_failed << 8); });
    EXPECT_EQ(outcome.err,
              "fork_execv: execv(\"/nonexistent\") failed: No such file or directory\n");
}

TEST(UtilExec, HasItsStreamsOnTheNullDevice)
{
    const Outcome outcome = in_child([] {
        EXPECT_EQ(util_exec(shell, option, "echo out; echo err >&2; cat; exit 7", nullptr), 7);
        EXPECT_EQ(util_exec(shell, option, "[ \"$1 $2\" = 'a b' ]", "name", "a", "b", nullptr), 0);
        EXPECT_EQ(util_exec(shell, option, "kill -TERM $$", nullptr), 1);
        EXPECT_EQ(util_exec("/nonexistent", nullptr), child_start_failed);
    });
    EXPECT_EQ(outcome.out + outcome.err, "");
}

TEST(ForkExecFd, ConnectsTheDescriptors)
{
    Pipe in;
    Pipe out;
    ASSERT_TRUE(in.open() && out.open());
    ASSERT_EQ(::write(in.write_end.get(), "text", 4), 4);
    in.write_end.close();
    EXPECT_EQ(fork_exec_fd(in.read_end.get(), out.write_end.get(), shell, option,
                           "cat; echo /proc/self/fd/*; exit 5", nullptr),
              5);
    char buffer[200] = "";
    EXPECT_GT(::read(out.read_end.get(), buffer, sizeof buffer - 1), 0);
    EXPECT_STREQ(buffer, "text/proc/self/fd/0 /proc/self/fd/1 /proc/self/fd/2 /proc/self/fd/3\n");
}

TEST(ForkExecFd, ReportsWhatWentWrong)
{
    const char *const refused = "values 0,1,2 not allowed for variables fd_in & fd_out\n";
    const struct {
        int fd_in;
        int fd_out;
        const char *path;
        const char *script;
        std::string start; // of what is reported
    } cases[] = {
        {0, -1, shell, "exit 0", refused},
        {-1, 2, shell, "exit 0", refused},
        {-1, -1, "/nonexistent", "",
         "Error occured during execv():\nNo such file or directory.\n\nSystem error 2: "},
        {-1, -1, shell, "kill -TERM $$", "The child process with pid P killed by signal 15\n"},
        {-1, -1, shell, "kill -STOP $$", "The child process with pid P stopped by signal 19\n"},
    };
    for (const auto &row : cases) {
        std::string text = reported([&] {
            EXPECT_EQ(fork_exec_fd(row.fd_in, row.fd_out, row.path, option, row.script, nullptr),
                      -1);
        });
        const std::size_t pid = text.find("pid ");
        if (pid != std::string::npos) {
            const std::string digits = text.substr(pid + 4, text.find(' ', pid + 4) - pid - 4);
            ::kill(std::stoi(digits), SIGKILL); // the stopped one
            text = replace_all(text, digits, "P");
        }
        EXPECT_EQ(text.substr(0, row.start.size()), row.start);
    }
    const auto bad_list = [] {
        fork_exec_fd(-1, -1, "/bin/true", reinterpret_cast<const char *>(8), nullptr);
    };
    EXPECT_EQ(
        reported(bad_list).rfind("Error occured during execv():\nBad address, possible reason - "
                                 "NULL parameter is absent in util_exec(path, arg1, arg2, "
                                 "NULL) call.\n",
                                 0),
        0U);
}

TEST(PopenExecWithInput, FeedsTheCommand)
{
    const std::string text(300000, 'x');
    EXPECT_EQ(popen_exec_with_input("[ $(wc -c) = 300000 ]", text.c_str()), 0);
    EXPECT_EQ(popen_exec_with_input("cat >/dev/null; exit 9", ""), 9);
    const auto unread = [&] {
        EXPECT_EQ(popen_exec_with_input("exec <&-", text.c_str()), -1);
    };
    EXPECT_EQ(reported(unread).rfind("Failed to execute command with input: only ", 0), 0U);
}

class ProgramVectors : public InTempDir
{
};

TEST_F(ProgramVectors, ArePassedOn)
{
    write_file("etc/zut/zut.conf", "PRODUCT_ROOT_D " + root() + "\n");
    write_script("admin/sbin/show", "echo $# $1 $2 >>shown; exit 4");
    std::vector<char *> arguments(120, option);
    arguments.push_back(nullptr);
    in_child([&] {
        char *const argv[] = {shell, option, nullptr};
        EXPECT_EQ(run_admin_utility_vector("show", argv), 4);
        EXPECT_EQ(run_admin_utility_vector("a/b", argv), -1);
        EXPECT_EQ(run_with_arguments((root() + "/admin/sbin/show").c_str(), arguments.data()), 4);
        EXPECT_EQ(read_file("shown"), "1 -c\n99 -c -c\n");
    });
    const auto missing = [&] {
        run_library_program("no such program", arguments.data());
    };
    EXPECT_EQ(reported(missing).rfind("/usr/lib/korvo-9.0/no such program execution failed:\n", 0),
              0U);
}
