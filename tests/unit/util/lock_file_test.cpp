#include "support.h"
#include "util/lock_file.h"

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
    fs::create_symlink("name", "link");
    expect_reports({
        {[] { take_lock_file("../name", LockWait::wait); }, "Unable to open file \"./../name\": %.", EINVAL},
        {[] { take_lock_file("link", LockWait::wait); }, "Unable to open file \"./link\": %.", ELOOP},
    });
}
