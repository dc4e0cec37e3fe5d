#include "support.h"
#include "util/lock_file.h"

#include <sys/wait.h>

using LockFile = InTempDir;

TEST_F(LockFile, IsHeldUntilItsReleaseOrTheEndOfAllThatHoldIt)
{
    lock_files_dir = ".";
    const int released = take_lock_file("name", LockWait::return_at_once);
    const int left = take_lock_file("left", LockWait::wait);
    EXPECT_EQ(attributes("name"), "0:0 600");
    const pid_t fork = ::fork(); // holds both locks, too
    if (fork == 0) {
        ::pause();
    }
    expect_reports({{[] { EXPECT_EQ(take_lock_file("name", LockWait::return_at_once), -1); }, "", EWOULDBLOCK}});
    EXPECT_EQ(release_lock_file("name", released), 0);
    EXPECT_EQ(release_lock_file("name", take_lock_file("name", LockWait::return_at_once)), 0);
    ::close(left);
    EXPECT_EQ(take_lock_file("left", LockWait::return_at_once), -1);
    ::kill(fork, SIGKILL);
    EXPECT_EQ(release_lock_file("left", take_lock_file("left", LockWait::wait)), 0);
    ::waitpid(fork, nullptr, 0);
}

TEST_F(LockFile, FailuresAreReported)
{
    lock_files_dir = ".";
    const auto take = [](const char *name) {
        EXPECT_EQ(take_lock_file(name, LockWait::wait), -1);
    };
    fs::create_symlink("file", "link");
    expect_reports({
        {[&] { take("../name"); }, "Unable to open file \"./../name\": %.", EINVAL},
        {[&] { take("link"); }, "Unable to open file \"./link\": %.", ELOOP},
    });
}
