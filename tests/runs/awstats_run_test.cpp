#include "server/whole_run.h"

#include <array>
#include <iterator>

namespace
{

const Log &web = all_logs[0];
const std::string marker = "vhosts/system/a.example/conf/prev_month.found";
const std::string previous_line =
    "Previous month detected in logs, force awstats pages regeneration for previous month\n";
const std::string said = "Stdout is\nsaid\nStderr is\ncomplained\n\n";
const std::string ttl_line = "Stat_ttl for the domain is 120.\n";

std::string statistics(const Log &log)
{
    return "vhosts/system/a.example/statistics/" + log.directory;
}

const std::string update_command =
    "@/bin/awstats.pl -update -configdir=@/panel/etc/awstats -config=a.example-SERVICE -LogFile=LOG";
const std::string builder = "@/tools/awstats_buildstaticpages.pl ";
const std::string pages_command = builder + "-awstatsprog=@/bin/awstats.pl -configdir=@/panel/etc/awstats "
                                            "-config=a.example-SERVICE "
                                            "-dir=@/vhosts/system/a.example/statistics//DIRECTORY/current";
const std::string previous_pages_command = builder + "-awstatsprog @/bin/awstats.pl -configdir @/panel/etc/awstats "
                                                     "-config a.example-http "
                                                     "-dir @/vhosts/system/a.example/statistics//webstat/";
const std::string processed_lines = "Processing the log LOG\n\n" + update_command + "\n";
const std::string done_lines = processed_lines + "complained\n"; // of the page builder: AWStats' are captured
const std::string skip_line = "Skip logLOG because it is empty or does not exist\n";
const std::string both_calls = "yes: " + update_command + "\nyes: " + pages_command + "\n";

} // namespace

// Runs over one AWStats domain, "a.example", at noon of 15 May 2024 unless set otherwise.
class AwstatsRun : public WholeRun
{
protected:
    AwstatsRun() { set_clock("2024-05-15 12:00"); }

    static void set_clock(const char *time, const char *zone = "UTC0")
    {
        ::setenv("TEST_TIME", time, 1);
        ::setenv("TZ", zone, 1);
    }

    // Makes the domain with a record in each of the first logs.
    void add_logs(std::size_t count) const
    {
        server.addDomain("a.example", Kind::awstats, {});
        for (std::size_t i = 0; i < count; ++i) {
            write_file(log_path(all_logs[i].name), all_logs[i].name + " record\n");
            fs::create_directories(statistics(all_logs[i]));
        }
    }

    // Runs. What is expected on standard error is, between the beginning of the run and its end, that for the web log
    // and then the common lines of the other logs, of which the first `count` have records.
    void expect_run(const std::string &web_lines, std::size_t count, const std::string &out) const
    {
        std::string lines = preparation_lines + "\n-----[ a.example\nWebstat: awstats\nExecuting awstats...\n";
        lines += text_of(web, web_lines);
        for (std::size_t i = 1; i < std::size(all_logs); ++i) {
            const Log &log = all_logs[i];
            lines += log.directory.empty() ? parent_line(log) : text_of(log, i < count ? done_lines : skip_line);
        }
        expect_outcome(run({"--calculate-domain", "a.example"}), out + "Finished.\n", lines);
    }
};

TEST_F(AwstatsRun, AllLogs)
{
    add_logs(std::size(all_logs));
    expect_run(done_lines, std::size(all_logs), ttl_line + ttl_line + ttl_line + ttl_line);
    std::string expected_calls = preparation_call;
    for (const Log &log : all_logs) {
        if (log.directory.empty()) {
            EXPECT_EQ(read_file(log_path(log.name)), log.name + " record\n");
            continue;
        }
        const std::string directory = statistics(log);
        expected_calls += text_of(log, both_calls);
        EXPECT_EQ(read_file(log_path(log.name)), "");
        EXPECT_EQ(fs::read_symlink(directory + "/current"), "2024-05");
        EXPECT_EQ(fs::read_symlink(directory + "/2024-05/index.html"), "awstats.a.example-" + log.service + ".html");
        EXPECT_EQ(read_file(directory + "/current/index.html"), "<p>Pages of 2024-05</p>\n" + log.name + " record\n");
        EXPECT_TRUE(contains(read_file(directory + "/nav.html"), ">2024-05<"));
        EXPECT_EQ(read_file(directory + "/index.html").size(), 457U);
        EXPECT_EQ(std::distance(fs::directory_iterator(directory), {}), 4);
    }
    EXPECT_EQ(calls(), expected_calls);
}

TEST_F(AwstatsRun, AFailingUpdateCostsOnlyTheTruncation)
{
    add_logs(2);
    write_file(log_path("xferlog"), ""); // is the same as none
    write_file("fail_late", "*-update*-http*access_log*");
    expect_run(processed_lines + "Execution of " + update_command + " failed with return code 1.\n" + said +
                   "The log will not be truncated because of errors above: @/" + log_path(web.name) + "\ncomplained\n",
               2, ttl_line + ttl_line);
    EXPECT_EQ(read_file(log_path(web.name)), "access_log record\n");
    EXPECT_EQ(read_file(log_path(all_logs[1].name)), "");
    EXPECT_TRUE(exists(statistics(web) + "/current/index.html") && exists(statistics(web) + "/nav.html"));
}

TEST_F(AwstatsRun, AFailingPageBuilderLeavesTheIndexLinksAlone)
{
    add_logs(1);
    write_file(marker, "");
    for (const std::string month : {"/2024-04", "/2024-05"}) {
        write_file(statistics(web) + month + "/index.html", "old");
    }
    write_file("fail_late", "*-awstatsprog*");
    const std::string report = "popen_exec: command failed code: 1 , said\n\n" + system_error(ENOENT);
    expect_run(processed_lines + previous_line + "Execution of " + previous_pages_command +
                   "2024-04 -month 4 -year 2024" + " failed with return code 1.\n" + said + "complained\n" + report +
                   "Error: Unable to execute " + pages_command + "\n",
               1, ttl_line + report);
    EXPECT_FALSE(exists(marker));
    EXPECT_EQ(read_file(statistics(web) + "/2024-04/index.html"), "old");
    EXPECT_EQ(read_file(statistics(web) + "/2024-05/index.html"), "old");
    EXPECT_EQ(read_file(log_path(web.name)), "");
    EXPECT_TRUE(contains(read_file(statistics(web) + "/nav.html"), ">2024-04<"));
}

TEST_F(AwstatsRun, TheMarkerRebuildsThePreviousMonthOfTheFirstLog)
{
    const std::array<const char *, 5> cases[] = {
        {"2024-01-31 12:00", "UTC0", "2023-12", " -month 12 -year 2023", "2024-01"},
        {"2024-03-31 12:00", "UTC0", "2024-02", " -month 2 -year 2024", "2024-03"},
        {"2024-03-01 02:00", "TST5", "2024-01", " -month 1 -year 2024", "2024-02"},
    };
    for (const auto &[time, zone, month, options, current] : cases) {
        fs::remove_all("vhosts/system");
        fs::remove_all("calls");
        add_logs(2);
        write_file(marker, "");
        set_clock(time, zone);
        expect_run(processed_lines + previous_line + "complained\n", 2, ttl_line + ttl_line);
        const std::string previous = "\nyes: " + previous_pages_command + month + options + "\nyes: " + builder;
        EXPECT_EQ(calls(), preparation_call + replace_all(text_of(web, both_calls), "\nyes: " + builder, previous) +
                               text_of(all_logs[1], both_calls));
        EXPECT_FALSE(exists(marker));
        EXPECT_EQ(fs::read_symlink(statistics(web) + "/current"), current);
        EXPECT_EQ(fs::read_symlink(statistics(web) + "/" + month + "/index.html"), "awstats.a.example-http.html");
        EXPECT_FALSE(exists(statistics(all_logs[1]) + "/" + month));
    }
}

TEST_F(AwstatsRun, OneMonthFallsOutOfTheTimeToLive)
{
    const std::tuple<const char *, std::string, std::string> cases[] = {
        {"12", "12", "2023-04"}, {"1 month", "1", "2024-03"}, {"-5", "120", "2014-02"}};
    const std::string months[] = {"2014-01", "2014-02", "2023-03", "2023-04", "2023-05", "2024-03"};
    for (const auto &[text, ttl, removed] : cases) {
        fs::remove_all("vhosts/system");
        add_logs(1);
        write_file("vhosts/system/a.example/conf/stat_ttl.conf", text);
        for (const std::string &month : months) {
            write_file(statistics(web) + "/" + month + "/sub/page", "");
        }
        expect_run(done_lines, 1, "Stat_ttl for the domain is " + ttl + ".\n");
        for (const std::string &month : months) {
            EXPECT_EQ(exists(statistics(web) + "/" + month), month != removed) << month;
        }
    }
}

TEST_F(AwstatsRun, ASecondRunInTheSameMonthKeepsPagesAndLinks)
{
    add_logs(1);
    expect_run(done_lines, 1, ttl_line);
    const auto kept = [] {
        std::string all;
        for (const std::string entry : {"/index.html", "/nav.html", "/current", "/2024-05/index.html"}) {
            all += identity(statistics(web) + entry) + "\n";
        }
        return all;
    };
    const std::string before = kept();
    add_logs(1);
    ASSERT_EQ(::chown((statistics(web) + "/2024-05").c_str(), 7, 7), 0);
    expect_run(done_lines, 1, ttl_line);
    EXPECT_EQ(kept(), before);
    EXPECT_EQ(attributes(statistics(web) + "/2024-05"), "7:7 755"); // an existing month is left as it is
    for (const std::string target : {"2024-0", "2024-055", "2024-06", ""}) {
        fs::remove(statistics(web) + "/current");
        if (target.empty()) {
            write_file(statistics(web) + "/current", "2024-05");
        } else {
            fs::create_symlink(target, statistics(web) + "/current");
        }
        add_logs(1);
        expect_run(done_lines, 1, ttl_line);
        EXPECT_EQ(fs::read_symlink(statistics(web) + "/current"), "2024-05");
    }
}

TEST_F(AwstatsRun, FilesThatAreNotAsExpectedDoNotStopTheRun)
{
    add_logs(1);
    fs::create_directories(statistics(web) + "/current/index.html");
    fs::create_directories(log_path("xferlog"));
    write_file(marker, "");
    write_file("webstat",
               ""); // the bare name is looked up in the working directory: the month's directory stays as it is
    fs::create_directories(statistics(web) + "/2024-04/index.html");
    fs::permissions(statistics(web) + "/2024-04", fs::owner_all);
    const Outcome outcome = run({"--calculate-domain", "a.example"});
    EXPECT_TRUE(contains(read_file(statistics(web) + "/current/awstats.a.example-http.html"), "record"));
    EXPECT_EQ(attributes(statistics(web) + "/2024-04"), "0:0 700");
    EXPECT_TRUE(contains(outcome.err, "\nUnable to symlink fromawstats.a.example-http.htmlto index.html\n"));
    const std::string parent = "@/vhosts/system/a.example/statistics//";
    EXPECT_TRUE(contains(outcome.err, "\nError: symlink awstats.a.example-http.html " + parent +
                                          "webstat/2024-04/index.html: File exists\n"));
    EXPECT_TRUE(contains(outcome.err, "\nUnable to symlink from " + parent + "webstat/2024-05to current_dir\n"));
    EXPECT_TRUE(contains(outcome.err, "\nERROR: Unable to mkdir " + parent + "anon_ftpstat/2024-05: No such file"));
    EXPECT_TRUE(contains(outcome.out, "Error: unable to open file @/" + log_path("xferlog") + ": Is a directory\n"));
}
