#include "server/sample_server.h"

#include "support.h"

#include <algorithm>
#include <fstream>
#include <set>

namespace
{

const std::string configuration = "HTTPD_VHOSTS_D @/vhosts\nPRODUCT_ROOT_D @/panel\nWEB_STAT @/bin/webalizer\n"
                                  "AWSTATS_BIN_D @/bin\nAWSTATS_TOOLS_D @/tools\n";
const std::string programs[] = {"bin/webalizer", "bin/awstats.pl", "tools/awstats_buildstaticpages.pl",
                                "panel/admin/sbin/statistics_log_processor"};
const std::string outside[] = {"/outside/file", "/outside/directory/access_log.webstat",
                               "/outside/directory/index.html"};
const std::set<std::string> noted = {"/calls", "/complaints", "/fail", "/fail_late", "/ledger", "/names", "/offered"};

std::string record(const std::string &domain, const std::string &log, std::size_t number)
{
    const std::string address = domain + "/" + log + "/" + std::to_string(number);
    return R"(192.0.2.17 - - [15/May/2024:10:00:00 +0000] "GET /)" + address + R"( HTTP/1.1" 200 2326 "-" "-")" + "\n";
}

std::string description(const fs::path &path)
{
    const fs::file_type type = fs::symlink_status(path).type();
    const std::string kind = std::to_string(type) + " " + attributes(path.string());
    if (type == fs::symlink_file) {
        return kind + " " + fs::read_symlink(path).string();
    }
    return type == fs::regular_file ? kind + "\n" + read_file(path.string()) : kind;
}

std::vector<fs::path> entries_of(const std::string &directory)
{
    boost::system::error_code none;
    return {fs::directory_iterator(directory, none), {}};
}

std::set<std::string> lines_below(const std::string &directory)
{
    std::set<std::string> found;
    for (const fs::path &file : entries_of(directory)) {
        const std::vector<std::string> lines = lines_of(file.string());
        found.insert(lines.begin(), lines.end());
    }
    return found;
}

} // namespace

const Log all_logs[6] = {
    {"access_log", "clf", "webstat", "http"},
    {"access_ssl_log", "clf", "webstat-ssl", "https"},
    {"proxy_access_log", "clf", "", ""},
    {"proxy_access_ssl_log", "clf", "", ""},
    {"xferlog", "ftp", "anon_ftpstat", "anon_ftp"},
    {"xferlog_regular", "ftp", "ftpstat", "ftp"},
};

void append(Violations &wrong, const Violations &more, const std::string &prefix)
{
    for (const std::string &text : more) {
        wrong.push_back(prefix + text);
    }
}

Violations differences(const Snapshot &wanted, const Snapshot &found)
{
    Violations different;
    for (const auto &[path, what] : wanted) {
        const auto at = found.find(path);
        if (at == found.end() || at->second != what) {
            different.push_back(path + (at == found.end() ? " is missing" : " has changed"));
        }
    }
    for (const auto &entry : found) {
        if (wanted.count(entry.first) == 0) {
            different.push_back(entry.first + " is left over");
        }
    }
    return different;
}

std::vector<std::string> lines_of(const std::string &path)
{
    std::vector<std::string> lines;
    boost::system::error_code error;
    std::ifstream file(fs::is_regular_file(path, error) ? path : "");
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string SampleServer::domainPath(const std::string &domain) const
{
    return root_ + "/vhosts/system/" + domain;
}

std::string SampleServer::preparedLog(const std::string &domain, const std::string &log) const
{
    return domainPath(domain) + "/logs/" + log + ".webstat";
}

void SampleServer::layOut(const std::string &program) const
{
    for (const fs::path &entry : entries_of(root_)) {
        fs::remove_all(entry);
    }
    for (const char *const directory : {"vhosts/system", "panel/etc/awstats", "ledger", "offered"}) {
        fs::create_directories(root_ + "/" + directory);
    }
    write_file(root_ + "/etc/zut/zut.conf", replace_all(configuration, "@", root_));
    write_file(root_ + "/panel/var/webalizer/webalizer.cache", "names\n");
    const std::string text = read_file(program);
    for (const std::string &path : programs) {
        write_file(root_ + "/" + path, text);
        fs::permissions(root_ + "/" + path, fs::owner_all);
    }
    for (const std::string &path : outside) {
        write_file(root_ + path, "Outside\n");
    }
}

void SampleServer::addDomain(const std::string &domain, Kind kind, const std::vector<std::string> &logs) const
{
    const std::string path = domainPath(domain);
    for (const char *const directory : {"logs", "conf", "statistics"}) {
        fs::create_directories(path + "/" + directory);
    }
    if (kind == Kind::webalizer) {
        write_file(path + "/conf/webalizer.conf", "");
    }
    for (const Log &log : {all_logs[0], all_logs[5]}) {
        if (kind == Kind::awstats) {
            write_file(root_ + "/panel/etc/awstats/awstats." + domain + "-" + log.service + ".conf", "");
            fs::create_directories(path + "/statistics/" + log.directory);
        }
    }
    for (const std::string &log : logs) {
        write_file(preparedLog(domain, log), record(domain, log, 0));
        if (kind != Kind::none) {
            write_file(root_ + "/offered/" + domain + "/" + log, record(domain, log, 0));
        }
    }
}

void SampleServer::addSampleDomains() const
{
    const std::vector<std::string> logs = {"access_log", "proxy_access_log", "xferlog_regular"};
    addDomain("a.example", Kind::none);
    addDomain("b.example", Kind::webalizer, logs);
    addDomain("c.example", Kind::awstats, logs);
    addDomain("d.example", Kind::none);
    const std::string statistics = domainPath("c.example") + "/statistics/webstat";
    write_file(domainPath("c.example") + "/conf/stat_ttl.conf", "12\n");
    write_file(domainPath("c.example") + "/conf/next_month", "");
    write_file(statistics + "/2024-03/page", "March\n");
    write_file(statistics + "/2023-04/icons/icon", "Icon\n");
    fs::create_symlink("2024-03", statistics + "/current");
    fs::create_symlink(root_ + "/outside/directory", statistics + "/2023-04/directory");
    fs::create_symlink(root_ + "/outside/file", statistics + "/2023-04/icons/file");
}

void SampleServer::bringRecords(bool prepared) const
{
    for (const fs::path &directory : entries_of(root_ + "/offered")) {
        for (const fs::path &offered : entries_of(directory.string())) {
            const std::string domain = directory.filename().string();
            const std::string log = offered.filename().string();
            const std::size_t count = lines_of(offered.string()).size();
            const std::string text = record(domain, log, count) + (prepared ? "" : record(domain, log, count + 1));
            const std::string path = prepared ? preparedLog(domain, log) : domainPath(domain) + "/logs/" + log;
            std::ofstream(path, std::ios::app) << text;
            std::ofstream(offered.string(), std::ios::app) << text;
        }
    }
}

Violations SampleServer::judge() const
{
    Violations wrong = lines_of(root_ + "/complaints");
    for (const std::string &path : outside) {
        if (lines_of(root_ + path) != std::vector<std::string>{"Outside"}) {
            wrong.push_back(path + " has changed");
        }
    }
    const std::set<std::string> taken_in = lines_below(root_ + "/ledger");
    for (const fs::path &domain : entries_of(root_ + "/offered")) {
        const std::set<std::string> waiting = lines_below(domainPath(domain.filename().string()) + "/logs");
        for (const std::string &line : lines_below(domain.string())) {
            if (taken_in.count(line) + waiting.count(line) == 0) {
                wrong.push_back("lost: " + line);
            }
        }
    }
    return wrong;
}

Snapshot SampleServer::look() const
{
    Snapshot found;
    for (fs::recursive_directory_iterator entry(root_), end; entry != end; ++entry) {
        const std::string path = entry->path().string().substr(root_.size());
        if (noted.count(path) == 0) {
            found[path] = description(entry->path());
        } else {
            entry.disable_recursion_pending();
        }
    }
    return found;
}
