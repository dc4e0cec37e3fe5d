#include "domain/domains.h"
#include "driver/domain_loop.h"
#include "support.h"

class Domains : public InTempDir
{
protected:
    Domains() { write_file("etc/zut/zut.conf", "HTTPD_VHOSTS_D v\nPRODUCT_ROOT_D p\n"); }
};

TEST_F(Domains, TheConfigurationsThatExistDecideTheKind)
{
    for (const char *const path :
         {"v/system/kept/logs/x", "v/system/gone/conf/webalizer.conf", "v/system/both/conf/webalizer.conf",
          "v/system/both/logs/x", "p/etc/awstats/awstats.both-http.conf", "v/system/http/logs/x",
          "p/etc/awstats/awstats.http-http.conf", "v/system/https/logs/x", "p/etc/awstats/awstats.https-https.conf"}) {
        write_file(path, "");
    }
    const Outcome outcome = in_child([] {
        DomainKindMap map = {{"kept", 7}};
        for (const char *const domain : {"kept", "gone", "both", "http", "https"}) {
            check_domain(map, domain);
        }
        EXPECT_EQ(map,
                  (DomainKindMap{
                      {"kept", 7}, {"both", webstat_webalizer}, {"http", webstat_awstats}, {"https", webstat_none}}));
    });
    EXPECT_EQ(outcome.err, "Domain gone not exists, skip it\n");
}

TEST_F(Domains, AnUnknownKindLosesItsPreparedLogsAndNothingElse)
{
    const std::string logs = "v/system/d/logs/";
    for (const LogSource &source : log_sources) {
        write_file(logs + source.log_name, "raw");
        write_file(logs + source.log_name + ".webstat", "prepared");
    }
    fs::remove(logs + "xferlog.webstat");
    write_file(logs + "xferlog.webstat/file", "x");
    const Outcome outcome = in_child([] { process_domains({{"d", 7}, {"missing", 7}}); });
    EXPECT_EQ(outcome.err, "\n-----[ d\nWebstat: none\n"
                           "Unable to remove v/system/d/logs/xferlog.webstat : Directory not empty\n"
                           "\n-----[ missing\nWebstat: none\n");
    for (const LogSource &source : log_sources) {
        EXPECT_EQ(read_file(logs + source.log_name), "raw");
        EXPECT_EQ(exists(logs + source.log_name + ".webstat"), std::string("xferlog") == source.log_name);
    }
}
