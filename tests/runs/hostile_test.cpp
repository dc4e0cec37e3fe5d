// Runs over trees that mean harm.

#include "server/whole_run.h"

#include <sys/sysmacros.h>

namespace
{

const std::string domains = "vhosts/system/";
const std::string statistics = "vhosts/system/c.example/statistics/webstat";

// Places of a tree where customers, or accidents, could put something else.
const std::vector<std::string> files = {domains + "a.example/logs/access_log.webstat",
                                        domains + "b.example/logs/access_log.webstat",
                                        domains + "b.example/logs/proxy_access_log.webstat",
                                        domains + "b.example/conf/webalizer.conf",
                                        domains + "c.example/logs/proxy_access_log.webstat",
                                        domains + "c.example/conf/stat_ttl.conf",
                                        domains + "c.example/conf/prev_month.found",
                                        statistics + "/index.html",
                                        statistics + "/nav.html",
                                        statistics + "/2024-05/index.html",
                                        statistics + "/2023-04/page"};
const std::vector<std::string> directories = {domains + "a.example",
                                              domains + "b.example/logs",
                                              domains + "b.example/conf",
                                              domains + "b.example/statistics",
                                              domains + "b.example/statistics/webstat",
                                              domains + "c.example",
                                              domains + "c.example/logs",
                                              domains + "c.example/conf",
                                              domains + "c.example/statistics",
                                              statistics,
                                              statistics + "/current",
                                              statistics + "/2024-05",
                                              statistics + "/2024-04",
                                              statistics + "/2023-04",
                                              statistics + "/2023-04/icons",
                                              "panel/var/webalizer"};

} // namespace

class Hostile : public WholeRun
{
protected:
    // Runs the program over a changed tree, in limited time. Only the domain at the place may have lost records.
    Outcome runWith(const std::string &place, const std::string &limits = "")
    {
        Outcome outcome = run_program({"timeout", "-k1", "10", "sh", "-c", limits + "exec $0", STATISTICS_RUN});
        EXPECT_TRUE(outcome.status == 0 || outcome.status == 1 || outcome.status == -SIGABRT)
            << place << ": " << outcome.status;
        const std::string domain = place.substr(0, domains.size()) == domains ? place.substr(domains.size(), 9) : "/";
        for (const std::string &text : server.judge()) {
            EXPECT_TRUE(contains(text, domain)) << place << ": " << text;
        }
        return outcome;
    }

    void layOut() const
    {
        ::setenv("TEST_TIME", "2024-05-15 12:00", 1);
        server.layOut();
        server.addSampleDomains();
        run_program({root() + "/panel/admin/sbin/statistics_log_processor"});
    }
};

TEST_F(Hostile, NamesOfDomains)
{
    std::string all;
    for (int code = 1; code < 256; ++code) {
        all += code == '/' ? "" : std::string(1, static_cast<char>(code));
    }
    const std::vector<std::string> names = {"a b",
                                            " ",
                                            "tab\t",
                                            "quote'",
                                            "semi;touch hit;",
                                            "$(touch hit)",
                                            "`touch hit`",
                                            "\ntouch hit\n",
                                            "'; touch hit; '",
                                            "\"; touch hit; \"",
                                            "& touch hit &",
                                            "| touch hit",
                                            "> hit",
                                            "-o",
                                            "--help",
                                            "%s%n%d",
                                            "\\",
                                            "*",
                                            "~",
                                            "#",
                                            "...",
                                            std::string(200, '\''),
                                            all.substr(0, 127),
                                            all.substr(127)};
    for (const Kind kind : {Kind::none, Kind::webalizer}) {
        server.layOut();
        for (const std::string &name : names) {
            server.addDomain(name, kind);
        }
        const Outcome outcome = run();
        expect_outcome({"", "", outcome.status}, "", "");
        EXPECT_EQ(server.judge(true), Violations());
        EXPECT_FALSE(exists("hit"));
        for (const std::string &name : names) {
            EXPECT_TRUE(lines_of(server.preparedLog(name, "access_log")).empty()) << name;
        }
    }
}

TEST_F(Hostile, LinksInPlaceOfFilesAndDirectories)
{
    std::vector<std::string> places = files;
    places.insert(places.end(), directories.begin(), directories.end());
    for (const std::string &place : places) {
        for (const bool dangling : {false, true}) {
            layOut();
            if (fs::exists(place)) {
                fs::rename(place, "outside/far");
            } else if (place.find('.', place.rfind('/')) == std::string::npos) {
                fs::create_directory("outside/far");
            }
            if (dangling) {
                fs::remove_all("outside/far");
            }
            fs::remove(place);
            fs::create_directories(fs::path(place).parent_path());
            fs::create_symlink(root() + "/outside/far", place);
            runWith(place);
            const bool expired = !dangling && place == statistics + "/2023-04";
            EXPECT_EQ(exists("outside/far/icons/icon"), expired) << place; // nothing is removed through a link
        }
    }
}

TEST_F(Hostile, PipesAndDevicesInPlaceOfFiles)
{
    for (const std::string &place : files) {
        for (const dev_t device : {dev_t(0), ::makedev(1, 5), ::makedev(1, 7)}) {
            layOut();
            fs::remove_all(place);
            fs::create_directories(fs::path(place).parent_path());
            ASSERT_EQ(::mknod(place.c_str(), (device == 0 ? S_IFIFO : S_IFCHR) | 0644U, device), 0) << place;
            runWith(place);
        }
    }
}

TEST_F(Hostile, DeepTrees)
{
    for (const auto &[hard_limit, status] : {std::pair("4000", 0), std::pair("1000", 1)}) {
        layOut();
        fs::current_path(statistics + "/2023-04");
        for (int depth = 0; depth < 1000; ++depth) {
            fs::create_directory("d");
            fs::current_path("d");
        }
        fs::current_path(root());
        const std::string limits = std::string("ulimit -Sn 500; ulimit -Hn ") + hard_limit + "; ulimit -s 8192; ";
        const Outcome outcome = runWith(domains + "c.example", limits);
        EXPECT_EQ(outcome.status, status) << outcome.err;
        EXPECT_EQ(exists(statistics + "/2023-04"), status != 0);
        ASSERT_EQ(run_program({"rm", "-rf", statistics}).status, 0); // what is so deep has too long a path for others
    }
}
