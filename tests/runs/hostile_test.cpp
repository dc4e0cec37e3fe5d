// Runs over trees that mean harm.

#include "server/whole_run.h"

#include <sys/sysmacros.h>

#include <sstream>

namespace
{

const std::string domains = "vhosts/system/";
const std::string statistics = "vhosts/system/c.example/statistics/webstat";

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

class Hostile : public WholeRun
{
protected:
    // Runs the program over a changed tree, in limited time. Only the domain at the place may have lost records.
    Outcome runWith(const std::string &place, const std::string &limits = "")
    {
        Outcome outcome = run_program({"timeout", "-k1", "10", "sh", "-c", limits + "exec $0", STATISTICS_RUN});
        EXPECT_TRUE(outcome.status == 0 || outcome.status == 1 || outcome.status == -SIGABRT)
            << place << ": " << outcome.status;
        for (const std::string &text : server.judge()) {
            EXPECT_TRUE(contains(text, place.substr(domains.size(), 9))) << place << ": " << text;
        }
        return outcome;
    }

    void layOut() const
    {
        ::setenv("TEST_TIME", "2024-05-15 12:00", 1);
        server.layOut();
        server.addSampleDomains();
        run_program({root() + "/panel/admin/sbin/statistics_log_processor"});
    }
};

TEST_F(Hostile, NamesOfDomains)
{
    std::string all;
    for (int code = 1; code < 256; ++code) {
        all += code == '/' ? "" : std::string(1, static_cast<char>(code));
    }
    const std::vector<std::string> names = {
        " ",      "$(touch hit)", "'; touch hit; '",      "\"; touch hit; \"", "\ntouch hit\n", "-o",
        "%s%n%d", "...",          std::string(200, '\''), all.substr(0, 127),  all.substr(127)};
    for (const Kind kind : {Kind::none, Kind::webalizer}) {
        server.layOut();
        for (const std::string &name : names) {
            server.addDomain(name, kind);
        }
        expect_outcome({"", "", run().status}, "", "");
        EXPECT_EQ(server.judge(), Violations());
        EXPECT_FALSE(exists("hit"));
        for (const std::string &name : names) {
            EXPECT_TRUE(lines_of(server.preparedLog(name, "access_log")).empty()) << name;
        }
    }
}

TEST_F(Hostile, LinksPipesAndDevices)
{
    std::istringstream names(places);
    for (std::string name; names >> name;) {
        const std::string place = domains + name;
        const bool is_file = name.find('.', 2) != std::string::npos;
        for (const std::string kind : {"link", "dangling link", "pipe", "device"}) {
            if (!is_file && (kind == "pipe" || kind == "device")) {
                continue;
            }
            layOut();
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
            runWith(place);
            if (name == "c.example/statistics/webstat/2023-04") { // nothing is removed through a link
                EXPECT_TRUE(exists("outside/far/icons/icon"));
            }
        }
    }
}

TEST_F(Hostile, DeepTrees)
{
    for (const auto &[hard_limit, status] : {std::pair("4000", 0), std::pair("1000", 1)}) {
        layOut();
        fs::current_path(statistics + "/2023-04");
        for (int depth = 0; depth < 1000; ++depth) {
            fs::create_directory("d");
            fs::current_path("d");
        }
        fs::current_path(root());
        const std::string limits = std::string("ulimit -Sn 500; ulimit -Hn ") + hard_limit + "; ulimit -s 8192; ";
        const Outcome outcome = runWith(statistics, limits);
        EXPECT_EQ(outcome.status, status) << outcome.err;
        EXPECT_EQ(exists(statistics + "/2023-04"), status != 0);
        ASSERT_EQ(run_program({"rm", "-rf", statistics}).status, 0); // what is so deep has too long a path for others
    }
}
