#include "exec/system_error.h"
#include "support.h"

#include <typeinfo>

TEST(SystemError, TheTypeFollowsTheErrorNumber)
{
    const std::pair<int, const std::type_info &> cases[] = {
        {EPERM, typeid(korvo::ExSystemError<1>)},   {ENOENT, typeid(korvo::ExSystemError<2>)},
        {EINTR, typeid(korvo::ExSystemError<4>)},   {ECHILD, typeid(korvo::ExSystemError<10>)},
        {EAGAIN, typeid(korvo::ExSystemError<11>)}, {EBADF, typeid(korvo::SystemError)},
    };
    for (const auto &[number, type] : cases) {
        try {
            korvo::raiseSystemError("it failed", number);
        } catch (const korvo::SystemError &error) {
            EXPECT_TRUE(typeid(error) == type) << number;
            EXPECT_EQ(error.errorNumber(), number);
            EXPECT_EQ(error.what(), std::string("it failed: ") + std::strerror(number));
            EXPECT_EQ(error.what(), std::string("it failed: ") + std::strerror(number));
        }
    }
    EXPECT_STREQ(korvo::SystemError("", ENOENT).what(), "No such file or directory");
}
