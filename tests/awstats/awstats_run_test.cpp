#include "whole_run.h"

#include <boost/filesystem.hpp>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <iterator>

namespace fs = boost::filesystem;

namespace
{

struct Row {
    const char *log;
    const char *directory;
    const char *service;
};
const Row rows[] = {
    {"access_log", "webstat", "http"},
    {"access_ssl_log", "webstat-ssl", "https"},
    {"xferlog", "anon_ftpstat", "anon_ftp"},
    {"xferlog_regular", "ftpstat", "ftp"},
};
const Row &web = rows[0];

const char *const header = "\n-----[ a.example\nWebstat: awstats\nExecuting awstats...\n";
const char *const marker = "v/system/a.example/conf/prev_month.found";
const char *const previous_line =
    "Previous month detected in logs, force awstats pages regeneration for previous month\n";
const char *const said = "Stdout is\nsaid\nStderr is\ncomplained\n\n";

// Seconds since the epoch of a UTC time.
time_t utc(int year, int month, int day, int hour)
{
    tm fields = {};
    fields.tm_year = year - 1900;
    fields.tm_mon = month - 1;
    fields.tm_mday = day;
    fields.tm_hour = hour;
    return ::timegm(&fields);
}

std::string skip_line(const Row &row)
{
    return std::string("Skip log@/v/system/a.example/logs/") + row.log +
           ".webstat because it is empty or does not exist\n";
}

std::string ttl_line(int months)
{
    return "Stat_ttl for the domain is " + std::to_string(months) + ".\n";
}

std::string update_command(const Row &row)
{
    return std::string("@/bin/awstats.pl -update -configdir=@/p/etc/awstats "
                       "-config=a.example-") +
           row.service + " -LogFile=@/v/system/a.example/logs/" + row.log + ".webstat";
}

std::string page_arguments(const Row &row)
{
    return std::string("-awstatsprog=@/bin/awstats.pl -configdir=@/p/etc/awstats "
                       "-config=a.example-") +
           row.service + " -dir=@/v/system/a.example/statistics//" + row.directory + "/current";
}

std::string previous_page_arguments(const Row &row, const std::string &month,
                                    const std::string &number, const std::string &year)
{
    return std::string("-awstatsprog @/bin/awstats.pl -configdir @/p/etc/awstats -config "
                       "a.example-") +
           row.service + " -dir @/v/system/a.example/statistics//" + row.directory + "/" + month +
           " -month " + number + " -year " + year;
}

std::string processed_lines(const Row &row)
{
    return std::string("Processing the log @/v/system/a.example/logs/") + row.log + ".webstat\n\n" +
           update_command(row) + "\n";
}

// The lines of a log that is processed without a failure; what the page builder writes on standard
// error is not captured.
std::string done_lines(const Row &row)
{
    return processed_lines(row) + "complained\n";
}

std::string update_entry(const Row &row)
{
    return "yes: " + update_command(row).substr(sizeof "@/bin/awstats.pl") + "\n" + row.log +
           " record\n";
}

std::string page_entry(const std::string &arguments)
{
    return "yes: " + arguments + "\n";
}

std::string statistics(const Row &row)
{
    return std::string("v/system/a.example/statistics/") + row.directory;
}

} // namespace

// Runs over one AWStats domain, "a.example", at noon of 15 May 2024 unless set otherwise.
class AwstatsRun : public WholeRun
{
protected:
    AwstatsRun()
    {
        write_file("p/etc/awstats/awstats.a.example-http.conf", "");
        set_clock(utc(2024, 5, 15, 12));
    }

    static void set_clock(time_t time, const char *zone = "UTC0")
    {
        ::setenv("TEST_TIME", std::to_string(time).c_str(), 1);
        ::setenv("TZ", zone, 1);
    }

    // Makes the domain with a record in each of the first logs.
    static void add_logs(std::size_t count)
    {
        add_domain("a.example", false, {});
        for (std::size_t i = 0; i < count; ++i) {
            add_log(rows[i]);
        }
    }
    static void add_log(const Row &row)
    {
        write_file(log("a.example", row.log), std::string(row.log) + " record\n");
        fs::create_directories(statistics(row));
    }

    // Runs, and checks that the run went to its end.
    Outcome run_domain() const
    {
        Outcome outcome = run({"--calculate-domain", "a.example"});
        EXPECT_EQ(outcome.status, 0);
        const std::string start = std::string(preparation_lines) + header;
        EXPECT_EQ(outcome.err.substr(0, start.size()), start);
        outcome.err.erase(0, start.size());
        return outcome;
    }

    std::string ledger() const { return replace_all(read_file("ledger"), root(), "@"); }
};

TEST_F(AwstatsRun, AllLogs)
{
    add_logs(4);
    const Outcome outcome = run_domain();
    EXPECT_EQ(outcome.err, done_lines(rows[0]) + done_lines(rows[1]) + proxy_lines +
                               done_lines(rows[2]) + done_lines(rows[3]));
    EXPECT_EQ(outcome.out,
              ttl_line(120) + ttl_line(120) + ttl_line(120) + ttl_line(120) + "Finished.\n");
    std::string expected;
    for (const Row &row : rows) {
        expected += update_entry(row) + page_entry(page_arguments(row));
        const std::string config = std::string("a.example-") + row.service;
        const std::string directory = statistics(row);
        EXPECT_EQ(read_file(log("a.example", row.log)), "");
        EXPECT_EQ(fs::read_symlink(directory + "/current"), "2024-05");
        EXPECT_EQ(fs::read_symlink(directory + "/2024-05/index.html"),
                  "awstats." + config + ".html");
        EXPECT_EQ(read_file(directory + "/current/index.html"), config + "\n");
        EXPECT_NE(read_file(directory + "/nav.html").find(">2024-05<"), std::string::npos);
        EXPECT_EQ(read_file(directory + "/index.html").size(), 457U);
        EXPECT_EQ(std::distance(fs::directory_iterator(directory), {}), 4);
    }
    EXPECT_EQ(ledger(), expected);
}

TEST_F(AwstatsRun, OnlyProxyLogs)
{
    add_domain("a.example", false, {"proxy_access_log", "proxy_access_ssl_log"});
    write_file(log("a.example", "xferlog"), "");
    const Outcome outcome = run_domain();
    EXPECT_EQ(outcome.err, skip_line(rows[0]) + skip_line(rows[1]) + proxy_lines +
                               skip_line(rows[2]) + skip_line(rows[3]));
    EXPECT_EQ(outcome.out, "Finished.\n");
    EXPECT_FALSE(exists("ledger"));
    EXPECT_EQ(read_file(log("a.example", "proxy_access_log")), "proxy_access_log record\n");
}

TEST_F(AwstatsRun, AFailingUpdateCostsOnlyTheTruncation)
{
    add_logs(2);
    write_file("fail", "-update*-http*access_log*");
    const Outcome outcome = run_domain();
    EXPECT_EQ(outcome.err, processed_lines(web) + "Execution of " + update_command(web) +
                               " failed with return code 1.\n" + said +
                               "The log will not be truncated because of errors above: @/" +
                               log("a.example", web.log) + "\ncomplained\n" + done_lines(rows[1]) +
                               proxy_lines + skip_line(rows[2]) + skip_line(rows[3]));
    EXPECT_EQ(outcome.out, ttl_line(120) + ttl_line(120) + "Finished.\n");
    EXPECT_EQ(read_file(log("a.example", web.log)), "access_log record\n");
    EXPECT_EQ(read_file(log("a.example", rows[1].log)), "");
    EXPECT_TRUE(exists(statistics(web) + "/current/index.html"));
    EXPECT_TRUE(exists(statistics(web) + "/nav.html"));
}

TEST_F(AwstatsRun, AFailingPageBuilderLeavesTheIndexLinksAlone)
{
    add_logs(1);
    write_file(marker, "");
    write_file(statistics(web) + "/2024-04/index.html", "old");
    write_file(statistics(web) + "/2024-05/index.html", "old");
    write_file("fail", "-awstatsprog*");
    const Outcome outcome = run_domain();
    const std::string builder = "@/tools/awstats_buildstaticpages.pl ";
    const std::string report = "popen_exec: command failed code: 1 , said\n\n\n"
                               "System error 2: No such file or directory\n";
    EXPECT_EQ(outcome.err, processed_lines(web) + previous_line + "Execution of " + builder +
                               previous_page_arguments(web, "2024-04", "4", "2024") +
                               " failed with return code 1.\n" + said + "complained\n" + report +
                               "Error: Unable to execute " + builder + page_arguments(web) + "\n" +
                               skip_line(rows[1]) + proxy_lines + skip_line(rows[2]) +
                               skip_line(rows[3]));
    EXPECT_EQ(outcome.out, ttl_line(120) + report + "Finished.\n");
    EXPECT_FALSE(exists(marker));
    EXPECT_EQ(read_file(statistics(web) + "/2024-04/index.html"), "old");
    EXPECT_EQ(read_file(statistics(web) + "/2024-05/index.html"), "old");
    EXPECT_EQ(read_file(log("a.example", web.log)), "");
    EXPECT_NE(read_file(statistics(web) + "/nav.html").find(">2024-04<"), std::string::npos);
}

TEST_F(AwstatsRun, TheMarkerRebuildsThePreviousMonthOfTheFirstLog)
{
    const struct {
        time_t time;
        const char *zone;
        const char *month;
        const char *number;
        const char *year;
        const char *current;
    } cases[] = {
        {utc(2024, 1, 31, 12), "UTC0", "2023-12", "12", "2023", "2024-01"},
        {utc(2024, 3, 31, 12), "UTC0", "2024-02", "2", "2024", "2024-03"},
        {utc(2024, 3, 1, 2), "TST5", "2024-01", "1", "2024", "2024-02"},
    };
    for (const auto &row : cases) {
        fs::remove_all("v/system");
        fs::remove("ledger");
        add_logs(2);
        write_file(marker, "");
        set_clock(row.time, row.zone);
        EXPECT_EQ(run_domain().err, processed_lines(web) + previous_line + "complained\n" +
                                        done_lines(rows[1]) + proxy_lines + skip_line(rows[2]) +
                                        skip_line(rows[3]));
        EXPECT_EQ(ledger(),
                  update_entry(web) +
                      page_entry(previous_page_arguments(web, row.month, row.number, row.year)) +
                      page_entry(page_arguments(web)) + update_entry(rows[1]) +
                      page_entry(page_arguments(rows[1])));
        EXPECT_FALSE(exists(marker));
        EXPECT_EQ(fs::read_symlink(statistics(web) + "/current"), row.current);
        EXPECT_EQ(fs::read_symlink(statistics(web) + "/" + row.month + "/index.html"),
                  "awstats.a.example-http.html");
        EXPECT_FALSE(exists(statistics(rows[1]) + "/" + row.month));
    }
}

TEST_F(AwstatsRun, TheBareSubdirectoryNameIsLookedUpInTheWorkingDirectory)
{
    add_logs(1);
    write_file(marker, "");
    write_file("webstat", "");
    EXPECT_EQ(run_domain().status, 0);
    EXPECT_FALSE(exists(statistics(web) + "/2024-04"));
}

TEST_F(AwstatsRun, OneMonthFallsOutOfTheTimeToLive)
{
    const struct {
        const char *ttl;
        int months;
        const char *removed;
    } cases[] = {
        {"12", 12, "2023-04"},  {"1 month", 1, "2024-03"}, {"0", 120, "2014-02"},
        {"-5", 120, "2014-02"}, {"many", 120, "2014-02"},
    };
    const std::string months[] = {"2014-01", "2014-02", "2023-03", "2023-04", "2023-05", "2024-03"};
    for (const auto &row : cases) {
        fs::remove_all("v/system");
        add_logs(1);
        write_file("v/system/a.example/conf/stat_ttl.conf", row.ttl);
        for (const std::string &month : months) {
            write_file(statistics(web) + "/" + month + "/sub/page", "");
        }
        EXPECT_EQ(run_domain().out, ttl_line(row.months) + "Finished.\n");
        for (const std::string &month : months) {
            EXPECT_EQ(exists(statistics(web) + "/" + month), month != row.removed) << month;
        }
    }
}

TEST_F(AwstatsRun, ASecondRunInTheSameMonthReplacesTheLinks)
{
    add_logs(1);
    const Outcome first = run_domain();
    add_log(web);
    ASSERT_EQ(::chown((statistics(web) + "/2024-05").c_str(), 7, 7), 0);
    const Outcome second = run_domain();
    EXPECT_EQ(second.err, first.err);
    EXPECT_EQ(second.out, first.out);
    EXPECT_EQ(read_file(statistics(web) + "/current/index.html"), "a.example-http\n");
    struct stat status = {};
    ::stat((statistics(web) + "/2024-05").c_str(), &status);
    EXPECT_EQ(status.st_uid, 7U); // an existing month is left as it is
    set_clock(utc(2024, 6, 1, 0));
    add_log(web);
    run_domain();
    EXPECT_EQ(fs::read_symlink(statistics(web) + "/current"), "2024-06");
    EXPECT_EQ(std::distance(fs::directory_iterator(statistics(web)), {}), 5);
}

TEST_F(AwstatsRun, GeneratorsThatCannotBeRun)
{
    add_logs(1);
    fs::remove("bin/awstats.pl");
    fs::remove("tools/awstats_buildstaticpages.pl");
    const Outcome outcome = run_domain();
    const std::string reason = "forkExecvPipes: execv() failed: No such file or directory\n\n"
                               "System error 2: No such file or directory\n";
    const std::string failure = "Execution of " + update_command(web) +
                                " failed with return code 1.\nStdout is\n" + reason +
                                "Stderr is\n" + reason + "\nThe log will not be truncated";
    EXPECT_NE(outcome.err.find(failure), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.err.find("Error: Unable to execute @/tools/awstats_buildstaticpages.pl -aw"),
              std::string::npos);
    EXPECT_EQ(read_file(log("a.example", web.log)), "access_log record\n");
    EXPECT_TRUE(exists(statistics(web) + "/nav.html"));
}

TEST_F(AwstatsRun, AKilledUpdateKeepsItsLog)
{
    add_logs(1);
    write_script("bin/awstats.pl", "kill -KILL $$");
    EXPECT_NE(run_domain().err.find(" failed with return code -1.\n\nThe log will not"),
              std::string::npos);
    EXPECT_EQ(read_file(log("a.example", web.log)), "access_log record\n");
}

TEST_F(AwstatsRun, StatisticsDirectoriesThatAreNotAsExpected)
{
    add_logs(3);
    fs::create_directories(statistics(rows[0]) + "/current");
    fs::remove(statistics(rows[1]));
    fs::remove(statistics(rows[2]));
    write_file(statistics(rows[2]), "a file");
    const Outcome outcome = run_domain();
    const auto path = [](const Row &row) {
        return std::string("@/v/system/a.example/statistics//") + row.directory;
    };
    for (const std::string &line : {
             "\nUnable to symlink from " + path(rows[0]) + "/2024-05to current_dir\n",
             "\nUnable to symlink from " + path(rows[1]) + "/2024-05to current_dir\n",
             "\nERROR: Unable to mkdir " + path(rows[1]) + "/2024-05: No such file or directory\n",
             "\nUnable to open file " + path(rows[1]) + "/nav.html\n",
             "\nERROR: Unable to mkdir " + path(rows[2]) + "/2024-05: Not a directory\n",
             "\nUnable to open file " + path(rows[2]) + "/index.html: Not a directory\n",
         }) {
        EXPECT_NE(outcome.err.find(line), std::string::npos) << line << outcome.err;
    }
    EXPECT_EQ(read_file(statistics(rows[0]) + "/current/index.html"), "a.example-http\n");
    EXPECT_EQ(read_file(statistics(rows[2])), "a file");
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(read_file(log("a.example", rows[i].log)), "");
    }
}

TEST_F(AwstatsRun, ALogWhoseSizeCannotBeReadIsProcessed)
{
    add_domain("a.example", false, {});
    fs::create_directories(log("a.example", web.log));
    const Outcome outcome = run_domain();
    EXPECT_EQ(outcome.err.rfind(processed_lines(web), 0), 0U) << outcome.err;
    EXPECT_EQ(outcome.out.rfind("Error: unable to open file @/" + log("a.example", web.log) +
                                    ": Is a directory\n",
                                0),
              0U);
}
