#include "unit/admin/admin_server.h"

class Add : public AdminServer
{
protected:
    // Runs the command, which must fail with the reason and leave everything as it was.
    void expect_refusal(const std::string &words, const std::string &reason) const
    {
        SCOPED_TRACE(words);
        const Snapshot before = server.look();
        expect_outcome(admin(words), "", "statistics_admin: " + reason + "\n", 2);
        EXPECT_EQ(differences(before, server.look()), Violations());
    }
};

TEST_F(Add, SetUpMakesWhatIsMissing)
{
    fs::remove_all("panel");
    fs::remove_all("vhosts");
    const std::string paths[] = {"@/panel/admin/sbin",    "@/panel/admin/sbin/statistics_log_processor",
                                 "@/panel/etc/awstats",   "@/panel/var/awstats",
                                 "@/panel/var/webalizer", "@/panel/var/log_positions",
                                 "@/vhosts/system/"};
    for (const std::string word : {"made   ", "found  "}) {
        std::string lines = "found  etc/zut/zut.conf\n";
        for (const std::string &path : paths) {
            lines += word + path + "\n";
        }
        expect_outcome(admin("setup"), lines, "");
    }
    expect_outcome(admin("check"), "", "");
    EXPECT_EQ(attributes("panel/var/log_positions"), "0:0 700");
    write_file("v/system", "");
    write_file("etc/zut/zut.conf", "HTTPD_VHOSTS_D v\nPRODUCT_ROOT_D panel\n");
    EXPECT_EQ(admin("setup").err, "statistics_admin: v/system: Not a directory\n");
}

TEST_F(Add, ARunTakesInWhatComesToANewDomain)
{
    write_file("var/log/tls", "");
    EXPECT_EQ(admin("add b.example --generator awstats --months 7 --service https --log access_ssl_log=" + root() +
                    "/var/log/tls")
                  .err,
              "");
    EXPECT_EQ(admin("add c.example --generator webalizer").status, 0);
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
    const std::string no_template = "etc/zut/templates/awstats-web.conf, line 2: there is no value for @NOPE@";
    const std::pair<const char *, std::string> cases[] = {
        {"", "no command; see 'statistics_admin --help'"},
        {"show", "'show' is not a command; see 'statistics_admin --help'"},
        {"add x.example", "the option '--generator' is required but missing; see 'statistics_admin add --help'"},
        {"add --generator awstats", "add takes one domain; see 'statistics_admin add --help'"},
        {"add x/y --generator awstats", "'x/y' is not a domain name"},
        {"add x.example --generator perl", "'perl' is not a generator: webalizer, awstats"},
        {"add x.example --generator awstats --service web", "'web' is not a service: http, https, anon_ftp, ftp"},
        {"add x.example --generator webalizer --service http",
         "--service is for AWStats; Webalizer's configuration serves all logs"},
        {"add x.example --generator awstats --months 0", "--months takes a number from 1 to 1200"},
        {"add x.example --generator awstats --service ftp --log xferlog=/x", "--log xferlog needs --service anon_ftp"},
        {"add x.example --generator awstats --log log=/x",
         "--log 'log=/x' does not begin with the name of a log and '='"},
        {"add x.example --generator awstats --log xferlog=x", "'x' is not the absolute path of a log"},
        {"add x.example --generator awstats --log xferlog=/none/x",
         "/none/x: neither a log nor a place where one could come to be"},
        {"add x.example --generator webalizer --log access_log=/x",
         "@/vhosts/system/x.example/logs/access_log: File exists"},
        {"add x.example --generator awstats", no_template},
        {"add y.example --generator awstats", no_template},
        {"add a.example --generator webalizer",
         "a.example has a generator already: @/panel/etc/awstats/awstats.a.example-http.conf; "
         "'statistics_admin remove' takes it away"},
        {"remove y.example", "y.example is not a domain here: there is no @/vhosts/system/y.example/logs/"},
        {"list y.example", "y.example is not a domain here: there is no @/vhosts/system/y.example/logs/"},
    };
    for (const auto &[words, reason] : cases) {
        expect_refusal(words, reason);
    }
    const std::string held = "flock lock_of_runs/lock " STATISTICS_ADMIN " ";
    for (const std::string words : {"remove a.example", "add x.example --generator webalizer", "rebuild"}) {
        EXPECT_EQ(shell("mkdir -p lock_of_runs; " + held + words).err,
                  "statistics_admin: a run is going on (it holds lock_of_runs/lock); wait for its end\n");
    }
    fs::remove_all("panel/var/webalizer");
    expect_refusal("add y.example --generator webalizer",
                   "@/panel/var/webalizer: no such directory; run 'statistics_admin setup' first");
    fs::create_directories("p q/etc/awstats");
    write_file("etc/zut/zut.conf", "HTTPD_VHOSTS_D " + root() + "/vhosts\nPRODUCT_ROOT_D " + root() + "/p q\n");
    expect_refusal("add y.example --generator awstats",
                   "@/p q/etc/awstats: AWStats does not take the character ' ' in a path; choose another in zut.conf");
    fs::remove("etc/zut/zut.conf");
    fs::create_directory("etc/zut/zut.conf");
    expect_refusal("list", "etc/zut/zut.conf: Is a directory");
}

TEST_F(Add, WhatWaitsIsNotRemovedUnasked)
{
    write_file("vhosts/system/a.example/logs/access_log.webstat", "one\ntwo\n");
    expect_refusal("remove a.example", "a.example: 2 records (8 bytes) wait in its prepared logs, which the next run "
                                       "would delete; start a run first, or use --force");
    EXPECT_EQ(admin("remove a.example --force").status, 0);
    EXPECT_TRUE(exists(pages + "/2024-05") && exists("vhosts/system/a.example/logs/access_log.webstat"));
    expect_outcome(admin("check"), "", "");
    EXPECT_EQ(admin("add a.example --generator webalizer").status, 0);
    EXPECT_FALSE(exists("vhosts/system/a.example/conf/no_statistics"));
}

TEST_F(Add, ListsDomains)
{
    ASSERT_EQ(shell("echo 'x - - [13/May/2024:23:00:00 +0200] \"GET' >vhosts/system/a.example/logs/access_log.webstat\n"
                    "head -c 1M /dev/zero >" +
                    pages +
                    "/2024-05/large\n"
                    "find vhosts -exec touch -hd '2024-05-14 03:00 UTC' {} +\n"
                    "echo >vhosts/system/w.example/statistics/index.html")
                  .status,
              0);
    expect_outcome(admin("list"),
                   "DOMAIN                          GENERATOR SERVICES                WAITING   SINCE      PAGES MADE  "
                   "     MONTHS SPACE\n"
                   "a.example                       awstats   http,ftp                40 B      2024-05-13 2024-05-14 "
                   "03:00 2      1.0 MiB\n"
                   "n.example                       none      -                       0         -          -           "
                   "     0      0\n"
                   "w.example                       webalizer http,https,anon_ftp,ftp 0         -          -           "
                   "     0      0\n",
                   "");
    EXPECT_TRUE(
        contains(admin("list a.example --json").out,
                 "[\n{\n  \"domain\": \"a.example\",\n  \"generator\": \"awstats\",\n  \"services\": [\n    {\n"
                 "      \"service\": \"http\",\n      \"configured\": true,\n      \"waiting_bytes\": 40,\n"
                 "      \"waiting_since\": 1715634000,\n      \"pages_made\": 1715655600,\n      \"months\": [\n"
                 "        \"2024-04\",\n        \"2024-05\"\n      ],\n"));
}
