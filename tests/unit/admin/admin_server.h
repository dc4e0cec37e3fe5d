#pragma once

#include "server/sample_server.h"
#include "support.h"

#include <sstream>

// A shell's deed and the lines that come of it.
struct Case {
    std::string deed;
    std::string lines;
};

// The cases of a text in which each deed is a line that begins with "$ ".
inline std::vector<Case> cases_of(const std::string &text)
{
    std::vector<Case> cases;
    std::istringstream deeds(text);
    std::string line;
    for (std::getline(deeds, line); std::getline(deeds, line);) {
        if (line[0] == '$') {
            cases.push_back({line.substr(2), ""});
        } else {
            cases.back().lines += line + "\n";
        }
    }
    return cases;
}

// statistics_admin, "$A" in deeds, on a server in the temporary directory, at noon of 15 May 2024; in what comes of a
// deed, "V" and "P" stand for the directories of the domains and of the panel, and "@" for that of the server. There are
// three domains: a.example has AWStats, with data and pages of this month and the last, w.example has Webalizer, and
// n.example nothing.
class AdminServer : public InTempDir
{
protected:
    AdminServer() : server(root())
    {
        ::setenv("A", STATISTICS_ADMIN, 1);
        ::setenv("PAGES", pages.c_str(), 1);
        ::setenv("TEST_TIME", "2024-05-15 12:00", 1);
        ::setenv("TZ", "UTC0", 1);
        ::setenv("V", "vhosts/system", 1);
        lay_out();
    }

    void lay_out() const
    {
        server.layOut();
        write_file("lock_of_runs/lock", "");
        fs::create_directories("panel/var/log_positions");
        server.addDomain("a.example", Kind::awstats, {});
        server.addDomain("n.example", Kind::none, {});
        server.addDomain("w.example", Kind::webalizer, {});
        for (const std::string month : {"04", "05"}) {
            write_file("panel/var/awstats/awstats" + month + "2024.a.example-http.txt", "data\n");
            write_file(pages + "/2024-" + month + "/awstats.a.example-http.html", "page\n");
            fs::create_symlink("awstats.a.example-http.html", pages + "/2024-" + month + "/index.html");
        }
        fs::create_symlink("2024-05", pages + "/current");
    }

    // What comes of the deed on both streams.
    std::string shell(const std::string &deed) const
    {
        const std::string said = run_program({"/bin/sh", "-ec", "exec 2>&1; " + deed}).out;
        const std::string domains = replace_all(said, root() + "/vhosts/system", "V");
        return replace_all(replace_all(domains, root() + "/panel", "P"), root(), "@");
    }

    // That this is what comes of each deed, on a server that is laid out anew, with what is done then.
    void expect_lines(const std::string &cases, const std::string &then = "") const
    {
        for (const Case &expected : cases_of(cases)) {
            lay_out();
            EXPECT_EQ(shell("{ " + expected.deed + "; }" + then), expected.lines) << expected.deed;
        }
    }

    const std::string pages = "vhosts/system/a.example/statistics/webstat";
    const SampleServer server;
};
