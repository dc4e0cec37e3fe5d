#include "unit/admin/admin_server.h"

class Add : public AdminServer
{
protected:
    // Runs the commands, which must fail with the reason and leave everything as it was.
    void expect_refusals(const std::string &cases) const
    {
        for (const Case &refused : cases_of(cases)) {
            const Snapshot before = server.look();
            EXPECT_EQ(shell("$A " + refused.deed + " || echo $?"), "statistics_admin: " + refused.lines + "2\n");
            EXPECT_EQ(differences(before, server.look()), Violations()) << refused.deed;
        }
    }
};

TEST_F(Add, ARunTakesInWhatComesToANewDomainOfANewServer)
{
    expect_lines(R"(
$ rm -r panel/etc panel/var vhosts; $A setup | grep -c made; ! $A setup | grep made; $A check; stat -c %u:%g:%a panel/var/log_positions; mkdir -p var/log; : >var/log/tls
5
0:0:700
)");
    EXPECT_EQ(shell("umask 077; $A add b.example --generator awstats --months 7 --service https "
                    "--log access_ssl_log=$PWD/var/log/tls; $A add c.example --generator webalizer "
                    "--log xferlog=$PWD/var/log/slip; cd $V; rm c.*/logs/xferlog; cat b.*/conf/stat_ttl.conf; "
                    "readlink b.*/logs/access_ssl_log; ls b.*/statistics; stat -c %a b.*/* b.*/conf/*; "
                    "grep ^LogFile= $OLDPWD/panel/etc/awstats/*b.example-https.conf"),
              "Added b.example: its logs are in V/b.example/logs/, its pages in V/b.example/statistics/\n"
              "Added c.example: its logs are in V/c.example/logs/, its pages in V/c.example/statistics/\n"
              "statistics_admin: @/var/log/slip is not there yet: is that the right path?\n"
              "7\n@/var/log/tls\nicon\nwebstat\nwebstat-ssl\n755\n750\n755\n644\nLogFile=\"V/b.example/logs/"
              "access_ssl_log.webstat\"\n");
    EXPECT_EQ(shell("for domain in b c; do echo record >$V/$domain.example/logs/access_log.webstat; done; "
                    "$A check >&- || echo $?; TEST_TIME= " STATISTICS_RUN " >&- 2>&-; $A check"),
              "1\n");
}

TEST_F(Add, RefusesAndChangesNothing)
{
    write_file("etc/zut/templates/awstats-web.conf", "@" + std::string(300000, 'A') + "\n@DOMAIN@ @NOPE@\n");
    write_file("vhosts/system/x.example/logs/access_log", "");
    expect_refusals(R"(
$ add x.example --generator awstats --service web
'web' is not a service: http, https, anon_ftp, ftp
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
)");
    expect_lines(R"(
$ mkdir etc/zut/templates; mkfifo etc/zut/templates/awstats-ftp.conf; echo 5 >$V/n.example/conf/stat_ttl.conf; for words in '' ad add 'add x --generator y' 'add f.example --generator awstats' 'add $(seq -s. 72) --generator awstats --service http' 'add x --generator awstats --months 0' 'add x --generator awstats --log x=/y' 'add x --generator awstats --log xferlog=y' 'add x --generator webalizer --log xferlog=/y --log xferlog=/y' 'add n.example --generator webalizer --log access_log=$PWD/$V/n.example/logs/access_log' 'add n.example --generator webalizer --months 6' 'rebuild --month 5' 'rebuild --month 2024-05 --stale' 'rebuild n.example' remove 'remove q' 'list q' 'list -x' 'list --operand a.example'; do eval $A $words || echo $?; done 2>&1 | grep -vx -e 'statistics_admin: .*' -e 2
$ for deed in 'remove a.example' 'add n.example --generator webalizer' rebuild; do flock lock_of_runs/lock $A $deed || :; done 2>&1 | uniq -c; flock lock_of_runs/lock $A check
      3 statistics_admin: a run is going on (it holds lock_of_runs/lock); wait for its end
A run is going on: what it has not come to yet shows as a problem.
$ rm -r panel/var/webalizer; $A add y.example --generator webalizer
statistics_admin: P/var/webalizer: no such directory; run 'statistics_admin setup' first
$ rm -r vhosts; $A list
statistics_admin: V/: no such directory; run 'statistics_admin setup' first
$ mkdir -p 'p q/etc/awstats'; sed -i 's|panel|p q|' etc/zut/zut.conf; $A add y.example --generator awstats
statistics_admin: @/p q/etc/awstats: AWStats does not take the character ' ' in a path; choose another in zut.conf
$ echo 'PRODUCT_ROOT_D /p ' >etc/zut/zut.conf; $A setup
found  etc/zut/zut.conf
statistics_admin: etc/zut/zut.conf: a path there ends with a blank or has a control character: '/p '
$ rm etc/zut/zut.conf; mkfifo etc/zut/zut.conf; { $A list || $A check || rm etc/zut/zut.conf; } 2>&1 | uniq -c
      2 statistics_admin: etc/zut/zut.conf: not a regular file
$ chmod 755 .; cp $A other; setpriv --reuid 7 ./other rebuild
statistics_admin: only root can do this
)");
}

TEST_F(Add, RemovesAndLists)
{
    expect_lines(R"~(
$ printf 'one\ntwo\n' >$V/a.example/logs/access_log.webstat; $A remove a.example || $A remove a.example --force; ls -d $PAGES/2024-05 $V/a.example/logs/access_log.webstat; $A check; echo 5 >$V/a.example/conf/stat_ttl.conf; $A add a.example --generator webalizer --months 5 >&-; grep Index $V/a.example/conf/webalizer.conf; touch panel/etc/awstats/awstats.b.example-ftp.conf; $A remove b.example; ls panel/etc/awstats
statistics_admin: a.example: 2 records (8 bytes) wait in its prepared logs, which the next run would delete; start a run first, or use --force
Removed a.example from the statistics; its pages stay in V/a.example/statistics/
vhosts/system/a.example/logs/access_log.webstat
vhosts/system/a.example/statistics/webstat/2024-05
IndexMonths     5
Removed b.example from the statistics
$ mkdir panel/etc/awstats/awstats.a.example-https.conf; echo 7 >$V/a.example/conf/stat_ttl.conf; $A remove a.example || rmdir panel/etc/awstats/*https.conf; ls panel/etc/awstats; $A remove a.example; cat $V/a.example/conf/*
statistics_admin: P/etc/awstats/awstats.a.example-https.conf: Is a directory
awstats.a.example-http.conf
Removed a.example from the statistics; its pages stay in V/a.example/statistics/
7
$ inject='strace -o trace -e inject='; ${inject}link:signal=KILL:when=5 $A add y.example --generator awstats || echo $V/y.example/* panel/etc/awstats/*y.*.conf; ${inject}symlink:signal=TERM $A add z.example --generator awstats || :; { ${inject}rename:signal=KILL $A add x.example --generator webalizer --log xferlog=/x; } 2>&- || eval $($A check | sed -n 's/^x.*mend: //p'); echo $V/z.example/l* $V/x.example/l*/*
Killed
vhosts/system/y.example/conf vhosts/system/y.example/logs.new vhosts/system/y.example/statistics panel/etc/awstats/awstats.y.example-anon_ftp.conf panel/etc/awstats/awstats.y.example-ftp.conf panel/etc/awstats/awstats.y.example-https.conf
Added z.example: its logs are in V/z.example/logs/, its pages in V/z.example/statistics/
Terminated
vhosts/system/z.example/logs vhosts/system/x.example/logs/xferlog
$ echo 'x [13/May/2024:23:00:00 +0200]' >$V/a.example/logs/access_log.webstat; head -c 1M /dev/zero >$PAGES/2024-05/large; mkdir $PAGES/2024-02 $PAGES/2024-05/.making; cp $PAGES/2024-05/large $PAGES/2024-05/.making; mv $V/n.example "$V/$(printf 'n\ne')"; find vhosts -exec touch -hd '2024-05-14 03:00' {} +; $A list; $A list a.example --json | grep -A1 1715634000
DOMAIN                          GENERATOR SERVICES                WAITING   SINCE      PAGES MADE       MONTHS SPACE
a.example                       awstats   http,ftp                31 B      2024-05-13 2024-05-14 03:00 2      1.0 MiB
n\012e                          none      -                       0         -          -                0      0
w.example                       webalizer http,https,anon_ftp,ftp 0         -          -                0      0
      "waiting_since": 1715634000,
      "pages_made": 1715655600,
)~");
}
