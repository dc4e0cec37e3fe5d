#include "support.h"
#include "util/lock_file.h"

#include <sys/wait.h>

class LockFile : public InTempDir
{
protected:
    LockFile() { lock_files_dir = "."; }
};

TEST_F(LockFile, OnlyTheLockOfThatNameIsHeldUntilItsRelease)
{
    const int lock = take_lock_file("name", LockWait::return_at_once);
    EXPECT_EQ(attributes("name"), "0:0 600");
    const pid_t fork = ::fork(); // holds the descriptor, too
    if (fork == 0) {
        ::pause();
    }
    expect_reports({{[] { EXPECT_EQ(take_lock_file("name", LockWait::return_at_once), -1); }, "", EWOULDBLOCK}});
    EXPECT_EQ(release_lock_file("other", take_lock_file("other", LockWait::return_at_once)), 0);
    EXPECT_EQ(release_lock_file("name", lock), 0);
    EXPECT_EQ(release_lock_file("name", take_lock_file("name", LockWait::return_at_once)), 0);
    ::kill(fork, SIGKILL);
    ::waitpid(fork, nullptr, 0);
}

TEST_F(LockFile, ATakerWaitsForAHolderUntilThatIsKilled)
{
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    const pid_t holder = ::fork();
    if (holder == 0) {
        const int lock = take_lock_file("name", LockWait::return_at_once);
        ::_exit(lock != -1 && ::write(ready[1], "x", 1) == 1 ? ::pause() : 1);
    }
    char byte = 0;
    EXPECT_EQ(::read(ready[0], &byte, 1), 1);
    EXPECT_EQ(take_lock_file("name", LockWait::return_at_once), -1);
    ::kill(holder, SIGKILL);
    EXPECT_EQ(release_lock_file("name", take_lock_file("name", LockWait::wait)), 0);
    ::waitpid(holder, nullptr, 0);
    ::close(ready[0]);
    ::close(ready[1]);
}

TEST_F(LockFile, FailuresAreReported)
{
    const auto take_where_there_is_no_directory = [] {
        lock_files_dir = "missing";
        EXPECT_EQ(take_lock_file("name", LockWait::wait), -1);
    };
    fs::create_symlink("file", "link");
    expect_reports({
        {[] { EXPECT_EQ(take_lock_file("../name", LockWait::wait), -1); }, "Unable to open file \"./../name\": %.",
         EINVAL},
        {[] { EXPECT_EQ(take_lock_file("link", LockWait::wait), -1); }, "Unable to open file \"./link\": %.", ELOOP},
        {take_where_there_is_no_directory, "Unable to open file \"missing/name\": %.", ENOENT},
        {[] { EXPECT_EQ(release_lock_file("name", -1), -1); }, "An error occured during closing './name' file: %\n",
         EBADF},
    });
}
