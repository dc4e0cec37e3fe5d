#include "webalizer/webalizer_run.h"

#include "config/server_config.h"
#include "domain/domains.h"
#include "util/bounded_format.h"
#include "util/log_line.h"
#include "util/shell_command.h"
#include "util/shell_quote.h"
#include "webalizer/truncate_log.h"

#include <boost/filesystem.hpp>

#include <sys/stat.h>

#include <cstdio>

namespace fs = boost::filesystem;

namespace
{

bool has_records(const std::string &log)
{
    struct stat status = {};
    if (::stat(log.c_str(), &status) != 0) {
        return false;
    }
    return S_ISREG(status.st_mode) ? status.st_size != 0 : fs::file_size(log) != 0;
}

// "<program> -c <configuration> -n <domain> -D <DNS cache> ", the beginning of every command. The
// program may have options behind it.
std::string command_start(const DomainPaths &paths)
{
    const std::string cache =
        std::string(conf_get(PRODUCT_ROOT_D)) + "/var/webalizer/webalizer.cache";
    return std::string(conf_get(WEB_STAT)) + " -c " +
           shell_quote(webalizer_conf_path(paths.domain, paths.vhosts_root)) + " -n " +
           shell_quote(paths.domain) + " -D " + shell_quote(cache) + " ";
}

// "<type of the log> - < <log>"
std::string log_arguments(const LogSource &source, const std::string &log)
{
    return std::string(log_format_flags[source.format]) + " - < " + shell_quote(log);
}

// Prints and runs the command, cut to its buffer.
int run_command(const std::string &command)
{
    const std::string cut = command.substr(0, bounded_buffer_size - 1);
    std::printf("\n%s\n", cut.c_str());
    return popen_exec(cut.c_str());
}

void fill_dns_cache(const DomainPaths &paths)
{
    for (const LogSource &source : log_sources) {
        const std::string log = prepared_log_path(paths, source);
        if (has_records(log)) {
            log_line("Processing the log " + log + " for DNS cache");
            run_command(command_start(paths) + "-N 15 " + log_arguments(source, log));
        }
    }
}

void make_pages(const DomainPaths &paths, const LogSource &source, const std::string &log)
{
    const std::string output_dir = shell_quote(statistics_subdir_path(paths, source));
    const std::string command = command_start(paths) + "-p -N 0 -o " + output_dir + " " +
                                log_arguments(source, log) + " 2>&1";
    const int result = run_command(command);
    const bool was_cut = command.size() >= bounded_buffer_size;
    if (was_cut) {
        std::printf("The command is longer than %zu characters and was cut.\n",
                    bounded_buffer_size - 1);
    }
    if (result != 0 || was_cut) {
        std::printf("The log will not be truncated because of errors above.\n");
    } else {
        truncate_log(log);
    }
}

// Returns false if the log's output directory can't be made.
bool process_log(const DomainPaths &paths, const LogSource &source)
{
    const std::string log = prepared_log_path(paths, source);
    if (!has_own_statistics(source)) {
        std::printf("Skip log `%s' because it has parent `%s'\n", source.log_name,
                    parent_log_name(source));
    } else if (!has_records(log)) {
        std::printf("Skip log %s because it is empty or does not exists\n", log.c_str());
    } else if (make_statistics_dir(paths.domain, source)) {
        make_pages(paths, source, log);
    } else {
        return false;
    }
    return true;
}

} // namespace

void webalizer_run(const std::string &domain)
{
    std::printf("Executing webalizer...\n");
    const DomainPaths paths = domain_paths(domain);
    fill_dns_cache(paths);
    for (const LogSource &source : log_sources) {
        if (!process_log(paths, source)) {
            return;
        }
    }
}
