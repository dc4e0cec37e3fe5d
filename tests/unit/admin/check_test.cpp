#include "unit/admin/admin_server.h"

namespace
{

const std::string domains = "@/vhosts/system/";
const std::string month_dir = "@/vhosts/system/a.example/statistics/webstat";
const std::string rebuild = "statistics_admin rebuild a.example --service http --month 2024-0";
const std::string conf = "server: etc/zut/zut.conf";
const std::string line_mend = "; mend: write each line as a name, a blank and a value\n";

// What a shell does to the server, and the problems that come of it.
struct Case {
    std::string deed;
    std::string problems;
};

const Case cases[] = {
    {"", ""},
    {"touch vhosts/system/notes; mkdir vhosts/system/files; rm -r vhosts/system/n.example/logs", ""},
    // The server.
    {"chmod 644 panel/admin/sbin/*", "server: @/panel/admin/sbin/statistics_log_processor is not a program that can be "
                                     "started; mend: chmod 755 @/panel/admin/sbin/statistics_log_processor\n"},
    {"rm tools/* bin/webalizer", "server: @/bin/webalizer: No such file or directory; mend: install the package of the "
                                 "generator, or name its place "
                                 "in zut.conf\nserver: @/tools/awstats_buildstaticpages.pl: No such file or directory; "
                                 "mend: install the package of "
                                 "the generator, or name its place in zut.conf\n"},
    {"rm -r panel/var/webalizer; chown 7 panel/etc/awstats",
     "server: @/panel/var/webalizer is missing; mend: install -d -m 755 @/panel/var/webalizer\n"
     "server: @/panel/etc/awstats belongs to the user 7, not to root; mend: chown root:root @/panel/etc/awstats\n"},
    {"echo WEB_STAT=x >>etc/zut/zut.conf; echo DUMP_D >>etc/zut/zut.conf; echo 'DUMP_TMP_D /tmp ' >>etc/zut/zut.conf",
     conf + " is not read as it stands: Invalid variable definition WEB_STAT=x  Expected a space after variable name" +
         line_mend + conf + " is not read as it stands: Invalid variable definition DUMP_D  Expected a value" +
         line_mend + conf +
         ": the value of DUMP_TMP_D ends with a blank, which counts; mend: end the line right after the value\n"},
    {"chmod 666 etc/zut/zut.conf",
     conf + " can be written to by others than root; mend: chmod go-w etc/zut/zut.conf\n"},
    {"rm -r vhosts; echo \"HTTPD_VHOSTS_D $PWD/vhosts \" >>etc/zut/zut.conf",
     conf +
         ": the value of HTTPD_VHOSTS_D ends with a blank, which counts; mend: end the line right after the value\n" +
         "server: @/vhosts \n/system/ is missing; mend: install -d -m 755 '@/vhosts \n/system/'\n"},
    // A domain's places.
    {"cd vhosts/system/a.example; rmdir logs; echo >logs; chmod 777 conf; chown 7 .",
     "a.example: " + domains + "a.example belongs to the user 7, not to root; mend: chown root:root " + domains +
         "a.example\na.example: " + domains + "a.example/logs is not a directory; mend: mv " + domains +
         "a.example/logs " + domains + "a.example/logs.old && install -d -m 750 " + domains + "a.example/logs\n" +
         "a.example: " + domains + "a.example/conf can be written to by others than root; mend: chmod go-w " + domains +
         "a.example/conf\n"},
    {"cd vhosts/system/a.example/statistics; mv webstat x; ln -s x webstat; rmdir ftpstat; echo >ftpstat",
     "a.example: " + month_dir + " is a link in place of a directory; mend: rm " + month_dir +
         " && install -d -m 755 " + month_dir + "; to have it on another disk, mount that there\n" +
         "a.example: " + domains + "a.example/statistics/ftpstat is not a directory; mend: mv " + domains +
         "a.example/statistics/ftpstat " + domains + "a.example/statistics/ftpstat.old && install -d -m 755 " +
         domains + "a.example/statistics/ftpstat\n"},
    {"cd vhosts/system/w.example; mkdir logs/xferlog.webstat; rmdir statistics",
     "w.example: " + domains + "w.example/statistics is missing; mend: install -d -m 755 " + domains +
         "w.example/statistics\nw.example: " + domains +
         "w.example/logs/xferlog.webstat is not a regular file; mend: mv " + domains +
         "w.example/logs/xferlog.webstat " + domains + "w.example/logs/xferlog.webstat.old\n"},
    // Records.
    {"cd vhosts/system; echo 'x - - [13/May/2024:23:00:00 +0200] \"GET' >a.example/logs/access_log.webstat\n"
     "echo 'Sun May 12 01:02:03 2024 1 x' >w.example/logs/xferlog.webstat; echo "
     ">w.example/logs/proxy_access_log.webstat",
     "a.example: " + domains +
         "a.example/logs/access_log.webstat still holds 40 B of records, the first of 2024-05-13 "
         "21:00; mend: flock lock_of_runs/lock statistics_run --calculate-domain a.example tells why they are not "
         "taken "
         "in\nw.example: " +
         domains +
         "w.example/logs/xferlog.webstat still holds 29 B of records, the first of "
         "2024-05-12 01:02; mend: flock lock_of_runs/lock statistics_run --calculate-domain w.example tells why they "
         "are "
         "not taken in\n"},
    {"echo >vhosts/system/a.example/logs/access_ssl_log",
     "a.example: access_ssl_log has records, but there is no @/panel/etc/awstats/awstats.a.example-https.conf; mend: "
     "write that file, or statistics_admin remove --force a.example && statistics_admin add a.example --generator "
     "awstats\n"},
    {"rm panel/etc/awstats/*http.conf; echo >vhosts/system/n.example/logs/proxy_access_log",
     "a.example: has AWStats configurations, but not the one that makes AWStats its generator: every run deletes its "
     "records; mend: restore @/panel/etc/awstats/awstats.a.example-http.conf\n"
     "n.example: has logs or pages, but no generator: every run deletes its records; mend: statistics_admin add "
     "n.example "
     "--generator awstats, or 'statistics_admin remove n.example' if that is meant\n"},
    {"echo >vhosts/system/n.example/logs/xferlog; touch vhosts/system/n.example/conf/no_statistics", ""},
    {"mkdir -p panel/var/log_positions/w.example; cd panel/var/log_positions/w.example; echo >xferlog",
     "w.example: @/panel/var/log_positions/w.example/xferlog: not a position of this program; the lines of the log "
     "wait "
     "until the file is restored, or removed to have the log taken from its beginning; mend: rm "
     "@/panel/var/log_positions/w.example/xferlog has it taken in anew\n"},
    // Months.
    {"touch -d tomorrow panel/var/awstats/*04*; rm -r vhosts/system/*/statistics/webstat/2024-05; "
     "touch panel/var/awstats/awstats012014.a.example-http.txt",
     "a.example: " + month_dir + "/2024-04: the pages are missing or older than AWStats' data; mend: " + rebuild +
         "4\n" + "a.example: " + month_dir +
         "/2024-05: the pages are missing or older than AWStats' data; mend: " + rebuild + "5\n"},
    {"mkdir vhosts/system/a.example/statistics/webstat/2014-01 vhosts/system/a.example/statistics/webstat/2014-02",
     "a.example: " + month_dir + "/2014-01 has passed the time to live; mend: rm -r " + month_dir + "/2014-01\n"},
    {"ln -sfn 2024-04 vhosts/system/a.example/statistics/webstat/current",
     "a.example: " + month_dir + "/current leads to 2024-04, not to 2024-05; mend: " + rebuild + "5\n"},
    {"cd vhosts/system/a.example/statistics/webstat; rm current; mkdir current",
     "a.example: " + month_dir + "/current is missing or no link; mend: rm -rf " + month_dir + "/current && " +
         rebuild + "5\n"},
    {"mkdir data; echo 'DirData=\"data\" # here' >panel/etc/awstats/awstats.a.example-ftp.conf\n"
     "echo >data/awstats052024.a.example-ftp.txt; mkdir vhosts/system/a.example/statistics/ftpstat/2024-05\n"
     "ln -s 2024-05 vhosts/system/a.example/statistics/ftpstat/current",
     "a.example: " + domains +
         "a.example/statistics/ftpstat/2024-05: the pages are missing or older than AWStats' data; "
         "mend: statistics_admin rebuild a.example --service ftp --month 2024-05\n"},
};

} // namespace

class Check : public AdminServer
{
};

TEST_F(Check, FindsWhatIsWrongAndSaysWhatMendsIt)
{
    for (const auto &[deed, problems] : cases) {
        SCOPED_TRACE(deed);
        lay_out();
        expect_outcome(shell(deed), "", "");
        expect_outcome(admin("check"), problems, "", problems.empty() ? 0 : 1);
    }
}

TEST_F(Check, FindsDisksThatTakeNothing)
{
    const std::string mount = "mount -t tmpfs -o mode=755,size=1m,nr_inodes=20000";
    const Case disks[] = {
        {mount + ",ro tmpfs panel/var/awstats",
         "server: the file system of @/panel/var/awstats is read-only; mend: mount -o remount,rw "
         "\"$(findmnt -no TARGET -T @/panel/var/awstats)\", or name the directory in the service's ReadWritePaths=\n"},
        {mount + " tmpfs panel/var/awstats; head -c 2m /dev/zero >panel/var/awstats/x || :",
         "server: the file system of @/panel/var/awstats is full; mend: make room on it; df @/panel/var/awstats\n"},
        {"mount -t tmpfs -o mode=755,nr_inodes=3 tmpfs panel/var/awstats; touch panel/var/awstats/1 "
         "panel/var/awstats/2",
         "server: the file system of @/panel/var/awstats has no room for files; mend: remove files from it; df -i "
         "@/panel/var/awstats\n"},
    };
    fs::remove_all("panel/var/awstats");
    fs::remove_all(pages);
    fs::create_directories("panel/var/awstats");
    fs::create_directories(pages);
    if (shell("unshare --mount " + mount + " tmpfs panel/var/awstats").status != 0) {
        GTEST_SKIP() << "no file system can be mounted here";
    }
    for (const auto &[deed, problems] : disks) {
        const std::string script = "exec 2>/dev/null; " + deed + "; exec " STATISTICS_ADMIN " check";
        expect_outcome(shell("unshare --mount sh -c '" + replace_all(script, "'", "'\\''") + "'"), problems, "", 1);
    }
}

TEST_F(Check, TellsProgramsWhatItHasFound)
{
    write_file("vhosts/system/w.example/logs/xferlog.webstat", "Sun May 12 12:00:00 2024 1 x\n");
    fs::create_directories("panel/var/log_positions");
    const Outcome outcome = admin("check --json --prometheus metrics; stat -c %Y panel/var/log_positions");
    EXPECT_TRUE(contains(outcome.out, "\"kind\": \"waiting\",\n    \"domain\": \"w.example\",\n    \"problem\": \"@/"));
    const std::string metrics = read_file("metrics");
    const std::string prepared =
        "statistics_run_last_run_timestamp_seconds " + outcome.out.substr(outcome.out.rfind(']') + 2);
    for (const std::string &line :
         {std::string("statistics_run_domains{generator=\"awstats\"} 1\n"), prepared,
          std::string("# TYPE statistics_run_problems gauge\n"),
          std::string("statistics_run_problems{kind=\"disk\"} 0\n"),
          std::string("statistics_run_problems{kind=\"waiting\"} 1\n"),
          std::string("statistics_run_waiting_bytes 29\n"), std::string("statistics_run_waiting_seconds 259200\n")}) {
        EXPECT_TRUE(contains(metrics, line));
    }
    EXPECT_EQ(admin("check --prometheus missing/metrics").status, 2);
}
