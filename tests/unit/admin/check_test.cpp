#include "unit/admin/admin_server.h"

namespace
{

const char *const problems = R"(
$ touch $V/notes; mkdir $V/files; rm -r $V/n.example/logs
$ chmod 644 panel/admin/sbin/*; rm tools/* bin/webalizer
server: P/admin/sbin/statistics_log_processor is not a program that can be started; mend: chmod 755 P/admin/sbin/statistics_log_processor
server: @/bin/webalizer: No such file or directory; mend: install the package of the generator, or name its place in zut.conf
server: @/tools/awstats_buildstaticpages.pl: No such file or directory; mend: install the package of the generator, or name its place in zut.conf
$ cd panel/var; rm -r ../etc/awstats awstats; rmdir log_positions; echo >log_positions; echo >../../$V/a.example/logs/access_log
server: P/var/log_positions is not a directory; mend: mv P/var/log_positions P/var/log_positions.old && install -d -m 700 P/var/log_positions
server: P/etc/awstats is missing; mend: install -d -m 755 P/etc/awstats
server: P/var/awstats is missing; mend: install -d -m 755 P/var/awstats
$ rm -r panel/var/webalizer
server: P/var/webalizer is missing; mend: install -d -m 755 P/var/webalizer
$ printf 'WEB_STAT=x\nwebsatt /x\nDUMP_TMP_D /tmp \nPANEL_NAME x\nAWSTATS_D x\n' >>etc/zut/zut.conf; chmod 666 etc/zut/zut.conf
server: etc/zut/zut.conf can be written to by others than root; mend: chmod go-w etc/zut/zut.conf
server: etc/zut/zut.conf is not read as it stands: Invalid variable definition WEB_STAT=x  Expected a space after variable name; mend: write each line as a name, a blank and a value
server: etc/zut/zut.conf: the value of DUMP_TMP_D ends with a blank, which counts; mend: end the line right after the value
server: etc/zut/zut.conf: there is no setting websatt, but WEB_STAT; mend: correct the name, or remove the line
$ rm -r vhosts
server: V/ is missing; mend: install -d -m 755 V/
$ chown 7 vhosts panel/etc/awstats/*http.conf $V/w.example/conf/*; chmod 777 panel panel/admin/sbin $PAGES/2024-05
server: @/vhosts belongs to the user 7, not to root; mend: chown root:root @/vhosts
server: P/admin/sbin can be written to by others than root; mend: chmod go-w P/admin/sbin
server: P can be written to by others than root; mend: chmod go-w P
a.example: P/etc/awstats/awstats.a.example-http.conf belongs to the user 7, not to root; mend: chown root:root P/etc/awstats/awstats.a.example-http.conf
a.example: V/a.example/statistics/webstat/2024-05 can be written to by others than root; mend: chmod go-w V/a.example/statistics/webstat/2024-05
w.example: V/w.example/conf/webalizer.conf belongs to the user 7, not to root; mend: chown root:root V/w.example/conf/webalizer.conf
$ cd $V/a.example; rmdir logs; echo >logs; chmod 777 conf; chown 7 .
a.example: V/a.example belongs to the user 7, not to root; mend: chown root:root V/a.example
a.example: V/a.example/logs is not a directory; mend: mv V/a.example/logs V/a.example/logs.old && install -d -m 750 V/a.example/logs
a.example: V/a.example/conf can be written to by others than root; mend: chmod go-w V/a.example/conf
$ cd $V/a.example/statistics; mv webstat x; ln -s x webstat; rmdir ftpstat; echo >ftpstat
a.example: V/a.example/statistics/webstat is a link in place of a directory; mend: rm V/a.example/statistics/webstat && install -d -m 755 V/a.example/statistics/webstat; to have it on another disk, mount that there
a.example: V/a.example/statistics/ftpstat is not a directory; mend: mv V/a.example/statistics/ftpstat V/a.example/statistics/ftpstat.old && install -d -m 755 V/a.example/statistics/ftpstat
$ cd $V/w.example; mkdir logs/xferlog.webstat; rmdir statistics
w.example: V/w.example/statistics is missing; mend: install -d -m 755 V/w.example/statistics
w.example: V/w.example/logs/xferlog.webstat is not a regular file; mend: mv V/w.example/logs/xferlog.webstat V/w.example/logs/xferlog.webstat.old
$ echo 'x [13/May/2024:23:00:00 +0200]' >$V/a.example/logs/access_log.webstat; echo 'Sun May 12 01:02:03 2024 1 x' >$V/w.example/logs/xferlog.webstat
a.example: V/a.example/logs/access_log.webstat still holds 31 B of records, the first of 2024-05-13 21:00; mend: install -d -m 700 lock_of_runs && flock lock_of_runs/lock statistics_run --calculate-domain a.example tells why they are not taken in
w.example: V/w.example/logs/xferlog.webstat still holds 29 B of records, the first of 2024-05-12 01:02; mend: install -d -m 700 lock_of_runs && flock lock_of_runs/lock statistics_run --calculate-domain w.example tells why they are not taken in
$ echo >$V/a.example/logs/access_ssl_log
a.example: access_ssl_log has records, but there is no P/etc/awstats/awstats.a.example-https.conf; mend: write that file, or statistics_admin remove --force a.example && statistics_admin add a.example --generator awstats
$ rm panel/etc/awstats/*http.conf; echo >$V/n.example/logs/proxy_access_log
a.example: has AWStats configurations, but not the one that makes AWStats its generator: every run deletes its records; mend: restore P/etc/awstats/awstats.a.example-http.conf
n.example: has logs or pages, but no generator: every run deletes its records; mend: statistics_admin add n.example --generator awstats, or 'statistics_admin remove n.example' if that is meant
$ ln -s none $V/a.example/logs/access_log; mkdir $V/w.example/logs/xferlog
a.example: V/a.example/logs/access_log leads to none, which is not there; mend: have the server log to that, or ln -sfn THE-RIGHT-LOG V/a.example/logs/access_log
w.example: V/w.example/logs/xferlog is not a regular file; mend: mv V/w.example/logs/xferlog V/w.example/logs/xferlog.old, and have the server log to a file
$ echo >$V/n.example/logs/xferlog; touch $V/n.example/conf/no_statistics
$ mkdir -p panel/var/log_positions/w.example; echo >panel/var/log_positions/w.example/xferlog
w.example: P/var/log_positions/w.example/xferlog: not a position of this program; the lines of the log wait until the file is restored, or removed to have the log taken from its beginning; mend: restore it from a backup; or, as records that are prepared already would count twice, rotate the log and then rm P/var/log_positions/w.example/xferlog
$ mkdir panel/var/log_positions/w.example; cd panel/var/log_positions/w.example; printf 'statistics_log_processor position 1\nprepared 0\nfile inode 1 size 0 changed 0 taken 0 beginning - name access_log\nend\n' | tee access_log proxy_access_log >xferlog; cd $OLDPWD; touch $V/w.example/logs/proxy_access_log.1 $V/w.example/logs/xferlog.webstat; echo 'x [13/May/2024:23:00:00 +0200]' >$V/w.example/logs/access_log
w.example: V/w.example/logs/access_log: 31 B are not prepared, the first of 2024-05-13 21:00; mend: install -d -m 700 lock_of_runs && flock lock_of_runs/lock P/admin/sbin/statistics_log_processor tells why
w.example: V/w.example/logs/xferlog is missing, and was not rotated; mend: have the server log to it, or rm P/var/log_positions/w.example/xferlog
$ touch panel/etc/awstats/awstats.g.example-ftp.conf
g.example: has AWStats configurations, but no V/g.example/logs/; mend: statistics_admin remove g.example, or install -d -m 750 V/g.example/logs/
$ touch -d tomorrow panel/var/awstats/*042024*; rm -r $PAGES/2024-05; touch panel/var/awstats/awstats012014.a.example-http.txt
a.example: V/a.example/statistics/webstat/2024-04: the pages are missing or older than AWStats' data; mend: statistics_admin rebuild a.example --service http --month 2024-04
a.example: V/a.example/statistics/webstat/2024-05: the pages are missing or older than AWStats' data; mend: statistics_admin rebuild a.example --service http --month 2024-05
$ rm $PAGES/2024-*/index.html; touch -d 2024-04-01 panel/var/awstats/*042024*
a.example: V/a.example/statistics/webstat/2024-05: the pages are missing or older than AWStats' data; mend: statistics_admin rebuild a.example --service http --month 2024-05
$ mkdir $PAGES/2014-01 $PAGES/2014-02
a.example: V/a.example/statistics/webstat/2014-01 has passed the time to live; mend: rm -r V/a.example/statistics/webstat/2014-01
$ ln -sfn 2024-04 $PAGES/current
a.example: V/a.example/statistics/webstat/current leads to 2024-04, not to 2024-05; mend: statistics_admin rebuild a.example --service http --month 2024-05
$ rm $PAGES/current; mkdir $PAGES/current
a.example: V/a.example/statistics/webstat/current is missing or no link; mend: rm -rf V/a.example/statistics/webstat/current && statistics_admin rebuild a.example --service http --month 2024-05
$ cd panel; echo 'DirData="panel/data" # x' >etc/awstats/awstats.a.example-ftp.conf; mkdir data ../$PAGES/../ftpstat/2024-05; touch data/awstats042024.a.example-ftp.txt
a.example: V/a.example/statistics/ftpstat/2024-04: the pages are missing or older than AWStats' data; mend: statistics_admin rebuild a.example --service ftp --month 2024-04
)";

const char *const problems_of_disks = R"~(
$ mount --bind panel/var/awstats panel/var/awstats; mount -o remount,bind,ro panel/var/awstats
server: the file system of P/var/awstats is read-only; mend: mount -o remount,rw "$(findmnt -no TARGET -T P/var/awstats)", or name the directory in the service's ReadWritePaths=
$ mount -t tmpfs -o mode=755,size=1m tmpfs panel/var/awstats; head -c 2m /dev/zero >panel/var/awstats/x || :
server: the file system of P/var/awstats is full; mend: make room on it; df P/var/awstats
$ mount -t tmpfs -o mode=755,nr_inodes=2 tmpfs $V/w.example/statistics; touch $V/w.example/statistics/1
w.example: the file system of V/w.example/statistics has no room for files; mend: remove files from it; df -i V/w.example/statistics
)~";

} // namespace

using Check = AdminServer;

TEST_F(Check, FindsWhatIsWrongAndSaysWhatMendsIt)
{
    expect_outcome(admin("check"), "", "");
    for (const Case &wrong : cases_of(problems)) {
        SCOPED_TRACE(wrong.deed);
        lay_out();
        expect_outcome(shell(wrong.deed), "", "");
        expect_outcome(admin("check"), wrong.lines, "", wrong.lines.empty() ? 0 : 1);
    }
}

TEST_F(Check, FindsAdaptersWithoutTheirGeneratorsAndALinkToNoConfiguration)
{
    EXPECT_EQ(shell("sed -i '/WEB_STAT/ d' etc/zut/zut.conf; echo WEB_STAT " WEBALIZER_ADAPTER " >>etc/zut/zut.conf; "
                    "STOCK_WEBALIZER=/none " STATISTICS_ADMIN " check | sed 's|server: [^:]*|@|'; "
                    "STOCK_WEBALIZER=/bin/true " STATISTICS_ADMIN " check")
                  .out,
              "@: STOCK_WEBALIZER names no Webalizer: /none; mend: install the package of the generator\n");
    ASSERT_EQ(shell("rm etc/zut/zut.conf; ln -s none etc/zut/zut.conf").status, 0);
    EXPECT_TRUE(contains(admin("check").out, "server: etc/zut/zut.conf is a link that leads to no file; mend: mv"));
}

TEST_F(Check, FindsDisksThatTakeNothing)
{
    if (shell("unshare --mount mount -t tmpfs tmpfs panel").status != 0) {
        GTEST_SKIP() << "no file system can be mounted here";
    }
    for (const Case &wrong : cases_of(problems_of_disks)) {
        const std::string script = "exec 2>&-; " + wrong.deed + "; exec " STATISTICS_ADMIN " check";
        expect_outcome(shell("unshare --mount sh -c '" + script + "'"), wrong.lines, "", 1);
    }
    expect_outcome(shell("mkdir full; unshare --mount sh -c 'mount -t tmpfs -o size=4k tmpfs full; echo old "
                         ">full/m; " STATISTICS_ADMIN " check --prometheus full/m || ls full; cat full/m'"),
                   "m\nold\n", "statistics_admin: full/m: No space left on device\n");
}

TEST_F(Check, TellsProgramsWhatItHasFound)
{
    write_file("vhosts/system/w.example/logs/xferlog.webstat", "Sun May 12 12:00:00 2024 1 x\n");
    ASSERT_EQ(shell("touch -d @7 panel/var/log_positions").status, 0);
    EXPECT_TRUE(contains(admin("check --json --prometheus metrics").out,
                         "\"kind\": \"waiting\",\n    \"domain\": \"w.example\",\n    \"problem\": \"V/"));
    const std::string metrics = read_file("metrics");
    for (const char *const line :
         {"domains{generator=\"awstats\"} 1\n", "last_run_timestamp_seconds 7\n", "problems{kind=\"disk\"} 0\n",
          "problems{kind=\"waiting\"} 1\n", "waiting_bytes 29\n", "waiting_seconds 259200\n"}) {
        EXPECT_TRUE(contains(metrics, std::string("\nstatistics_run_") + line));
    }
}
