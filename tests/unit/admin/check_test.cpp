#include "unit/admin/admin_server.h"

static const char *const problems = R"~(
$ touch $V/notes $V/n.example/conf/no_statistics; mkdir $V/files; echo >$V/n.example/logs/xferlog
clean
$ chmod 644 panel/admin/sbin/*; rm -r tools/* bin/webalizer panel/var/webalizer
server: P/admin/sbin/statistics_log_processor is not a program that can be started; mend: chmod 755 P/admin/sbin/statistics_log_processor
server: P/var/webalizer is missing; mend: install -d -m 755 P/var/webalizer
server: @/bin/webalizer: No such file or directory; mend: install the package of the generator, or name its place in zut.conf
server: @/tools/awstats_buildstaticpages.pl: No such file or directory; mend: install the package of the generator, or name its place in zut.conf
$ cd panel/var; rm -r ../etc/awstats awstats; ln -s none awstats; ln -sf none ../admin/sbin/statistics_log_processor; rmdir log_positions; echo >log_positions; echo >../../$V/a.example/logs/access_log
server: P/admin/sbin/statistics_log_processor: No such file or directory; mend: ln -sfn /bin/true P/admin/sbin/statistics_log_processor
server: P/var/log_positions is not a directory; mend: mv P/var/log_positions P/var/log_positions.old && install -d -m 700 P/var/log_positions
server: P/etc/awstats is missing; mend: install -d -m 755 P/etc/awstats
server: P/var/awstats leads to nothing; mend: mount or restore what it leads to; or, if that is gone for good, rm P/var/awstats && install -d -m 755 P/var/awstats
$ printf 'WEB_STAT=x\nwebsatt /x\nDUMP_TMP_D /tmp \nPANEL_NAME x\nAWSTATS_D x\n' >>etc/zut/zut.conf; chmod 666 etc/zut/zut.conf
server: etc/zut/zut.conf can be written to by others than root; mend: chmod go-w etc/zut/zut.conf
server: etc/zut/zut.conf is not read as it stands: Invalid variable definition WEB_STAT=x  Expected a space after variable name; mend: write each line as a name, a blank and a value
server: etc/zut/zut.conf: the value of DUMP_TMP_D ends with a blank, which counts; mend: end the line right after the value
server: etc/zut/zut.conf: there is no setting websatt, but WEB_STAT; mend: correct the name, or remove the line
$ rm -r $V/*; mkdir panel/var/log_positions/g.example; ln -sf /bin/true panel/admin/sbin/statistics_log_processor; touch -d 2024-05-13 panel/var/log_positions
server: V/ has no domains, though logs have been prepared before; mend: mount its file system; or, if they are gone for good, rm -r P/var/log_positions/*
server: no run has begun since 2024-05-13 00:00; mend: systemctl enable --now statistics_run.timer, or see crontab(5)
$ chown 7 etc panel/etc/awstats/*http.conf $V/w.example/conf/* $V/a.example; chgrp 7 panel; chmod 775 panel panel/admin; chmod 777 panel/admin/sbin $PAGES/2024-05
server: etc belongs to the user 7, not to root; mend: chown root:root etc
server: P/admin/sbin can be written to by others than root; mend: chmod go-w P/admin/sbin
server: P can be written to by others than root; mend: chmod go-w P
a.example: V/a.example belongs to the user 7, not to root; mend: chown root:root V/a.example
a.example: P/etc/awstats/awstats.a.example-http.conf belongs to the user 7, not to root; mend: chown root:root P/etc/awstats/awstats.a.example-http.conf
a.example: V/a.example/statistics/webstat/2024-05 can be written to by others than root; mend: chmod go-w V/a.example/statistics/webstat/2024-05
w.example: V/w.example/conf/webalizer.conf belongs to the user 7, not to root; mend: chown root:root V/w.example/conf/webalizer.conf
$ cd $V; rmdir a.example/logs w.example/statistics; echo >a.example/logs; mkdir w.example/logs/xferlog w.example/logs/xferlog.webstat; ln -s "$(printf 'no\tne')" w.example/logs/access_log
a.example: V/a.example/logs is not a directory; mend: mv V/a.example/logs V/a.example/logs.old && install -d -m 750 V/a.example/logs
w.example: V/w.example/statistics is missing; mend: install -d -m 755 V/w.example/statistics
w.example: V/w.example/logs/access_log leads to no\011ne, which is not there; mend: have the server log to that, or ln -sfn THE-RIGHT-LOG V/w.example/logs/access_log
w.example: V/w.example/logs/xferlog is not a regular file; mend: mv V/w.example/logs/xferlog V/w.example/logs/xferlog.old, and have the server log to a file
w.example: V/w.example/logs/xferlog.webstat is not a regular file; mend: mv V/w.example/logs/xferlog.webstat V/w.example/logs/xferlog.webstat.old
$ cd $V/a.example/statistics; mv webstat x; ln -s x webstat; rmdir ftpstat; echo >ftpstat; echo >../logs/access_ssl_log
a.example: V/a.example/statistics/webstat is a link in place of a directory; mend: mount it there, in fstab too: rm V/a.example/statistics/webstat && install -d -m 755 V/a.example/statistics/webstat && mount --bind V/a.example/statistics/x V/a.example/statistics/webstat; or, if nobody needs it elsewhere, rm V/a.example/statistics/webstat && mv V/a.example/statistics/x V/a.example/statistics/webstat
a.example: access_ssl_log has records, but there is no P/etc/awstats/awstats.a.example-https.conf; mend: write that file, or statistics_admin remove --force a.example && statistics_admin add a.example --generator awstats
a.example: V/a.example/statistics/ftpstat is not a directory; mend: mv V/a.example/statistics/ftpstat V/a.example/statistics/ftpstat.old && install -d -m 755 V/a.example/statistics/ftpstat
$ rm panel/etc/awstats/*http.conf; ln -s none $V/n.example/conf/webalizer.conf; echo >$V/n.example/logs/proxy_access_log; mv panel/etc/awstats/*ftp.conf panel/etc/awstats/awstats.g.example-ftp.conf; touch $PAGES/webalizer.hist $PAGES/index.html
a.example: has logs or pages, but no generator: every run deletes its records; mend: statistics_admin add a.example --generator webalizer, or, if that is meant, statistics_admin remove a.example
n.example: V/n.example/conf/webalizer.conf is a link that leads to no file; mend: restore that file, or rm V/n.example/conf/webalizer.conf
n.example: has logs or pages, but no generator: every run deletes its records; mend: statistics_admin add n.example --generator webalizer, or, if that is meant, statistics_admin remove n.example
g.example: has AWStats configurations, but no V/g.example/logs/; mend: statistics_admin remove g.example, and add it again if it is to have statistics
$ mv $V/w.example w; ln -s $PWD/w $V/w_1; rm $V/w_1/conf/w*; echo >$V/w_1/logs/xferlog; mkdir own own/up; chmod 777 own; echo >$V/w.example; mkdir panel/var/log_positions/g.example panel/var/log_positions/w.example; mv panel/var/webalizer own/up; ln -s $PWD/own/up/webalizer panel/var; $A list w_1 | grep -o w_1
w_1
server: @/own can be written to by others than root; mend: chmod go-w @/own
w_1: has logs or pages, but no generator: every run deletes its records; mend: move it elsewhere, as its name is no domain name, or touch V/w_1/conf/no_statistics
w.example: V/w.example is no directory, though its logs have been prepared before; mend: restore the directory, or what leads to it; or, if it is gone for good, rm V/w.example
$ mv $V/w.example $V/w_1; rm $V/w_1/conf/w*; echo >$V/w_1/logs/xferlog; cp -r $V/n.example $V/u_1; touch panel/etc/awstats/awstats.u_1-ftp.conf panel/etc/awstats/awstats.v_1-http.conf panel/etc/awstats/awstats.w_1-http.conf
u_1: has AWStats configurations, but not the one that makes AWStats its generator: every run deletes its records; mend: restore P/etc/awstats/awstats.u_1-http.conf
w_1: V/w_1/statistics/webstat is missing; mend: install -d -m 755 V/w_1/statistics/webstat
w_1: xferlog has records, but there is no P/etc/awstats/awstats.w_1-anon_ftp.conf; mend: write that file
v_1: has AWStats configurations, but no V/v_1/logs/; mend: remove them, or install -d -m 750 V/v_1/logs/
$ rm panel/etc/awstats/*http.conf
a.example: has AWStats configurations, but not the one that makes AWStats its generator: every run deletes its records; mend: restore P/etc/awstats/awstats.a.example-http.conf, or statistics_admin remove a.example and add it again
$ known() { log=$V/$1/logs/$2; old="file inode 1 size 0 changed 0 taken 0 beginning - name old\n"; printf "statistics_log_processor position 1\nprepared 0\n${6-$old}file inode $(stat -c %i $log || echo 1) size $3 changed 0 taken $4 beginning $5 name $2\nend\n" >panel/var/log_positions/$1/$2; }; mkdir panel/var/log_positions/a.example panel/var/log_positions/w.example; printf half >$V/a.example/logs/access_log; touch -d yesterday $V/a.example/logs/access_log; known a.example access_log 4 0 - ''; for log in access_log proxy_access_log xferlog; do known w.example $log 0 0 - '' 2>&-; done; printf 'x [10/May/2024:23:00:00 +0200]\nx [13/May/2024:23:00:00 +0200]\n' >$V/w.example/logs/access_ssl_log; known w.example access_ssl_log 31 31 x; echo 'x [13/May/2024:23:00:00 +0200]' >$V/w.example/logs/proxy_access_ssl_log; known w.example proxy_access_ssl_log 99 99 x ''; ln -s xferlog panel/var/log_positions/w.example/xferlog_regular; touch $V/w.example/logs/proxy_access_log.webstat $V/w.example/logs/proxy_access_log.1 $V/w.example/logs/xferlog_regular.webstat; echo 'x [13/May/2024:23:00:00 +0200]' >$V/w.example/logs/access_log; echo 'x [13/May/2024:23:00:00 +0200]' >$V/a.example/logs/access_log.webstat; echo 'Sun May 12 01:02:03 2024 1 x' >$V/w.example/logs/xferlog.webstat
a.example: V/a.example/logs/access_log.webstat still holds 31 B of records, the first of 2024-05-13 21:00; mend: to see why, install -d -m 700 lock_of_runs && flock lock_of_runs/lock statistics_run --calculate-domain a.example
w.example: V/w.example/logs/access_log: 31 B are not prepared, the first of 2024-05-13 21:00; mend: to see why, install -d -m 700 lock_of_runs && flock lock_of_runs/lock P/admin/sbin/statistics_log_processor
w.example: V/w.example/logs/access_ssl_log: 31 B are not prepared, the first of 2024-05-13 21:00; mend: to see why, install -d -m 700 lock_of_runs && flock lock_of_runs/lock P/admin/sbin/statistics_log_processor
w.example: V/w.example/logs/proxy_access_ssl_log: 31 B are not prepared, the first of 2024-05-13 21:00; mend: to see why, install -d -m 700 lock_of_runs && flock lock_of_runs/lock P/admin/sbin/statistics_log_processor
w.example: V/w.example/logs/xferlog is missing, and was not rotated; mend: have the server log to it, or rm P/var/log_positions/w.example/xferlog
w.example: P/var/log_positions/w.example/xferlog_regular: not a position of this program; the lines of the log wait until it is restored or removed; mend: restore it from a backup; or, to have the log taken from its beginning, of which its generator passes over what it has counted, rm -r P/var/log_positions/w.example/xferlog_regular
w.example: V/w.example/logs/xferlog.webstat still holds 29 B of records, the first of 2024-05-12 01:02; mend: to see why, install -d -m 700 lock_of_runs && flock lock_of_runs/lock statistics_run --calculate-domain w.example
$ cd panel/var/log_positions; mkdir n.example w.example; printf 'statistics_log_processor position 1\nprepared 0\nfile inode 1 size 0 changed 0 taken 0 beginning - name access_log\nend\n' | tee n.example/access_log >w.example/access_log
w.example: V/w.example/logs/access_log is missing, and was not rotated; mend: have the server log to it, or rm P/var/log_positions/w.example/access_log
$ cd $V/w.example/conf; rm *; mkdir webalizer.conf; cd $OLDPWD; touch panel/etc/awstats/awstats.w.example-http.conf; touch -d 2024-04-19 $PAGES/2024-04/*; touch -d 2024-04-20 panel/var/awstats/*042024*; rm -r $PAGES/2024-05; touch panel/var/awstats/awstats012014.a.example-http.txt; mkdir $PAGES/2014-01 $PAGES/2014-02
a.example: V/a.example/statistics/webstat/2024-04: the pages are missing or older than AWStats' data; mend: statistics_admin rebuild a.example --service http --month 2024-04
a.example: V/a.example/statistics/webstat/2024-05: the pages are missing or older than AWStats' data; mend: statistics_admin rebuild a.example --service http --month 2024-05
a.example: V/a.example/statistics/webstat/2014-01 has passed the time to live; mend: rm -r V/a.example/statistics/webstat/2014-01
w.example: V/w.example/conf/webalizer.conf is not a regular file; mend: mv V/w.example/conf/webalizer.conf V/w.example/conf/webalizer.conf.old, and restore the file
w.example: P/etc/awstats/awstats.w.example-http.conf is there beside V/w.example/conf/webalizer.conf: only Webalizer makes statistics; mend: rm P/etc/awstats/awstats.w.example-http.conf; or, to have AWStats, rm V/w.example/conf/webalizer.conf
$ rm $PAGES/2024-*/index.html; touch -d 2024-04-01 panel/var/awstats/*042024*; ln -sfn 2024-04 $PAGES/current
a.example: V/a.example/statistics/webstat/2024-05: the pages are missing or older than AWStats' data; mend: statistics_admin rebuild a.example --service http --month 2024-05
a.example: V/a.example/statistics/webstat/current leads to 2024-04, not to 2024-05; mend: statistics_admin rebuild a.example --service http --month 2024-05
$ rm $PAGES/current; mkdir $PAGES/current panel/data $PAGES/../ftpstat/2024-05; cd panel; echo 'DirData="panel/data" # x' >etc/awstats/awstats.a.example-ftp.conf; touch data/awstats042024.a.example-ftp.txt
a.example: V/a.example/statistics/webstat/current is missing or no link; mend: rm -rf V/a.example/statistics/webstat/current && statistics_admin rebuild a.example --service http --month 2024-05
a.example: V/a.example/statistics/ftpstat/2024-04: the pages are missing or older than AWStats' data; mend: statistics_admin rebuild a.example --service ftp --month 2024-04
)~";

static const char *const problems_of_disks = R"~(
$ mount --bind panel/var/awstats panel/var/awstats; mount -o remount,bind,ro panel/var/awstats
server: the file system of P/var/awstats is read-only; mend: mount -o remount,rw "$(findmnt -no TARGET -T P/var/awstats)", or name the directory in the service's ReadWritePaths=
$ mount -t tmpfs -o mode=755,size=1m tmpfs panel/var/awstats; head -c 2m /dev/zero >panel/var/awstats/x 2>&- || :
server: the file system of P/var/awstats is full; mend: make room on it; df P/var/awstats
$ mount -t tmpfs -o mode=755,nr_inodes=2 tmpfs $V/w.example/statistics; touch $V/w.example/statistics/1
w.example: the file system of V/w.example/statistics has no room for files; mend: remove files from it; df -i V/w.example/statistics
$ mkdir -p full; mount -t tmpfs -o size=4k tmpfs full; echo old >full/m; $A check --prometheus full/m || ls full; cat full/m
statistics_admin: full/m: No space left on device
m
old
)~";

using Check = AdminServer;

TEST_F(Check, FindsWhatIsWrongAndSaysWhatMendsIt)
{
    expect_lines(problems, "; cd " + root() + "; $A check && echo clean");
}

TEST_F(Check, AsksAdaptersAndAnswersPrograms)
{
    expect_lines(
        R"(
$ sed -i '/WEB_STAT/ d' etc/zut/zut.conf; echo WEB_STAT )" WEBALIZER_ADAPTER
        R"( >>etc/zut/zut.conf; STOCK_WEBALIZER=/none $A check | sed 's|server: [^:]*|@|'; STOCK_WEBALIZER=/bin/true $A check; cp $(sed -n 's/WEB_STAT //p' etc/zut/zut.conf) alone; echo WEB_STAT $PWD/alone >>etc/zut/zut.conf; $A check | sed 's|: Can.*;|;|'
@: STOCK_WEBALIZER names no Webalizer: /none; mend: install the package of the generator
server: @/alone; mend: reinstall the package of statistics_run, or that of perl
$ rm etc/zut/zut.conf; ln -s none etc/zut/zut.conf; $A setup || $A check | head -1
statistics_admin: etc/zut/zut.conf: a link that leads to no file; see 'statistics_admin check'
server: etc/zut/zut.conf is a link that leads to no file; mend: mv etc/zut/zut.conf etc/zut/zut.conf.old && statistics_admin setup
$ mkfifo f; mkdir metrics.new; $A check --prometheus f || $A check --prometheus metrics; ls -F | grep -E '^(f|metrics(.[0-9].*)?)[|]?$'
statistics_admin: f: not a regular file
f|
metrics
$ echo 'Sun May 12 12:00:00 2024 1 x' >$V/w.example/logs/xferlog.webstat; touch -d @7 panel/var/log_positions; $A check --json --prometheus metrics | grep -B1 '"domain": "w'; grep -E '^[^#]*(generator="awstats|last|waiting|disk)' metrics
    "kind": "waiting",
    "domain": "w.example",
statistics_run_domains{generator="awstats"} 1
statistics_run_last_run_timestamp_seconds 7
statistics_run_problems{kind="disk"} 0
statistics_run_problems{kind="waiting"} 1
statistics_run_waiting_bytes 29
statistics_run_waiting_seconds 259200
)");
}

TEST_F(Check, FindsDisksThatTakeNothing)
{
    if (!shell("unshare --mount mount -t tmpfs tmpfs panel || echo none").empty()) {
        GTEST_SKIP() << "no file system can be mounted here";
    }
    for (const Case &wrong : cases_of(problems_of_disks)) {
        EXPECT_EQ(shell("unshare --mount sh -c '" + wrong.deed + "; $A check'"), wrong.lines);
    }
}
