#pragma once

#include "support.h"

#include <string>
#include <vector>

// A run of the whole program over a tree in the temporary directory; "@" stands for its path in
// what the program prints. The generators are stand-ins that note their arguments and what they
// are fed in the file "ledger", say something on both streams, and fail where their arguments match
// the shell pattern in the file "fail".
class WholeRun : public InTempDir
{
protected:
    WholeRun();

    static std::string log(const std::string &domain, const std::string &name)
    {
        return "v/system/" + domain + "/logs/" + name + ".webstat";
    }

    // Makes a domain, with one record in each of the prepared logs that are named.
    static void add_domain(const std::string &domain, bool webalizer,
                           const std::vector<std::string> &logs);

    Outcome run(const std::vector<std::string> &arguments = {}) const;
};

inline const char *const preparation_lines = "Starting...\nExecuting logs preparation... \n";
inline const char *const proxy_lines =
    "Skip log `proxy_access_log' because it has parent `access_log'\n"
    "Skip log `proxy_access_ssl_log' because it has parent `access_ssl_log'\n";
