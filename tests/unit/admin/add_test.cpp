#include "unit/admin/admin_server.h"

class Add : public AdminServer
{
protected:
    // Runs the command, which must fail with the reason and leave everything as it was.
    void expect_refusal(const std::string &words, const std::string &reason) const
    {
        SCOPED_TRACE(words);
        const Snapshot before = server.look();
        expect_outcome(admin(words), "", "statistics_admin: " + reason, 2);
        EXPECT_EQ(differences(before, server.look()), Violations());
    }
};

TEST_F(Add, SetUpMakesWhatIsMissing)
{
    fs::remove_all("panel");
    fs::remove_all("vhosts");
    EXPECT_EQ(admin("setup").status, 0);
    EXPECT_FALSE(contains(admin("setup").out, "made"));
    expect_outcome(admin("check"), "", "");
    EXPECT_EQ(attributes("panel/var/log_positions"), "0:0 700");
}

TEST_F(Add, ARunTakesInWhatComesToANewDomain)
{
    write_file("var/log/tls", "");
    EXPECT_EQ(
        admin("add b.example --generator awstats --months 7 --service https --log "
              "access_ssl_log=$PWD/var/log/tls; " STATISTICS_ADMIN
              " add c.example --generator webalizer --log xferlog=$PWD/var/log/slip; rm $V/c.example/logs/xferlog")
            .err,
        "statistics_admin: @/var/log/slip is not there yet: is that the right path?\n");
    const std::string added = "vhosts/system/b.example/";
    EXPECT_EQ(read_file(added + "conf/stat_ttl.conf"), "7\n");
    EXPECT_EQ(fs::read_symlink(added + "logs/access_ssl_log"), root() + "/var/log/tls");
    EXPECT_TRUE(exists(added + "statistics/webstat") && !exists(added + "statistics/ftpstat"));
    EXPECT_TRUE(contains(read_file("panel/etc/awstats/awstats.b.example-https.conf"),
                         "\nLogFile=\"" + root() + "/" + added + "logs/access_ssl_log.webstat\"\n"));
    for (const std::string domain : {"b.example", "c.example"}) {
        write_file("vhosts/system/" + domain + "/logs/access_log.webstat", "record\n");
    }
    EXPECT_EQ(admin("check").status, 1);
    EXPECT_EQ(shell("TEST_TIME= " STATISTICS_RUN).status, 0);
    expect_outcome(admin("check"), "", "");
}

TEST_F(Add, RefusesAndChangesNothing)
{
    write_file("etc/zut/templates/awstats-web.conf", "line\n@DOMAIN@ @NOPE@\n");
    write_file("vhosts/system/x.example/logs/access_log", "");
    for (const Case &refused : cases_of(R"(
$ add x/y --generator awstats
'x/y' is not a domain name
$ add x.example --generator awstats --service web
'web' is not a service: http, https, anon_ftp, ftp
$ add x.example --generator webalizer --service http
--service is for AWStats; Webalizer's configuration serves all logs
$ add x.example --generator awstats --service ftp --log xferlog=/x
--log xferlog needs --service anon_ftp
$ add x.example --generator awstats --log xferlog=/none/x
/none/x: neither a log nor a place where one could come to be
$ add x.example --generator webalizer --log access_log=/x
V/x.example/logs/access_log: File exists
$ add y.example --generator awstats
etc/zut/templates/awstats-web.conf, line 2: there is no value for @NOPE@
$ add a.example --generator webalizer
a.example has a generator already: P/etc/awstats/awstats.a.example-http.conf; 'statistics_admin remove' takes it away
)")) {
        expect_refusal(refused.deed, refused.lines);
    }
    for (const std::string words : {"remove a.example", "add x.example --generator webalizer", "rebuild"}) {
        EXPECT_EQ(shell("flock lock_of_runs/lock " STATISTICS_ADMIN " " + words).err,
                  "statistics_admin: a run is going on (it holds lock_of_runs/lock); wait for its end\n");
    }
    fs::remove_all("panel/var/webalizer");
    expect_refusal("add y.example --generator webalizer",
                   "P/var/webalizer: no such directory; run 'statistics_admin setup' first\n");
    fs::create_directories("p q/etc/awstats");
    write_file("etc/zut/zut.conf", "HTTPD_VHOSTS_D " + root() + "/vhosts\nPRODUCT_ROOT_D " + root() + "/p q\n");
    expect_refusal(
        "add y.example --generator awstats",
        "@/p q/etc/awstats: AWStats does not take the character ' ' in a path; choose another in zut.conf\n");
    write_file("etc/zut/zut.conf", "PRODUCT_ROOT_D /p \n");
    EXPECT_EQ(admin("setup").status, 2);
    expect_refusal("add y.example --generator webalizer",
                   "etc/zut/zut.conf: a path there ends with a blank or has a control character: '/p '\n");
    fs::remove("etc/zut/zut.conf");
    fs::create_directory("etc/zut/zut.conf");
    expect_refusal("list", "etc/zut/zut.conf: Is a directory\n");
    EXPECT_EQ(shell("chmod 755 .; cp " STATISTICS_ADMIN " other; setpriv --reuid 7 ./other rebuild").err,
              "statistics_admin: only root can do this\n");
}

TEST_F(Add, WhatWaitsIsNotRemovedUnasked)
{
    write_file("vhosts/system/a.example/logs/access_log.webstat", "one\ntwo\n");
    expect_refusal("remove a.example", "a.example: 2 records (8 bytes) wait in its prepared logs, which the next run "
                                       "would delete; start a run first, or use --force\n");
    EXPECT_EQ(admin("remove a.example --force").status, 0);
    EXPECT_TRUE(exists(pages + "/2024-05") && exists("vhosts/system/a.example/logs/access_log.webstat"));
    expect_outcome(admin("check"), "", "");
    EXPECT_EQ(admin("add a.example --generator webalizer").status, 0);
    expect_outcome(shell("touch panel/etc/awstats/awstats.b.example-ftp.conf; " STATISTICS_ADMIN
                         " remove b.example >&2; ls panel/etc/awstats"),
                   "", "Removed b.example from the statistics; its pages stay in V/b.example/statistics/\n");
    EXPECT_FALSE(exists("vhosts/system/a.example/conf/no_statistics"));
}

TEST_F(Add, ListsDomains)
{
    ASSERT_EQ(shell("echo 'x [13/May/2024:23:00:00 +0200]' >$V/a.example/logs/access_log.webstat\n"
                    "head -c 1M /dev/zero >$PAGES/2024-05/large; mkdir $PAGES/2024-02; find vhosts -exec touch -hd "
                    "'2024-05-14 03:00' {} +")
                  .status,
              0);
    expect_outcome(
        admin("list"),
        R"(DOMAIN                          GENERATOR SERVICES                WAITING   SINCE      PAGES MADE       MONTHS SPACE
a.example                       awstats   http,ftp                31 B      2024-05-13 2024-05-14 03:00 2      1.0 MiB
n.example                       none      -                       0         -          -                0      0
w.example                       webalizer http,https,anon_ftp,ftp 0         -          -                0      0
)",
        "");
    EXPECT_TRUE(contains(admin("list a.example --json").out,
                         "\"waiting_since\": 1715634000,\n      \"pages_made\": 1715655600,\n"));
}
