#include "awstats/monthly_pages.h"
#include "support.h"

using MonthlyPages = InTempDir;

TEST_F(MonthlyPages, TheTimeToLiveRemovesNothingWhereAPathIsCut)
{
    write_file("system/a/statistics/webstat/page", "");
    const std::string cut_before_the_month = "/system/a/statistics//webstat/";
    const std::string vhosts_root = root() + std::string(4095 - root().size() - cut_before_the_month.size(), '/');
    in_child([&] { build_current_month_pages({"a", vhosts_root}, log_sources[0]); });
    EXPECT_TRUE(exists("system/a/statistics/webstat/page"));
}
