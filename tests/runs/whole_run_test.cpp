#include "server/whole_run.h"

#include <set>

namespace
{

using Names = std::set<std::string>;

const std::vector<std::string> one_domain = {"--calculate-domain", "a.example"};

const std::string command_start = "\n@/bin/webalizer -c @/vhosts/system/a.example/conf/webalizer.conf -n a.example "
                                  "-D @/panel/var/webalizer/webalizer.cache ";
const std::string dns_command = command_start + "-N 15 -F FORMAT - < LOG\n";
const std::string second_pass_command =
    command_start + "-p -N 0 -o @/vhosts/system/a.example/statistics/DIRECTORY -F FORMAT - < LOG 2>&1\n";
const std::string empty_line = "Skip log LOG because it is empty or does not exists\n";

// What is said of a Webalizer domain with records in the named logs, where nothing fails.
std::string err_of(const Names &names)
{
    std::string lines = preparation_lines + "\n-----[ a.example\nWebstat: webalizer\n";
    for (const std::string &name : names) {
        lines += text_of({name, "", "", ""}, "Processing the log LOG for DNS cache\ncomplained\n");
    }
    return lines;
}

std::string out_of(const Names &names)
{
    std::string lines = "Executing webalizer...\n";
    std::string second_pass;
    for (const Log &log : all_logs) {
        const bool has_records = names.count(log.name) != 0;
        lines += has_records ? text_of(log, dns_command) : "";
        second_pass +=
            log.directory.empty() ? parent_line(log) : text_of(log, has_records ? second_pass_command : empty_line);
    }
    return lines + second_pass + "Finished.\n";
}

} // namespace

// Runs over domains of Webalizer and domains without a generator.
using WebalizerRun = WholeRun;

TEST_F(WebalizerRun, AllDomainsInByteWiseOrderWithAllLogs)
{
    const std::vector<std::string> names = {"access_log",           "access_ssl_log", "proxy_access_log",
                                            "proxy_access_ssl_log", "xferlog",        "xferlog_regular"};
    const Names all(names.begin(), names.end());
    server.addDomain("a.example", Kind::webalizer, names);
    server.addDomain("Z.example", Kind::none);
    write_file("vhosts/system/plain file", "");
    fs::create_directories("vhosts/system/no logs");
    fs::create_directories("elsewhere/logs");
    fs::create_symlink(root() + "/elsewhere", "vhosts/system/link.example");
    Outcome outcome = run();
    const std::size_t start = outcome.err.find("Starting");
    const std::string checks = outcome.err.substr(0, start);
    for (const std::string name :
         {"a.example\n", "Z.example\n", "plain file\n", "no logs\nDomain no logs not exists, skip it\n"}) {
        EXPECT_TRUE(contains(checks, "Check domain @/vhosts/system/" + name));
    }
    outcome.err.erase(0, start);
    expect_outcome(
        outcome, out_of(all),
        replace_all(err_of(all), "\n-----[ a.example", "\n-----[ Z.example\nWebstat: none\n\n-----[ a.example") +
            "\n-----[ link.example\nWebstat: none\n");
    EXPECT_TRUE(contains(calls(), preparation_call));
    EXPECT_FALSE(exists(log_path("access_log", "Z.example")));
    EXPECT_EQ(server.judge(), Violations());
    for (const Log &log : all_logs) {
        EXPECT_EQ(read_file(log_path(log.name)), log.directory.empty() ? offered(log.name) : "");
        EXPECT_EQ(attributes("vhosts/system/a.example/statistics/" + log.directory), "0:0 755");
    }
}

TEST_F(WebalizerRun, AFailingSecondPassKeepsItsLogAndNothingElse)
{
    server.addDomain("a.example", Kind::webalizer, {"access_log", "xferlog"});
    server.addDomain("other", Kind::none);
    write_file("fail_late", "*-p*-o*webstat*");
    const std::string report = "popen_exec: command failed code: 1 , said\ncomplained\n\n";
    const std::string command = text_of(all_logs[0], second_pass_command);
    const std::string failed = command + report + "The log will not be truncated because of errors above.\n";
    expect_outcome(run(one_domain), replace_all(out_of({"access_log", "xferlog"}), command, failed),
                   err_of({"access_log", "xferlog"}) + report);
    EXPECT_EQ(read_file(log_path("access_log")), offered("access_log"));
    EXPECT_EQ(read_file(log_path("xferlog")), "");
    EXPECT_TRUE(exists(log_path("access_log", "other")));
}

TEST_F(WebalizerRun, AFailingOutputDirectoryEndsTheDomain)
{
    server.addDomain("a.example", Kind::webalizer, {"access_ssl_log"});
    fs::remove("vhosts/system/a.example/statistics");
    const std::string path = "@/vhosts/system/a.example/statistics/webstat-ssl";
    const std::string report = "ERROR: Unable to mkdir " + path + reason(ENOENT);
    expect_outcome(run(one_domain),
                   "Executing webalizer...\n" + text_of(all_logs[1], dns_command) + text_of(all_logs[0], empty_line) +
                       report + "Error: unable to create directory for statistics (" + path +
                       "): No such file or directoryFinished.\n",
                   err_of({"access_ssl_log"}) + report);
    EXPECT_EQ(read_file(log_path("access_ssl_log")), offered("access_ssl_log"));
}

TEST_F(WebalizerRun, AFailedPreparationDoesNotStopTheRun)
{
    fs::remove("panel/admin/sbin/statistics_log_processor");
    server.addDomain("b.example", Kind::none, {"access_log"});
    const std::string program = "@/panel/admin/sbin/statistics_log_processor";
    EXPECT_EQ(run({"--calculate-domain=b.example"}).out, program + " execution failed:\nfork_execv: execv(\"" +
                                                             program + "\") failed" + reason(ENOENT) + "Finished.\n");
    EXPECT_FALSE(exists(log_path("access_log", "b.example")));
}

TEST_F(WebalizerRun, ErrorsThatEndTheProcess)
{
    server.addDomain("dir.example", Kind::webalizer, {});
    fs::create_directories(log_path("access_log", "dir.example"));
    const std::tuple<std::vector<std::string>, const char *, const char *> cases[] = {
        {{"--calculate-domain", ""}, "what():   - incorrect domain format\n", ""},
        {{"--help", "--calculate-domain", "a..b"}, "what():  a..b - incorrect domain format\n", ""},
        {{"--calculate-domain", "a", "--calculate-domain", "b"}, "more than once", ""},
        {{"--calculate-domain"}, "missing", ""},
        {{"--unknown"}, "unrecognised option '--unknown'", ""},
        // What was pending is shown.
        {{"--calculate-domain", "dir.example"}, "file_size", "Executing webalizer...\n"},
    };
    for (const auto &[arguments, message, out] : cases) {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.status, -SIGABRT);
        EXPECT_TRUE(contains(outcome.err, message));
        EXPECT_EQ(outcome.out, out);
    }
    fs::remove_all("vhosts");
    const Outcome outcome = run();
    EXPECT_EQ(outcome.status, -SIGABRT);
    EXPECT_TRUE(contains(outcome.err, "@/vhosts/system/"));
}

TEST_F(WebalizerRun, NoNameIsACommand)
{
    const std::string name =
        "-o $(touch hit)`touch hit`; touch hit\ntouch hit\n'; touch hit; '\"; touch hit; \"%s%n\x01\xff";
    server.addDomain(name, Kind::webalizer);
    EXPECT_EQ(run().status, 0);
    EXPECT_EQ(server.judge(), Violations());
    EXPECT_EQ(read_file(log_path("access_log", name)), "");
    EXPECT_FALSE(exists("hit"));
}

TEST_F(WebalizerRun, HelpDoesNothingElse)
{
    const std::string help = "Allowed commands:\n"
                             "  --calculate-domain arg generate web statistics for domain (act on all domains\n"
                             "                         if not specified\n"
                             "  -h [ --help ]          Display help\n\n";
    expect_outcome(run({"--help"}), help, "");
    expect_outcome(run({"-h"}), help, "");
    EXPECT_FALSE(exists("calls"));
}

TEST_F(WebalizerRun, BothStreamsKeepTheirOrderInOneFile)
{
    server.addDomain("a.example", Kind::webalizer, {"access_log"});
    const std::string out = replace_all(run_program({"sh", "-c", STATISTICS_RUN " 2>&1"}).out, root(), "@");
    EXPECT_TRUE(contains(out, "webalizer\nExecuting webalizer...\nProcessing the log "));
    EXPECT_TRUE(contains(out, " for DNS cache\n" + text_of(all_logs[0], dns_command) + "complained\n"));
}

TEST_F(WebalizerRun, StartsWithClosedStreamsAndEndedChildrenIgnored)
{
    server.addDomain("a.example", Kind::webalizer, {"access_log"});
    write_script("bin/webalizer", "readlink /proc/$$/fd/2 >>calls");
    in_child([] {
        ::signal(SIGCHLD, SIG_IGN);
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
            ::close(stream);
        }
        ::execl(STATISTICS_RUN, STATISTICS_RUN, nullptr);
    });
    EXPECT_TRUE(contains(calls(), "/dev/null\n"));
    EXPECT_EQ(read_file(log_path("access_log")), "");
}
