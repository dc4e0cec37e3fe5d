#pragma once

#include "server/sample_server.h"
#include "support.h"

// Runs of the whole program over a server in the temporary directory; "@" stands for its path in what the program prints.
class WholeRun : public InTempDir
{
protected:
    WholeRun() : server(root()) { server.layOut(); }

    static std::string log_path(const std::string &log, const std::string &domain = "a.example")
    {
        return "vhosts/system/" + domain + "/logs/" + log + ".webstat";
    }

    Outcome run(const std::vector<std::string> &words = {}) const
    {
        std::vector<std::string> command = {STATISTICS_RUN};
        command.insert(command.end(), words.begin(), words.end());
        const Outcome outcome = run_program(command);
        return {replace_all(outcome.out, root(), "@"), replace_all(outcome.err, root(), "@"), outcome.status};
    }

    // How the stand-ins were called.
    std::string calls() const { return replace_all(read_file("calls"), root(), "@"); }

    static std::string offered(const std::string &log) { return read_file("offered/a.example/" + log); }

    const SampleServer server;
};

// A text in which LOG stands for the path of a log of a.example, NAME for its name, and so on.
inline std::string text_of(const Log &log, const std::string &text)
{
    std::string filled = replace_all(text, "LOG", "@/vhosts/system/a.example/logs/NAME.webstat");
    filled = replace_all(filled, "DIRECTORY", log.directory);
    filled = replace_all(filled, "SERVICE", log.service);
    return replace_all(replace_all(filled, "FORMAT", log.format), "NAME", log.name);
}

inline std::string parent_line(const Log &log)
{
    return "Skip log `" + log.name + "' because it has parent `" + log.name.substr(sizeof "proxy") + "'\n";
}

const std::string preparation_lines = "Starting...\nExecuting logs preparation... \n";

const std::string preparation_call = ": @/panel/admin/sbin/statistics_log_processor \n";
