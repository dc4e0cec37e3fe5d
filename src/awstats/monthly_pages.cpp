#include "awstats/monthly_pages.h"

#include "config/server_config.h"
#include "domain/time_to_live.h"
#include "exec/ExecCmd.h"
#include "util/bounded_format.h"
#include "util/directories.h"
#include "util/log_line.h"
#include "util/owned.h"
#include "util/report.h"
#include "util/shell_command.h"
#include "util/unchanged.h"

#include <boost/filesystem.hpp>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace fs = boost::filesystem;

namespace
{

bool exists(const std::string &path)
{
    struct stat status = {};
    return ::lstat(path.c_str(), &status) == 0;
}

// Makes the path a link to the target, in place of whatever file or link is there; one that is such
// a link already stays. Returns false, with errno set, if that fails.
bool make_link(const std::string &target, const std::string &path)
{
    if (is_link_to(path.c_str(), target.c_str())) {
        return true;
    }
    ::unlink(path.c_str());
    return ::symlink(target.c_str(), path.c_str()) == 0;
}

void make_month_dir(const std::string &path)
{
    make_dir_owned(path.c_str(), 0, 0, 0755);
}

std::string config_name(const DomainPaths &paths, const LogSource &source)
{
    return paths.domain + "-" + source.service;
}

tm previous_month()
{
    const time_t now = std::time(nullptr);
    tm month = {};
    ::localtime_r(&now, &month);
    if (month.tm_mon == 0) {
        --month.tm_year;
        month.tm_mon = 11;
    } else {
        --month.tm_mon;
    }
    return month;
}

std::string format_month(const tm &month)
{
    char text[bounded_buffer_size] = "";
    std::strftime(text, sizeof text, "%Y-%m", &month);
    return text;
}

std::string month_copy(time_t time)
{
    const Malloced<char> copy(xasprintf("%s", month_string(&time)));
    return copy.get();
}

void add_page_arguments(korvo::ExecCmd &command, const std::string &config, const std::string &dir,
                        const tm &month)
{
    command.setEnv("AWSTATS_ENABLE_CONFIG_DIR", "yes");
    command.addArg("-awstatsprog").addArg(std::string(conf_get(AWSTATS_BIN_D)) + "/awstats.pl");
    command.addArg("-configdir").addArg(std::string(conf_get(PRODUCT_ROOT_D)) + "/etc/awstats");
    command.addArg("-config").addArg(config);
    command.addArg("-dir").addArg(dir);
    command.addArg("-month").addArg(std::to_string(month.tm_mon + 1));
    command.addArg("-year").addArg(std::to_string(month.tm_year + 1900));
}

std::string month_dir_path(const DomainPaths &paths, const LogSource &source, const tm &month)
{
    return statistics_dir_path(paths) + "/" + source.webstat_dir + "/" + format_month(month);
}

// Makes the month's pages and its index link, in a directory that must be there.
bool fill_month_dir(const DomainPaths &paths, const LogSource &source, const tm &month)
{
    const std::string month_dir = month_dir_path(paths, source, month);
    const std::string config = config_name(paths, source);
    korvo::ExecCmd command(std::string(conf_get(AWSTATS_TOOLS_D)) + "/awstats_buildstaticpages.pl");
    add_page_arguments(command, config, month_dir, month);
    try {
        command.run();
        const std::string target = "awstats." + config + ".html";
        const std::string link = month_dir + "/index.html";
        if (make_link(target, link)) {
            return true;
        }
        log_line("Error: symlink " + target + " " + link + ": " + std::strerror(errno));
    } catch (const korvo::ExecCmd::ExFailed &failure) {
        log_line(failure.what());
    }
    return false;
}

// Where one log's months lie.
struct MonthDirs {
    std::string statistics_dir;
    std::string subdirectory;

    std::string whole_path(const std::string &entry) const
    {
        return statistics_dir + "/" + subdirectory + "/" + entry;
    }
    std::string path(const std::string &entry) const
    {
        return format_bounded("%s", whole_path(entry).c_str());
    }
};

// Returns whether the link is right.
bool point_current_at_this_month(const MonthDirs &dirs, int months)
{
    const time_t now = std::time(nullptr);
    const std::string current = month_copy(now);
    const std::string current_dir = dirs.path(current);
    // Not cut: the cut path could be a directory above.
    const std::string old_dir = dirs.whole_path(month_copy(expiring_time(now, months)));
    const std::string link = dirs.path("current");
    if (exists(old_dir)) {
        remove_tree(old_dir.c_str(), true);
    }
    if (!exists(current_dir)) {
        make_month_dir(current_dir);
    }
    if (!make_link(current, link)) {
        log_line("Unable to symlink from " + current_dir + "to current_dir");
        return false;
    }
    return true;
}

} // namespace

bool build_month_pages(const DomainPaths &paths, const LogSource &source, const tm &month)
{
    make_month_dir(month_dir_path(paths, source, month));
    return fill_month_dir(paths, source, month);
}

void build_previous_month_pages(const DomainPaths &paths, const LogSource &source,
                                const std::string &marker_path)
{
    boost::system::error_code error;
    const fs::file_type marker = fs::status(marker_path, error).type();
    if (marker == fs::file_not_found || marker == fs::status_error) {
        return;
    }
    const tm month = previous_month();
    log_line(
        "Previous month detected in logs, force awstats pages regeneration for previous month");
    // The bare name is looked up in the working directory, where it is not usually found.
    if (exists(source.webstat_dir)) {
        fill_month_dir(paths, source, month);
    } else {
        build_month_pages(paths, source, month);
    }
    fs::remove(marker_path, error);
}

bool build_current_month_pages(const DomainPaths &paths, const LogSource &source)
{
    const int months = months_kept(read_stat_ttl(paths.domain));
    std::printf("Stat_ttl for the domain is %d.\n", months);
    const MonthDirs dirs = {statistics_dir_path(paths), source.webstat_dir};
    const bool is_current = point_current_at_this_month(dirs, months);

    ::setenv("AWSTATS_ENABLE_CONFIG_DIR", "yes", 1);
    const std::string current = dirs.path("current");
    const std::string command = format_bounded(
        "%s/awstats_buildstaticpages.pl -awstatsprog=%s/awstats.pl -configdir=%s/etc/awstats "
        "-config=%s-%s -dir=%s",
        conf_get(AWSTATS_TOOLS_D), conf_get(AWSTATS_BIN_D), conf_get(PRODUCT_ROOT_D),
        paths.domain.c_str(), source.service, current.c_str());
    if (popen_exec(command.c_str()) != 0) {
        log_line("Error: Unable to execute " + command);
        return false;
    }
    const std::string target =
        format_bounded("awstats.%s-%s.html", paths.domain.c_str(), source.service);
    if (!make_link(target, format_bounded("%s/index.html", current.c_str()))) {
        log_line("Unable to symlink from" + target + "to index.html");
        return false;
    }
    return is_current;
}

const char *month_string(const time_t *time)
{
    static char text[bounded_buffer_size];
    tm local = {};
    if (::localtime_r(time, &local) == nullptr ||
        std::strftime(text, sizeof text, "%Y-%m", &local) == 0) {
        return nullptr;
    }
    return text;
}
