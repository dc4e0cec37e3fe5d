#include "domain/admin_utility.h"
#include "support.h"

using AdminUtility = InTempDir;

TEST_F(AdminUtility, RunsFromTheProductRootWithAtMost99Arguments)
{
    write_file("etc/zut/zut.conf", "PRODUCT_ROOT_D " + root() + "\n");
    write_script("admin/sbin/count", "echo $# $1 $2 >>counts; exit 5");
    const std::string refused = "Utility name '../count' is invalid. Use only utility name without path.\n";
    const auto run = [] {
        EXPECT_EQ(run_admin_utility("../count", nullptr), -1);
        EXPECT_EQ(run_admin_utility_vector("../count", shell_arguments("").data()), -1);
        run_admin_utility_vector("count", shell_arguments("").data());
        EXPECT_EQ(run_admin_utility("count", "one", "two words", nullptr), 5);
#define TEN "a", "a", "a", "a", "a", "a", "a", "a", "a", "a"
        run_admin_utility("count", TEN, TEN, TEN, TEN, TEN, TEN, TEN, TEN, TEN, TEN, TEN, nullptr);
    };
    EXPECT_TRUE(contains(reported(run), refused + refused + root() + "/admin/sbin/count execution failed (no "));
    EXPECT_EQ(read_file("counts"), "2 -c\n2 one two words\n99 a a\n");
}
