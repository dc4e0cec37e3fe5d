#pragma once

#include "server/sample_server.h"
#include "support.h"

// A run of the whole program over a tree in the temporary directory; "@" stands for its path in what the program
// prints. The generators are stand-ins that note what they are fed in the file "ledger", and how they are called there or in "arguments", say
// something on both streams, and fail where their arguments match the shell pattern in the file "fail".
class WholeRun : public InTempDir
{
protected:
    WholeRun();

    static std::string log_path(const std::string &log, const std::string &domain = "a.example")
    {
        return "v/system/" + domain + "/logs/" + log + ".webstat";
    }

    // Makes a domain, with one record in each of the prepared logs that are named.
    static void add_domain(const std::string &domain, bool webalizer, const std::vector<std::string> &names);

    Outcome run(const std::vector<std::string> &arguments = {}) const;

    std::string ledger() const { return replace_all(read_file("ledger"), root(), "@"); }
};

// The line about a log of the proxy.
std::string parent_line(const Log &log);

extern const std::string preparation_lines;
