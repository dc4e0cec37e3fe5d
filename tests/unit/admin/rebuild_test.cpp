#include "unit/admin/admin_server.h"

using Rebuild = AdminServer;

TEST_F(Rebuild, MakesStalePagesAsARunDoes)
{
    expect_lines(R"(
$ touch -d yesterday $PAGES/*/*; rm $PAGES/current; cd panel/var/awstats; touch awstats012014.a.example-http.txt awstats042024.a.example-https.txt; touch -d 2024-04-01 awstats032024.a.example-ftp.txt; cd ../../..; $A rebuild --stale; sed -E 's/.*-config.//; s/ ?-dir./ /; s/@.*statistics//' calls; readlink $PAGES/2024-04/index.html; grep -o '>20.*<' $PAGES/../ftpstat/nav.html; $A rebuild --stale; $A check
a.example http 2024-04
a.example http 2024-05
Stat_ttl for the domain is 120.
complained
a.example ftp 2024-03
a.example-http V/a.example/statistics//webstat/2024-04 -month 4 -year 2024
a.example-http V/a.example/statistics//webstat/current
a.example-ftp V/a.example/statistics//ftpstat/2024-03 -month 3 -year 2024
awstats.a.example-http.html
>2024-03<
)");
}

TEST_F(Rebuild, MakesWhatIsNamedAndTellsWhatItCouldNot)
{
    expect_lines(R"(
$ $A rebuild a.example 2>&-
a.example http 2024-05
Stat_ttl for the domain is 120.
$ timeout 60 bash -c '$A rebuild a.example --month 2024-04 > >(cat)' || echo $?
a.example http 2024-04
$ $A rebuild --service ftp
No AWStats domain keeps data of 2024-05
$ touch panel/var/awstats/awstats012014.a.example-http.txt; $A rebuild --month 2014-01; $A rebuild a.example --month 2014-01
No AWStats domain keeps data of 2014-01
statistics_admin: a.example does not keep 2014-01: see its conf/stat_ttl.conf
$ $A rebuild a.example --month 2024-03
statistics_admin: a.example: AWStats has no data of that month
$ mkdir $PAGES/nav.html; $A rebuild --month 2024-04 2>&1 | tail -1; rmdir $PAGES/nav.html; rm $PAGES/current; mkdir $PAGES/current; $A rebuild 2>&1 | tail -1
statistics_admin: a.example http 2024-04: the pages could not be made; see above
statistics_admin: a.example http 2024-05: the pages could not be made; see above
$ echo '*build*' >fail; { $A rebuild --month 2024-04 || echo $?; $A rebuild || echo $?; } 2>&1 | grep -x '1\|statistics.*'; rm fail
statistics_admin: a.example http 2024-04: the pages could not be made; see above
1
statistics_admin: a.example http 2024-05: the pages could not be made; see above
1
)");
}

TEST_F(Rebuild, KilledHoldsTheLockUntilItsPageBuilderHasEnded)
{
    EXPECT_EQ(
        shell("mkfifo started go; printf '*build*\necho >started; read go <go\n' >fail; $A rebuild >&- 2>&- & "
              "cat started; keeper=$(cat /proc/$!/task/*/children); worker=$(cat /proc/${keeper% }/task/*/children); "
              "kill $!; while kill -0 $worker; do :; done 2>&-; flock -n lock_of_runs/lock true || echo held; "
              "echo >go; wait $! || echo $?; flock -n lock_of_runs/lock true"),
        "\nheld\n143\n");
}
