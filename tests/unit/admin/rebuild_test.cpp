#include "unit/admin/admin_server.h"

class Rebuild : public AdminServer
{
protected:
    // The months whose pages the stand-in has been called to make.
    std::string built() const
    {
        const Outcome calls =
            shell("[ ! -e calls ] || sed -E 's/.*-config.//; s/ ?-dir./ /; s/@.*statistics//' calls; rm -f calls");
        return replace_all(calls.out, "@/vhosts/system/a.example/statistics/", "");
    }
};

TEST_F(Rebuild, MakesStalePagesAsARunDoes)
{
    ASSERT_EQ(shell("touch -d yesterday " + pages + "/*/*; rm -r " + pages + "/current").status, 0);
    write_file("panel/var/awstats/awstats012014.a.example-http.txt", "not kept");
    write_file("panel/var/awstats/awstats032024.a.example-ftp.txt", "data");
    write_file("panel/var/awstats/awstats042024.a.example-https.txt", "not configured");
    expect_outcome(
        admin("rebuild --stale"),
        "a.example http 2024-04\na.example http 2024-05\nStat_ttl for the domain is 120.\na.example ftp 2024-03\n",
        "complained\n");
    EXPECT_EQ(built(), "a.example-http /webstat/2024-04 -month 4 -year 2024\na.example-http /webstat/current\n"
                       "a.example-ftp /ftpstat/2024-03 -month 3 -year 2024\n");
    EXPECT_EQ(fs::read_symlink(pages + "/current"), "2024-05");
    EXPECT_EQ(fs::read_symlink(pages + "/2024-04/index.html"), "awstats.a.example-http.html");
    EXPECT_TRUE(contains(read_file("vhosts/system/a.example/statistics/ftpstat/nav.html"), ">2024-03<"));
    expect_outcome(admin("rebuild --stale; " STATISTICS_ADMIN " check"), "", "");
    EXPECT_EQ(built(), "");
}

TEST_F(Rebuild, MakesWhatIsNamed)
{
    const std::pair<const char *, const char *> cases[] = {
        {"", "a.example-http /webstat/current\n"},
        {"a.example --month 2024-04", "a.example-http /webstat/2024-04 -month 4 -year 2024\n"},
        {"--service ftp", ""},
        {"n.example", "n.example has no AWStats pages: its generator is none"},
        {"a.example --month 2024-03", "a.example: AWStats has no data of that month"},
        {"a.example --month 2024-3", "'2024-3' is not a month, as 2026-11 is"},
        {"--stale --month 2024-04", "--month and --stale exclude each other"},
        {"--service web", "'web' is not a service: http, https, anon_ftp, ftp"},
        {"a.example --month 2014-01", "a.example does not keep 2014-01: see its conf/stat_ttl.conf"},
    };
    write_file("panel/var/awstats/awstats012014.a.example-http.txt", "not kept");
    for (const auto &[words, result] : cases) {
        const Outcome outcome = admin(std::string("rebuild ") + words);
        EXPECT_EQ(outcome.status == 2 ? outcome.err : built(),
                  outcome.status == 2 ? std::string("statistics_admin: ") + result + "\n" : result);
    }
}

TEST_F(Rebuild, TellsWhatCouldNotBeMade)
{
    write_file("fail", "*build*\n");
    ASSERT_EQ(shell("touch -d yesterday " + pages + "/*/*").status, 0);
    const Outcome outcome = admin("rebuild --stale");
    EXPECT_EQ(outcome.status, 1);
    for (const std::string month : {"04", "05"}) {
        EXPECT_TRUE(contains(outcome.err, "statistics_admin: a.example http 2024-" + month +
                                              ": the pages could not be made; see above\n"));
    }
}
