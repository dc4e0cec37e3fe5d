#include "unit/admin/admin_server.h"

class Rebuild : public AdminServer
{
protected:
    // The months whose pages the stand-in has been called to make, since this was asked last.
    std::string built() const
    {
        return shell("[ ! -e calls ] || sed -E 's/.*-config.//; s/ ?-dir./ /; s/@.*statistics//' calls; rm -f calls")
            .out;
    }
};

TEST_F(Rebuild, MakesStalePagesAsARunDoes)
{
    ASSERT_EQ(
        shell("touch -d yesterday $PAGES/*/*; rm $PAGES/current; cd panel/var/awstats; touch "
              "awstats012014.a.example-http.txt awstats032024.a.example-ftp.txt awstats042024.a.example-https.txt")
            .status,
        0);
    expect_outcome(admin("rebuild --stale"),
                   "a.example http 2024-04\na.example http 2024-05\nStat_ttl for the domain is 120.\n"
                   "a.example ftp 2024-03\n",
                   "complained\n");
    EXPECT_EQ(built(), "a.example-http V/a.example/statistics//webstat/2024-04 -month 4 -year 2024\n"
                       "a.example-http V/a.example/statistics//webstat/current\n"
                       "a.example-ftp V/a.example/statistics//ftpstat/2024-03 -month 3 -year 2024\n");
    EXPECT_EQ(fs::read_symlink(pages + "/2024-04/index.html"), "awstats.a.example-http.html");
    EXPECT_TRUE(contains(read_file("vhosts/system/a.example/statistics/ftpstat/nav.html"), ">2024-03<"));
    expect_outcome(admin("rebuild --stale; " STATISTICS_ADMIN " check"), "", "");
}

TEST_F(Rebuild, MakesWhatIsNamed)
{
    write_file("panel/var/awstats/awstats012014.a.example-http.txt", "not kept");
    for (const Case &named : cases_of(R"(
$ rebuild
a.example-http V/a.example/statistics//webstat/current
$ rebuild a.example --month 2024-04
a.example-http V/a.example/statistics//webstat/2024-04 -month 4 -year 2024
$ rebuild --service ftp
$ rebuild --month 2014-01
$ rebuild a.example --month 2024-03
statistics_admin: a.example: AWStats has no data of that month
$ rebuild a.example --month 2014-01
statistics_admin: a.example does not keep 2014-01: see its conf/stat_ttl.conf
)")) {
        const Outcome outcome = admin(named.deed);
        EXPECT_EQ(outcome.status == 0 ? built() : outcome.err, named.lines);
    }
}

TEST_F(Rebuild, KilledHoldsTheLockUntilItsPageBuilderHasEnded)
{
    write_file("fail", "*build*\necho >started; read go <go\n");
    expect_outcome(shell("mkfifo started go; " STATISTICS_ADMIN " rebuild >&- 2>&- & cat started; "
                         "worker=$(cat /proc/$!/task/$!/children); kill $!; while kill -0 $worker; do :; done 2>&-; "
                         "flock -n lock_of_runs/lock true || echo held; echo >go; wait $! || echo $?; "
                         "flock -n lock_of_runs/lock true"),
                   "\nheld\n143\n", "");
}

TEST_F(Rebuild, TellsWhatCouldNotBeMade)
{
    write_file("fail", "*build*\n");
    for (const std::string month : {"04", "05"}) {
        const Outcome outcome = admin("rebuild --month 2024-" + month);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_TRUE(
            contains(outcome.err, "a.example http 2024-" + month + ": the pages could not be made; see above\n"));
    }
}
