#include "support.h"
#include "util/accounts.h"
#include "util/owned.h"

TEST(Accounts, AreLookedUpAndUnknownOnesReported)
{
    uid_t user = 1;
    gid_t group = 1;
    EXPECT_TRUE(user_id_by_name("nobody", &user, &group) == 0 && user == 65534 && group == 65534);
    EXPECT_TRUE(group_id_by_id(0, &group) == 0 && group == 0);
    EXPECT_TRUE(group_id_by_name("nogroup", &group) == 0 && group == 65534);
    EXPECT_STREQ(Malloced<char>(user_name("65534")).get(), "nobody");
    expect_reports({
        {[&] { user_id_by_name("no one", &user, nullptr); }, "Unable to find uid for user no one: %", ENOENT},
        {[&] { EXPECT_EQ(group_id_by_id(987654, &group), -1); }, "getgrgid(987654): %", ENOENT},
        {[] { EXPECT_EQ(user_name("4295032830"), nullptr); }, "user 4295032830 not found", ENOENT}, // nobody's and 2^32
    });
}
