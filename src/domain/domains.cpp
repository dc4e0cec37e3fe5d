#include "domain/domains.h"

#include "config/server_config.h"
#include "util/directories.h"
#include "util/log_line.h"

#include <boost/filesystem.hpp>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>

namespace fs = boost::filesystem;

namespace
{

std::string system_dir(const std::string &vhosts_root)
{
    return vhosts_root + "/system/";
}

WebstatKind kind_of(const DomainPaths &paths)
{
    if (fs::exists(webalizer_conf_path(paths.domain, paths.vhosts_root))) {
        return webstat_webalizer;
    }
    if (fs::exists(awstats_conf_path(paths.domain, "http"))) {
        return webstat_awstats;
    }
    return webstat_none;
}

bool means_missing(const boost::system::error_code &error)
{
    return error == boost::system::errc::no_such_file_or_directory ||
           error == boost::system::errc::not_a_directory;
}

} // namespace

std::string domains_dir_path()
{
    return system_dir(conf_get(HTTPD_VHOSTS_D));
}

DomainPaths domain_paths(const std::string &domain)
{
    return {domain, conf_get(HTTPD_VHOSTS_D)};
}

std::string logs_dir_path(const DomainPaths &paths)
{
    return system_dir(paths.vhosts_root) + paths.domain + "/logs/";
}

std::string prepared_log_path(const DomainPaths &paths, const LogSource &source)
{
    return logs_dir_path(paths) + prepared_log_name(source.log_name);
}

std::string domain_conf_path(const DomainPaths &paths, const std::string &name)
{
    return system_dir(paths.vhosts_root) + paths.domain + "/conf/" + name;
}

std::string statistics_dir_path(const DomainPaths &paths)
{
    return system_dir(paths.vhosts_root) + paths.domain + "/statistics/";
}

std::string statistics_subdir_path(const DomainPaths &paths, const LogSource &source)
{
    return statistics_dir_path(paths) + source.webstat_dir;
}

std::string webalizer_conf_path(const std::string &domain, const std::string &vhosts_root)
{
    return domain_conf_path({domain, vhosts_root}, "webalizer.conf");
}

std::string awstats_conf_path(const std::string &domain, const std::string &service)
{
    return std::string(conf_get(PRODUCT_ROOT_D)) + "/etc/awstats/awstats." + domain + "-" +
           service + ".conf";
}

void collect_all_domains(DomainKindMap &map)
{
    const fs::path directory = domains_dir_path();
    for (const fs::directory_entry &entry : fs::directory_iterator(directory)) {
        log_line("Check domain " + entry.path().string());
        if (fs::is_directory(fs::status(entry.path()))) {
            check_domain(map, entry.path().filename().string());
        }
    }
}

void check_domain(DomainKindMap &map, const std::string &domain)
{
    const DomainPaths paths = domain_paths(domain);
    if (!fs::exists(logs_dir_path(paths))) {
        log_line("Domain " + domain + " not exists, skip it");
        return;
    }
    map.emplace(domain, kind_of(paths));
}

void remove_prepared_logs(const std::string &domain)
{
    const DomainPaths paths = domain_paths(domain);
    for (const LogSource &source : log_sources) {
        const std::string path = prepared_log_path(paths, source);
        boost::system::error_code error;
        fs::remove(path, error);
        if (error && !means_missing(error)) {
            log_line("Unable to remove " + path + " : " + error.message());
        }
    }
}

bool make_statistics_dir(const std::string &domain, const LogSource &source)
{
    const std::string path = statistics_subdir_path(domain_paths(domain), source);
    if (make_dir_owned(path.c_str(), 0, 0, 0755) != 0) {
        std::printf("Error: unable to create directory for statistics (%s): %s", path.c_str(),
                    std::strerror(errno));
        return false;
    }
    return true;
}

int read_stat_ttl(const std::string &domain)
{
    const std::string path = domain_conf_path(domain_paths(domain), "stat_ttl.conf");
    int months = 0;
    if (fs::is_regular_file(fs::status(path))) { // a FIFO would hold the run
        std::ifstream file(path);
        file >> months;
    }
    return months;
}
