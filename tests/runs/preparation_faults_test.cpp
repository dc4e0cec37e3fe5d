#include "server/sweep.h"

#include <cstdlib>
#include <fstream>

namespace
{

const char *const logs = "v/system/d/logs/";
const char *const marker = "v/system/d/conf/prev_month.found";
const char *const names[] = {"access_log", "access_ssl_log", "xferlog"};

void add_to(const std::string &path, const std::string &text)
{
    std::ofstream(path, std::ios::app) << text;
}

std::string line(const char *name, int number)
{
    const bool is_ftp = std::string(name) == "xferlog";
    return (is_ftp ? "Tue Apr 30 12:00:00 2024 " : "- [30/Apr/2024:12:00:00 +0000] ") + std::to_string(number) + "\n";
}

Outcome prepare_logs()
{
    return run_program({STATISTICS_LOG_PROCESSOR});
}

// One log is rotated between a line that is taken and one that is not; of another one, which was
// copied and truncated and lies behind a link, the prepared log is empty; the third one is new. Lines
// that the generators take in lie below fed.
void lay_out()
{
    for (const char *const directory : {"v", "p", "fed", "raw"}) {
        fs::remove_all(directory);
    }
    write_file("etc/zut/zut.conf", "HTTPD_VHOSTS_D v\nPRODUCT_ROOT_D p\n");
    fs::create_directories("p/var");
    write_file(marker, "");
    fs::create_directories("raw");
    fs::create_directories(logs);
    fs::create_symlink("../../../../raw/access_ssl_log", std::string(logs) + "access_ssl_log");
    for (const char *const name : {names[0], names[1]}) {
        write_file(std::string(logs) + name, line(name, 1));
    }
    write_file("fed/access_ssl_log", line(names[1], 1));
    EXPECT_EQ(prepare_logs().status, 0);
    fs::remove(marker);
    fs::resize_file(std::string(logs) + "access_ssl_log.webstat", 0);
    for (const char *const name : names) {
        add_to(std::string(logs) + name, line(name, 2));
    }
    const std::string access_log = std::string(logs) + "access_log";
    EXPECT_EQ(
        run_program({"sh", "-c", "mv $0 $0.1; gzip $0.1; cp $1 $1.1; : >$1", access_log, "raw/access_ssl_log"}).status,
        0);
    for (const char *const name : {names[0], names[1]}) {
        add_to(std::string(logs) + name, line(name, 3));
    }
}

// What a run does with the prepared logs that it finds: generators take in all that is there.
Violations feed()
{
    Violations wrong;
    for (const char *const name : names) {
        const std::string path = std::string(logs) + name + ".webstat";
        const std::string lines = exists(path) ? read_file(path) : "";
        if (lines.find("2\n") != std::string::npos && !exists(marker)) {
            wrong.push_back(path + " has lines of the previous month without a marker");
        }
        add_to(std::string("fed/") + name, lines);
        if (exists(path)) {
            fs::resize_file(path, 0);
        }
    }
    fs::remove(marker);
    return wrong;
}

Violations judge(const Outcome &outcome, const Fault &fault)
{
    Violations wrong;
    if (!fault.killed && (outcome.status != 0) != !outcome.err.empty()) {
        wrong.push_back("ended with " + std::to_string(outcome.status) + " and said \"" + outcome.err + '"');
    }
    append(wrong, feed());
    const Outcome next = prepare_logs();
    if (next.status != 0) {
        wrong.push_back("the next one: " + next.err);
    }
    append(wrong, feed());
    for (const char *const name : names) {
        const std::string all = name == names[2] ? line(name, 2) : line(name, 1) + line(name, 2) + line(name, 3);
        const std::string fed = read_file(std::string("fed/") + name);
        if (fed != all) {
            wrong.push_back(std::string(name) + " came over as " + fed);
        }
    }
    return wrong;
}

} // namespace

using PreparationFaults = InTempDir;

// Whatever call of log preparation fails or is its last: each line is taken in by a generator once,
// though a run takes in what it finds right afterwards.
TEST_F(PreparationFaults, OfSystemCalls)
{
    ::setenv("TEST_TIME", "2024-05-15 12:00", 1);
    Accepted nothing("/dev/null");
    Sweep{{STATISTICS_LOG_PROCESSOR}, lay_out, judge}.run(nothing);
}
