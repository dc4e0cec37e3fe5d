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

    Outcome run(std::vector<std::string> words = {}) const
    {
        words.insert(words.begin(), STATISTICS_RUN);
        const Outcome outcome = run_program(words);
        return {replace_all(outcome.out, root(), "@"), replace_all(outcome.err, root(), "@"), outcome.status};
    }

    // How the stand-ins were called.
    std::string calls() const { return replace_all(read_file("calls"), root(), "@"); }

    static std::string offered(const std::string &log) { return read_file("offered/a.example/" + log); }

    const SampleServer server;
};

const std::string preparation_lines = "Starting...\nExecuting logs preparation... \n";

const std::string preparation_call = ": @/panel/admin/sbin/statistics_log_processor \n";

inline std::string parent_line(const Log &log)
{
    return "Skip log `" + log.name + "' because it has parent `" + log.name.substr(sizeof "proxy") + "'\n";
}
