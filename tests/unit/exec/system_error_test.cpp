#include "exec/system_error.h"
#include "support.h"

TEST(SystemError, TheTypeFollowsTheErrorNumber)
{
    using namespace korvo;
    EXPECT_THROW(raiseSystemError("", EPERM), ExSystemError<1>);
    EXPECT_THROW(raiseSystemError("", ENOENT), ExSystemError<2>);
    EXPECT_THROW(raiseSystemError("", EINTR), ExSystemError<4>);
    EXPECT_THROW(raiseSystemError("", ECHILD), ExSystemError<10>);
    EXPECT_THROW(raiseSystemError("", EAGAIN), ExSystemError<11>);
    const SystemError error("", EBADF);
    EXPECT_EQ(error.errorNumber(), EBADF);
    EXPECT_STREQ(error.what(), "Bad file descriptor");
}
