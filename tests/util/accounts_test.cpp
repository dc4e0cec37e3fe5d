#include "support.h"
#include "util/accounts.h"
#include "util/malloced.h"

#include <unistd.h>

#include <cerrno>

TEST(Accounts, Lookups)
{
    uid_t user = 1;
    gid_t group = 1;
    EXPECT_EQ(user_id_by_name("nobody", &user, &group), 0);
    EXPECT_EQ(user, 65534U);
    EXPECT_EQ(group, 65534U);
    EXPECT_EQ(user_id_by_name("root", &user, nullptr), 0);
    EXPECT_EQ(user, 0U);
    EXPECT_EQ(group_id_by_name("nogroup", &group), 0);
    EXPECT_EQ(group, 65534U);
    EXPECT_EQ(group_id_by_id(0, &group), 0);
    EXPECT_EQ(group, 0U);
    for (const char *const given : {"nobody", "65534"}) {
        const Malloced<char> name(user_name(given));
        EXPECT_STREQ(name.get(), "nobody");
    }
}

TEST(Accounts, UnknownOnesAreReportedWithErrnoKept)
{
    const std::string reason = "No such file or directory";
    uid_t user = 7;
    gid_t group = 7;
    const struct {
        std::function<bool()> fails;
        std::string message;
    } cases[] = {
        {[&] { return user_id_by_name("no one", &user, &group) == -1; },
         "Unable to find uid for user no one: " + reason},
        {[&] { return group_id_by_name("no group", &group) == -1; },
         "getgrnam(no group): " + reason},
        {[&] { return group_id_by_id(987654, &group) == -1; }, "getgrgid(987654): " + reason},
        {[&] { return user_name("no one") == nullptr; }, "user no one not found"},
        {[&] { return user_name("987654") == nullptr; }, "user 987654 not found"},
    };
    for (const auto &row : cases) {
        const Outcome outcome = in_child([&] {
            EXPECT_TRUE(row.fails());
            EXPECT_EQ(errno, ENOENT);
            EXPECT_EQ(user, 7U);
            EXPECT_EQ(group, 7U);
        });
        EXPECT_EQ(outcome.out, row.message + "\nSystem error 2: " + reason + "\n");
    }
}

TEST(Accounts, ASwitchIsForGoodOrRefused)
{
    in_child([] {
        EXPECT_EQ(p_setuid("no one"), -1);
        EXPECT_EQ(::getuid(), 0U);
        EXPECT_EQ(p_setuid("nobody"), 0);
        gid_t groups[8] = {};
        EXPECT_EQ(::getgroups(8, groups), 1);
        EXPECT_EQ(groups[0], 65534U);
        EXPECT_EQ(::setuid(0), -1);
        EXPECT_EQ(p_setuid("root"), -1);
        EXPECT_EQ(errno, EPERM);
    });
}
