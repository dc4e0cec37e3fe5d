#include "whole_run.h"

#include <boost/filesystem.hpp>

#include <csignal>
#include <sstream>

namespace fs = boost::filesystem;

// Runs over domains of Webalizer and domains without a generator.
class WebalizerRun : public WholeRun
{
protected:
    static std::string command_start(const std::string &domain)
    {
        return "@/webalizer -c @/v/system/" + domain + "/conf/webalizer.conf -n " + domain +
               " -D @/p/var/webalizer/webalizer.cache ";
    }
    static std::string dns_command(const std::string &domain, const std::string &name,
                                   const std::string &format)
    {
        return "\n" + command_start(domain) + "-N 15 -F " + format + " - < @/" + log(domain, name) +
               "\n";
    }
    static std::string pages_command(const std::string &domain, const std::string &name,
                                     const std::string &format, const std::string &directory)
    {
        return "\n" + command_start(domain) + "-p -N 0 -o @/v/system/" + domain + "/statistics/" +
               directory + " -F " + format + " - < @/" + log(domain, name) + " 2>&1\n";
    }
    static std::string dns_line(const std::string &domain, const std::string &name)
    {
        return "Processing the log @/" + log(domain, name) + " for DNS cache\n";
    }
    static std::string empty_line(const std::string &domain, const std::string &name)
    {
        return "Skip log @/" + log(domain, name) + " because it is empty or does not exists\n";
    }
};

TEST_F(WebalizerRun, AllDomainsInByteWiseOrder)
{
    add_domain("a.example", true, {"access_log"});
    add_domain("Z.example", false, {"access_log", "xferlog"});
    add_domain("empty", true, {});
    write_file(log("empty", "access_log"), "");
    write_file("v/system/plain file", "");
    fs::create_directories("v/system/no logs");
    fs::create_directories("elsewhere/logs");
    fs::create_symlink(root() + "/elsewhere", "v/system/link.example");
    const Outcome outcome = run();
    EXPECT_EQ(outcome.status, 0);

    const std::size_t start = outcome.err.find("Starting");
    for (const char *const name : {"a.example", "Z.example", "empty", "plain file", "no logs"}) {
        const std::string line = std::string("Check domain @/v/system/") + name + "\n";
        EXPECT_LT(outcome.err.find(line), start) << name;
    }
    EXPECT_NE(outcome.err.find("no logs\nDomain no logs not exists, skip it\n"), std::string::npos);
    EXPECT_EQ(outcome.err.substr(start), std::string(preparation_lines) +
                                             "\n-----[ Z.example\nWebstat: none\n"
                                             "\n-----[ a.example\nWebstat: webalizer\n" +
                                             dns_line("a.example", "access_log") +
                                             "complained\n"
                                             "\n-----[ empty\nWebstat: webalizer\n"
                                             "\n-----[ link.example\nWebstat: none\n");
    EXPECT_EQ(outcome.out,
              "Executing webalizer...\n" + dns_command("a.example", "access_log", "clf") +
                  pages_command("a.example", "access_log", "clf", "webstat") +
                  empty_line("a.example", "access_ssl_log") + proxy_lines +
                  empty_line("a.example", "xferlog") + empty_line("a.example", "xferlog_regular") +
                  "Executing webalizer...\n" + empty_line("empty", "access_log") +
                  empty_line("empty", "access_ssl_log") + proxy_lines +
                  empty_line("empty", "xferlog") + empty_line("empty", "xferlog_regular") +
                  "Finished.\n");
    EXPECT_EQ(read_file("prepared"), "args: \n");
    EXPECT_FALSE(exists(log("Z.example", "access_log")));
    EXPECT_EQ(read_file(log("a.example", "access_log")), "");
}

TEST_F(WebalizerRun, OneNamedDomainWithAllLogs)
{
    add_domain("a.example", true,
               {"access_log", "access_ssl_log", "proxy_access_log", "proxy_access_ssl_log",
                "xferlog", "xferlog_regular"});
    add_domain("other", false, {"access_log"});
    const Outcome outcome = run({"--calculate-domain", "a.example"});
    EXPECT_EQ(outcome.status, 0);
    const struct {
        const char *name;
        const char *format;
        const char *directory;
    } rows[] = {
        {"access_log", "clf", "webstat"},     {"access_ssl_log", "clf", "webstat-ssl"},
        {"proxy_access_log", "clf", nullptr}, {"proxy_access_ssl_log", "clf", nullptr},
        {"xferlog", "ftp", "anon_ftpstat"},   {"xferlog_regular", "ftp", "ftpstat"},
    };
    std::string err = std::string(preparation_lines) + "\n-----[ a.example\nWebstat: webalizer\n";
    std::string out = "Executing webalizer...\n";
    std::string pages;
    std::string ledger;
    for (const auto &row : rows) {
        const std::string record = std::string(row.name) + " record\n";
        err += dns_line("a.example", row.name) + "complained\n";
        out += dns_command("a.example", row.name, row.format);
        ledger += record;
        if (row.directory != nullptr) {
            pages += pages_command("a.example", row.name, row.format, row.directory);
            EXPECT_TRUE(
                fs::is_directory(std::string("v/system/a.example/statistics/") + row.directory));
        } else if (row.name == std::string("proxy_access_log")) {
            pages += proxy_lines;
        }
        EXPECT_EQ(read_file(log("a.example", row.name)), row.directory == nullptr ? record : "");
    }
    for (const auto &row : rows) {
        ledger += row.directory == nullptr ? "" : std::string(row.name) + " record\n";
    }
    EXPECT_EQ(outcome.err, err);
    EXPECT_EQ(outcome.out, out + pages + "Finished.\n");
    std::string taken;
    std::istringstream lines(read_file("ledger"));
    for (std::string line; std::getline(lines, line);) {
        taken += line.rfind("args: ", 0) == 0 ? "" : line + "\n";
    }
    EXPECT_EQ(taken, ledger);
    EXPECT_TRUE(exists(log("other", "access_log")));
}

TEST_F(WebalizerRun, ANamedDomainWithoutLogs)
{
    const Outcome outcome = run({"--calculate-domain", "a.example"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err,
              std::string("Domain a.example not exists, skip it\n") + preparation_lines);
    EXPECT_EQ(outcome.out, "Finished.\n");
    EXPECT_TRUE(exists("prepared"));
}

TEST_F(WebalizerRun, AFailingSecondPassKeepsItsLogAndNothingElse)
{
    add_domain("a.example", true, {"access_log", "xferlog"});
    add_domain("b.example", false, {"access_log"});
    write_file("fail", "*-p*-o*webstat*");
    const Outcome outcome = run();
    EXPECT_EQ(outcome.status, 0);
    const std::string report = "popen_exec: command failed code: 1 , said\ncomplained\n\n";
    EXPECT_EQ(outcome.err.substr(outcome.err.find("\n-----")),
              "\n-----[ a.example\nWebstat: webalizer\n" + dns_line("a.example", "access_log") +
                  "complained\n" + dns_line("a.example", "xferlog") + "complained\n" + report +
                  "\n-----[ b.example\nWebstat: none\n");
    EXPECT_EQ(outcome.out, "Executing webalizer...\n" +
                               dns_command("a.example", "access_log", "clf") +
                               dns_command("a.example", "xferlog", "ftp") +
                               pages_command("a.example", "access_log", "clf", "webstat") + report +
                               "The log will not be truncated because of errors above.\n" +
                               empty_line("a.example", "access_ssl_log") + proxy_lines +
                               pages_command("a.example", "xferlog", "ftp", "anon_ftpstat") +
                               empty_line("a.example", "xferlog_regular") + "Finished.\n");
    EXPECT_EQ(read_file(log("a.example", "access_log")), "access_log record\n");
    EXPECT_EQ(read_file(log("a.example", "xferlog")), "");
}

TEST_F(WebalizerRun, AFailingOutputDirectoryEndsTheDomain)
{
    add_domain("a.example", true, {"access_ssl_log", "xferlog"});
    add_domain("b.example", false, {"access_log"});
    fs::remove("v/system/a.example/statistics");
    const Outcome outcome = run();
    EXPECT_EQ(outcome.status, 0);
    const std::string path = "@/v/system/a.example/statistics/webstat-ssl";
    const std::string report = "ERROR: Unable to mkdir " + path +
                               ": No such file or directory\n\n"
                               "System error 2: No such file or directory\n";
    EXPECT_EQ(outcome.out, "Executing webalizer...\n" +
                               dns_command("a.example", "access_ssl_log", "clf") +
                               dns_command("a.example", "xferlog", "ftp") +
                               empty_line("a.example", "access_log") + report +
                               "Error: unable to create directory for statistics (" + path +
                               "): No such file or directoryFinished.\n");
    EXPECT_EQ(outcome.err.substr(outcome.err.find(report)),
              report + "\n-----[ b.example\nWebstat: none\n");
    EXPECT_EQ(read_file(log("a.example", "xferlog")), "xferlog record\n");
    EXPECT_FALSE(exists(log("b.example", "access_log")));
}

TEST_F(WebalizerRun, AFailedPreparationDoesNotStopTheRun)
{
    fs::remove("p/admin/sbin/statistics_log_processor");
    add_domain("b.example", false, {"access_log"});
    const Outcome outcome = run({"--calculate-domain=b.example"});
    EXPECT_EQ(outcome.status, 0);
    const std::string program = "@/p/admin/sbin/statistics_log_processor";
    const std::string report = program + " execution failed:\nfork_execv: execv(\"" + program +
                               "\") failed: No such file or directory\n\n";
    EXPECT_EQ(outcome.out.rfind(report, 0), 0U) << outcome.out;
    EXPECT_FALSE(exists(log("b.example", "access_log")));
}

TEST_F(WebalizerRun, NoNameRunsACommand)
{
    const std::string hostile = "x;touch hit;'$(touch hit)`touch hit`\n\" \xff";
    add_domain(hostile, true, {"access_log"});
    EXPECT_EQ(run().status, 0);
    EXPECT_FALSE(exists("hit"));
    EXPECT_EQ(read_file(log(hostile, "access_log")), "");
    EXPECT_NE(read_file("ledger").find(" -n " + hostile + " -D "), std::string::npos);
}

TEST_F(WebalizerRun, ACommandTooLongForItsBufferIsRunAsCut)
{
    const auto whole_command = [&] {
        const std::string text = pages_command("a.example", "access_log", "clf", "webstat");
        return replace_all(text.substr(1, text.size() - 2), "@", root());
    };
    // The cut takes the redirection of standard error and one to three letters of the log's name.
    const std::size_t excess = 4095 + 6 - whole_command().size();
    const std::string vhosts = root() + "/v" + std::string((excess + 2) / 3, '/');
    write_file("etc/zut/zut.conf", "HTTPD_VHOSTS_D " + vhosts + "\nPRODUCT_ROOT_D " + root() +
                                       "/p\nWEB_STAT " + root() + "/webalizer\n");
    add_domain("a.example", true, {"access_log"});
    const Outcome outcome = run({"--calculate-domain", "a.example"});
    const std::string whole = replace_all(whole_command(), root() + "/v/", vhosts + "/");
    const std::string cut = replace_all(whole.substr(0, 4095), root(), "@");
    EXPECT_NE(outcome.out.find("\n" + cut + "\npopen_exec: command failed"), std::string::npos);
    EXPECT_NE(outcome.out.find("The log will not be truncated because of errors above.\n"),
              std::string::npos);
    EXPECT_EQ(read_file(log("a.example", "access_log")), "access_log record\n");
}

TEST_F(WebalizerRun, ErrorsThatEndTheProcess)
{
    add_domain("dir.example", true, {});
    fs::create_directories(log("dir.example", "access_log"));
    const struct {
        std::vector<std::string> arguments;
        const char *message;
    } cases[] = {
        {{"--calculate-domain", "a..b"}, "what():  a..b - incorrect domain format\n"},
        {{"--calculate-domain", ""}, "what():   - incorrect domain format\n"},
        {{"--help", "--calculate-domain", "a_b"}, "what():  a_b - incorrect domain format\n"},
        {{"--calculate-domain", "a", "--calculate-domain", "b"}, "more than once"},
        {{"--calculate-domain"}, "missing"},
        {{"--unknown"}, "unrecognised option '--unknown'"},
        {{"--calculate-domain", "dir.example"}, "file_size"},
    };
    for (const auto &row : cases) {
        const Outcome outcome = run(row.arguments);
        EXPECT_EQ(outcome.status, -SIGABRT);
        EXPECT_NE(outcome.err.find(row.message), std::string::npos) << outcome.err;
        const bool begun = row.arguments.back() == "dir.example"; // what was pending is shown
        EXPECT_EQ(outcome.out, begun ? "Executing webalizer...\n" : "");
    }
    fs::remove_all("v");
    const Outcome outcome = run();
    EXPECT_EQ(outcome.status, -SIGABRT);
    EXPECT_NE(outcome.err.find("@/v/system/"), std::string::npos);
}

TEST_F(WebalizerRun, HelpDoesNothingElse)
{
    const Outcome outcome = run({"--help"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, run({"-h"}).out);
    EXPECT_EQ(outcome.out,
              "Allowed commands:\n"
              "  --calculate-domain arg generate web statistics for domain (act on all domains\n"
              "                         if not specified\n"
              "  -h [ --help ]          Display help\n\n");
    EXPECT_EQ(outcome.err, "");
    EXPECT_FALSE(exists("prepared"));
}

TEST_F(WebalizerRun, BothStreamsKeepTheirOrderInOneFile)
{
    add_domain("a.example", true, {"access_log"});
    const Outcome outcome = run_program({"sh", "-c", std::string(STATISTICS_RUN) + " 2>&1"});
    const std::string out = replace_all(outcome.out, root(), "@");
    EXPECT_EQ(out.find("Webstat: webalizer\nExecuting webalizer...\n" +
                       dns_line("a.example", "access_log") +
                       dns_command("a.example", "access_log", "clf") + "complained\n"),
              out.find("Webstat"));
}

TEST_F(WebalizerRun, UnusualStarts)
{
    add_domain("a.example", true, {"access_log"});
    // The streams are closed, and nobody wants to hear of ended children.
    write_script("webalizer", "readlink /proc/$$/fd/2 >>$ROOT/ledger");
    run_program({"sh", "-c", "trap '' CHLD; exec " STATISTICS_RUN " >&- 2>&- <&-"});
    EXPECT_EQ(read_file("ledger").substr(0, 10), "/dev/null\n");
    EXPECT_EQ(read_file(log("a.example", "access_log")), "");
}
