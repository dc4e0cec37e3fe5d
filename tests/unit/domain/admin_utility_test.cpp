#include "domain/admin_utility.h"
#include "support.h"

using AdminUtility = InTempDir;

TEST_F(AdminUtility, RunsFromTheProductRootWithAtMost99Arguments)
{
    write_file("etc/zut/zut.conf", "PRODUCT_ROOT_D .\n");
    write_script("admin/sbin/count", "test \"$1\" = -c && exit $#");
    const std::string refused = "Utility name '../count' is invalid. Use only utility name without path.\n";
    const auto run = [] {
        EXPECT_EQ(run_admin_utility("../count", nullptr), -1);
        EXPECT_EQ(run_admin_utility_vector("../count", shell_arguments("").data()), -1);
        EXPECT_EQ(run_admin_utility_vector("count", shell_arguments("").data()), 2);
#define TEN "-c", "b", "c", "d", "e", "f", "g", "h", "i", "j"
        EXPECT_EQ(run_admin_utility("count", TEN, TEN, TEN, TEN, TEN, TEN, TEN, TEN, TEN, TEN, TEN, nullptr), 99);
    };
    EXPECT_TRUE(contains(reported(run), refused + refused + "./admin/sbin/count execution failed (no "));
}
