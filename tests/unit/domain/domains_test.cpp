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
    run_script("mkdir -p p/etc/awstats v/system; cd v/system; mkdir -p kept/logs both/logs http/logs https/logs; "
               "mkdir both/conf gone gone/conf; touch both/conf/webalizer.conf gone/conf/webalizer.conf; "
               "cd ../../p/etc/awstats; touch awstats.both-http.conf awstats.http-http.conf awstats.https-https.conf");
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
    const std::string raw = "access_log access_ssl_log proxy_access_log proxy_access_ssl_log xferlog xferlog_regular";
    run_script(
        "mkdir -p v/system/d/logs/xferlog.webstat/x; cd v/system/d/logs; touch $0; touch $(printf '%s.webstat ' $0)",
        raw);
    const Outcome outcome = in_child([] { process_domains({{"d", 7}, {"missing", 7}}); });
    EXPECT_EQ(outcome.err, "\n-----[ d\nWebstat: none\n"
                           "Unable to remove v/system/d/logs/xferlog.webstat : Directory not empty\n"
                           "\n-----[ missing\nWebstat: none\n");
    EXPECT_EQ(run_script("cd v/system/d/logs; echo *").out,
              replace_all(raw, "g xferlog_", "g xferlog.webstat xferlog_") + "\n");
}
