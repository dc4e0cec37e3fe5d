#pragma once

#include "server/sample_server.h"
#include "support.h"

// statistics_admin on a server in the temporary directory, at noon of 15 May 2024; "@" stands for the directory's path
// in what it prints. There are three domains: a.example has AWStats, with data and pages of this month and the last,
// w.example has Webalizer, and n.example nothing.
class AdminServer : public InTempDir
{
protected:
    AdminServer() : server(root())
    {
        ::setenv("TEST_TIME", "2024-05-15 12:00", 1);
        ::setenv("TZ", "UTC0", 1);
        lay_out();
    }

    void lay_out() const
    {
        server.layOut();
        write_file("lock_of_runs/lock", "");
        server.addDomain("a.example", Kind::awstats, {});
        server.addDomain("n.example", Kind::none, {});
        server.addDomain("w.example", Kind::webalizer, {});
        for (const std::string month : {"04", "05"}) {
            write_file("panel/var/awstats/awstats" + month + "2024.a.example-http.txt", "data\n");
            write_file(pages + "/2024-" + month + "/awstats.a.example-http.html", "page\n");
        }
        fs::create_symlink("2024-05", pages + "/current");
    }

    Outcome admin(const std::string &words) const { return shell(STATISTICS_ADMIN " " + words); }

    Outcome shell(const std::string &command) const
    {
        const Outcome outcome = run_program({"/bin/sh", "-ec", command});
        return {replace_all(outcome.out, root(), "@"), replace_all(outcome.err, root(), "@"), outcome.status};
    }

    const std::string pages = "vhosts/system/a.example/statistics/webstat";
    const SampleServer server;
};
