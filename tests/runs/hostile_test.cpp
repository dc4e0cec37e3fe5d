// Runs over trees that mean harm.

#include "server/whole_run.h"

#include <sys/sysmacros.h>

#include <sstream>

namespace
{

// Where customers, or accidents, could put something else.
const char *const places =
    "a.example/logs/access_log.webstat b.example/logs b.example/logs/access_log.webstat b.example/conf "
    "b.example/logs/proxy_access_log.webstat b.example/conf/webalizer.conf b.example/statistics "
    "b.example/statistics/webstat c.example/logs c.example/logs/proxy_access_log.webstat c.example/conf "
    "c.example/conf/stat_ttl.conf c.example/conf/prev_month.found c.example/statistics c.example/statistics/webstat "
    "c.example/statistics/webstat/index.html c.example/statistics/webstat/nav.html "
    "c.example/statistics/webstat/current c.example/statistics/webstat/2024-05 c.example/statistics/webstat/2024-04 "
    "c.example/statistics/webstat/2024-05/index.html c.example/statistics/webstat/2023-04";

} // namespace

using Hostile = WholeRun;

// Wherever it is put, the run ends in time, and only the domain at the place may have lost records.
TEST_F(Hostile, LinksPipesAndDevices)
{
    ::setenv("TEST_TIME", "2024-05-15 12:00", 1);
    std::istringstream names(places);
    for (std::string name; names >> name;) {
        const std::string place = "vhosts/system/" + name;
        const bool is_file = name.find('.', 2) != std::string::npos;
        for (const std::string kind : {"link", "dangling link", "pipe", "device"}) {
            if (!is_file && (kind == "pipe" || kind == "device")) {
                continue;
            }
            server.layOut();
            server.addSampleDomains();
            run_program({root() + "/panel/admin/sbin/statistics_log_processor"});
            if (fs::exists(place)) {
                fs::rename(place, "outside/far");
            } else if (!is_file) {
                fs::create_directory("outside/far");
            }
            fs::create_directories(fs::path(place).parent_path());
            if (kind == "pipe" || kind == "device") {
                ASSERT_EQ(::mknod(place.c_str(), (kind == "pipe" ? S_IFIFO : S_IFCHR) | 0644U, ::makedev(1, 5)), 0);
            } else {
                fs::create_symlink(root() + "/outside/" + (kind == "link" ? "far" : "none"), place);
            }
            const int status = run_program({"timeout", "-k1", "10", STATISTICS_RUN}).status;
            EXPECT_TRUE(status == 0 || status == 1 || status == -SIGABRT) << place << ": " << status;
            for (const std::string &text : server.judge()) {
                EXPECT_TRUE(contains(text, name.substr(0, 9))) << place;
            }
            if (name == "c.example/statistics/webstat/2023-04") { // nothing is removed through a link
                EXPECT_TRUE(exists("outside/far/icons/icon"));
            }
        }
    }
}
