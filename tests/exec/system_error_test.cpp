#include "exec/system_error.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <typeinfo>

TEST(SystemError, TheTypeFollowsTheErrorNumber)
{
    const struct {
        int error_number;
        const std::type_info &type;
        const char *text;
    } cases[] = {
        {EPERM, typeid(korvo::ExSystemError<1>), "it failed: Operation not permitted"},
        {ENOENT, typeid(korvo::ExSystemError<2>), "it failed: No such file or directory"},
        {EINTR, typeid(korvo::ExSystemError<4>), "it failed: Interrupted system call"},
        {ECHILD, typeid(korvo::ExSystemError<10>), "it failed: No child processes"},
        {EAGAIN, typeid(korvo::ExSystemError<11>), "it failed: Resource temporarily unavailable"},
        {EBADF, typeid(korvo::SystemError), "it failed: Bad file descriptor"},
    };
    for (const auto &row : cases) {
        try {
            korvo::raiseSystemError("it failed", row.error_number);
        } catch (const korvo::SystemError &error) {
            EXPECT_TRUE(typeid(error) == row.type) << row.text;
            EXPECT_EQ(error.errorNumber(), row.error_number);
            EXPECT_STREQ(error.what(), row.text);
            EXPECT_STREQ(error.what(), row.text);
        }
    }
    EXPECT_STREQ(korvo::SystemError("", ENOENT).what(), "No such file or directory");
}
