#include "server/whole_run.h"

#include <set>

namespace
{

using Names = std::set<std::string>;

std::string command_start()
{
    return "\n@/bin/webalizer -c @/vhosts/system/a.example/conf/webalizer.conf -n a.example"
           " -D @/panel/var/webalizer/webalizer.cache ";
}

std::string dns_command(const Log &log)
{
    return command_start() + "-N 15 -F " + log.format + " - < @/vhosts/system/a.example/logs/" + log.name +
           ".webstat\n";
}

std::string pages_command(const Log &log)
{
    return command_start() + "-p -N 0 -o @/vhosts/system/a.example/statistics/" + log.directory + " -F " + log.format +
           " - < @/vhosts/system/a.example/logs/" + log.name + ".webstat 2>&1\n";
}

std::string empty_line(const Log &log)
{
    return "Skip log @/vhosts/system/a.example/logs/" + log.name + ".webstat because it is empty or does not exists\n";
}

// What is said of a Webalizer domain with records in the named logs, where nothing fails.
std::string err_of(const Names &names)
{
    std::string lines = "\n-----[ a.example\nWebstat: webalizer\n";
    for (const std::string &name : names) {
        lines += "Processing the log @/vhosts/system/a.example/logs/" + name + ".webstat for DNS cache\ncomplained\n";
    }
    return lines;
}

std::string out_of(const Names &names)
{
    std::string lines = "Executing webalizer...\n";
    std::string second_pass;
    for (const Log &log : all_logs) {
        const bool has_records = names.count(log.name) != 0;
        lines += has_records ? dns_command(log) : "";
        second_pass += log.directory.empty() ? parent_line(log) : has_records ? pages_command(log) : empty_line(log);
    }
    return lines + second_pass;
}

} // namespace

// Runs over domains of Webalizer and domains without a generator.
using WebalizerRun = WholeRun;

TEST_F(WebalizerRun, AllDomainsInByteWiseOrder)
{
    server.addDomain("a.example", Kind::webalizer, {"access_log"});
    server.addDomain("Z.example", Kind::none, {"access_log", "xferlog"});
    write_file(log_path("access_ssl_log"), "");
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
    expect_outcome(outcome, out_of({"access_log"}) + "Finished.\n",
                   preparation_lines + "\n-----[ Z.example\nWebstat: none\n" + err_of({"access_log"}) +
                       "\n-----[ link.example\nWebstat: none\n");
    EXPECT_TRUE(contains(calls(), preparation_call));
    EXPECT_FALSE(exists(log_path("access_log", "Z.example")));
    EXPECT_EQ(read_file(log_path("access_log")), "");
}

TEST_F(WebalizerRun, OneNamedDomainWithAllLogs)
{
    const std::vector<std::string> names = {"access_log",           "access_ssl_log", "proxy_access_log",
                                            "proxy_access_ssl_log", "xferlog",        "xferlog_regular"};
    server.addDomain("a.example", Kind::webalizer, names);
    server.addDomain("other", Kind::none, {"access_log"});
    const Names all(names.begin(), names.end());
    expect_outcome(run({"--calculate-domain", "a.example"}), out_of(all) + "Finished.\n",
                   preparation_lines + err_of(all));
    EXPECT_EQ(server.judge(true), Violations());
    for (const Log &log : all_logs) {
        EXPECT_EQ(read_file(log_path(log.name)), log.directory.empty() ? offered(log.name) : "");
        EXPECT_EQ(attributes("vhosts/system/a.example/statistics/" + log.directory), "0:0 755");
    }
    EXPECT_TRUE(exists(log_path("access_log", "other")));
}

TEST_F(WebalizerRun, ANamedDomainWithoutLogs)
{
    expect_outcome(run({"--calculate-domain", "a.example"}), "Finished.\n",
                   "Domain a.example not exists, skip it\n" + preparation_lines);
    EXPECT_EQ(calls(), preparation_call);
}

TEST_F(WebalizerRun, AFailingSecondPassKeepsItsLogAndNothingElse)
{
    server.addDomain("a.example", Kind::webalizer, {"access_log", "xferlog"});
    write_file("fail_late", "*-p*-o*webstat*");
    const std::string report = "popen_exec: command failed code: 1 , said\ncomplained\n\n";
    const std::string command = pages_command(all_logs[0]);
    expect_outcome(run({"--calculate-domain", "a.example"}),
                   replace_all(out_of({"access_log", "xferlog"}), command,
                               command + report + "The log will not be truncated because of errors above.\n") +
                       "Finished.\n",
                   preparation_lines + err_of({"access_log", "xferlog"}) + report);
    EXPECT_EQ(read_file(log_path("access_log")), offered("access_log"));
    EXPECT_EQ(read_file(log_path("xferlog")), "");
}

TEST_F(WebalizerRun, AFailingOutputDirectoryEndsTheDomain)
{
    server.addDomain("a.example", Kind::webalizer, {"access_ssl_log", "xferlog"});
    server.addDomain("b.example", Kind::none, {"access_log"});
    fs::remove("vhosts/system/a.example/statistics");
    Outcome outcome = run();
    outcome.err.erase(0, outcome.err.find("Starting"));
    const std::string path = "@/vhosts/system/a.example/statistics/webstat-ssl";
    const std::string report = "ERROR: Unable to mkdir " + path + "" + reason(ENOENT);
    expect_outcome(outcome,
                   "Executing webalizer...\n" + dns_command(all_logs[1]) + dns_command(all_logs[4]) +
                       empty_line(all_logs[0]) + report + "Error: unable to create directory for statistics (" + path +
                       "): No such file or directoryFinished.\n",
                   preparation_lines + err_of({"access_ssl_log", "xferlog"}) + report +
                       "\n-----[ b.example\nWebstat: none\n");
    EXPECT_EQ(read_file(log_path("xferlog")), offered("xferlog"));
    EXPECT_FALSE(exists(log_path("access_log", "b.example")));
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
    EXPECT_TRUE(contains(out, " for DNS cache\n" + dns_command(all_logs[0]) + "complained\n"));
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
