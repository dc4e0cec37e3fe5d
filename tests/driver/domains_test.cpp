#include "driver/domain_loop.h"
#include "driver/domains.h"
#include "support.h"

#include <boost/filesystem.hpp>

#include <sys/stat.h>
#include <unistd.h>

namespace fs = boost::filesystem;

class Domains : public InTempDir
{
protected:
    Domains() { write_file("etc/zut/zut.conf", "HTTPD_VHOSTS_D v\nPRODUCT_ROOT_D p\n"); }
};

TEST_F(Domains, TheConfigurationsThatExistDecideTheKind)
{
    const struct {
        const char *domain;
        std::vector<std::string> files;
        int kind; // -1: not entered
    } cases[] = {
        {"w.example", {"v/system/w.example/conf/webalizer.conf"}, 1},
        {"a.example", {"p/etc/awstats/awstats.a.example-http.conf"}, 2},
        {"both", {"v/system/both/conf/webalizer.conf", "p/etc/awstats/awstats.both-http.conf"}, 1},
        {"https", {"p/etc/awstats/awstats.https-https.conf"}, 0},
        {"none", {}, 0},
        {"gone", {"v/system/gone/conf/webalizer.conf"}, -1},
    };
    for (const auto &row : cases) {
        for (const std::string &file : row.files) {
            write_file(file, "");
        }
        if (row.kind != -1) {
            write_file(std::string("v/system/") + row.domain + "/logs/x", "");
        }
        const Outcome outcome = in_child([&] {
            DomainKindMap map;
            check_domain(map, row.domain);
            EXPECT_EQ(map.size(), row.kind == -1 ? 0U : 1U);
            EXPECT_TRUE(row.kind == -1 || map.at(row.domain) == row.kind) << row.domain;
        });
        EXPECT_EQ(outcome.err, row.kind == -1 ? "Domain gone not exists, skip it\n" : "");
    }
}

TEST_F(Domains, AnEntryOfTheMapIsNeverOverwritten)
{
    write_file("v/system/d/logs/x", "");
    in_child([] {
        DomainKindMap map = {{"d", 7}};
        check_domain(map, "d");
        EXPECT_EQ(map.at("d"), 7);
    });
}

TEST_F(Domains, RemovesPreparedLogsAndNothingElse)
{
    for (const LogSource &source : log_sources) {
        write_file(std::string("v/system/d/logs/") + source.log_name, "raw");
        write_file(std::string("v/system/d/logs/") + source.log_name + ".webstat", "prepared");
    }
    fs::remove("v/system/d/logs/proxy_access_log.webstat");
    fs::remove("v/system/d/logs/xferlog.webstat");
    write_file("v/system/d/logs/xferlog.webstat/file", "x");
    const Outcome outcome = in_child([] {
        remove_prepared_logs("d");
        remove_prepared_logs("missing");
    });
    EXPECT_EQ(outcome.err,
              "Unable to remove v/system/d/logs/xferlog.webstat : Directory not empty\n");
    for (const LogSource &source : log_sources) {
        const std::string raw = std::string("v/system/d/logs/") + source.log_name;
        EXPECT_EQ(read_file(raw), "raw");
        EXPECT_EQ(exists(raw + ".webstat"), std::string("xferlog") == source.log_name);
    }
}

TEST_F(Domains, AnUnknownKindMeansNone)
{
    write_file("v/system/d/logs/xferlog.webstat", "prepared");
    const Outcome outcome = in_child([] { process_domains({{"d", 7}}); });
    EXPECT_EQ(outcome.err, "\n-----[ d\nWebstat: none\n");
    EXPECT_FALSE(exists("v/system/d/logs/xferlog.webstat"));
}

TEST_F(Domains, StatTtlIsTheLeadingInteger)
{
    const struct {
        const char *text;
        int months;
    } cases[] = {{"12 months\n", 12}, {" \n-3", -3}, {"+7x", 7}, {"letters", 0}, {"", 0}};
    in_child([&] {
        EXPECT_EQ(read_stat_ttl("d"), 0);
        for (const auto &row : cases) {
            write_file("v/system/d/conf/stat_ttl.conf", row.text);
            EXPECT_EQ(read_stat_ttl("d"), row.months) << row.text;
        }
    });
}

TEST_F(Domains, StatisticsDirectories)
{
    const Outcome missing_parent =
        in_child([] { EXPECT_FALSE(make_statistics_dir("d", log_sources[0])); });
    EXPECT_EQ(missing_parent.out,
              "ERROR: Unable to mkdir v/system/d/statistics/webstat: No such file or directory\n\n"
              "System error 2: No such file or directory\n"
              "Error: unable to create directory for statistics (v/system/d/statistics/webstat): "
              "No such file or directory");
    fs::create_directories("v/system/d/statistics/ftpstat");
    ASSERT_EQ(::chown("v/system/d/statistics/ftpstat", 5, 5), 0);
    in_child([] {
        EXPECT_TRUE(make_statistics_dir("d", log_sources[5]));
        struct stat status = {};
        EXPECT_EQ(::stat("v/system/d/statistics/ftpstat", &status), 0);
        EXPECT_EQ(status.st_uid, 0U);
        EXPECT_EQ(status.st_mode & 07777U, 0755U);
    });
}
