#include "webalizer/webalizer_run.h"

#include "config/server_config.h"
#include "domain/domains.h"
#include "util/bounded_format.h"
#include "util/log_line.h"
#include "util/shell_command.h"
#include "util/shell_quote.h"
#include "webalizer/truncate_log.h"

#include <boost/filesystem.hpp>

#include <cstdio>

namespace fs = boost::filesystem;

namespace
{

bool has_records(const std::string &log)
{
    boost::system::error_code error;
    const fs::file_status status = fs::status(log, error);
    const bool present = status.type() != fs::file_not_found && status.type() != fs::status_error;
    return present && fs::file_size(log) != 0;
}

// "<program> -c <configuration> -n <domain> -D <DNS cache>", the beginning of every command.
std::string command_start(const DomainPaths &paths)
{
    const std::string cache =
        std::string(conf_get(PRODUCT_ROOT_D)) + "/var/webalizer/webalizer.cache";
    return shell_quote(conf_get(WEB_STAT)) + " -c " +
           shell_quote(webalizer_conf_path(paths.domain, paths.vhosts_root)) + " -n " +
           shell_quote(paths.domain) + " -D " + shell_quote(cache);
}

std::string dns_command(const DomainPaths &paths, const LogSource &source)
{
    return format_bounded("%s -N 15 %s - < %s", command_start(paths).c_str(),
                          log_format_flags[source.format],
                          shell_quote(prepared_log_path(paths, source)).c_str());
}

std::string pages_command(const DomainPaths &paths, const LogSource &source)
{
    return format_bounded("%s -p -N 0 -o %s %s - < %s 2>&1", command_start(paths).c_str(),
                          shell_quote(statistics_subdir_path(paths, source)).c_str(),
                          log_format_flags[source.format],
                          shell_quote(prepared_log_path(paths, source)).c_str());
}

int run_command(const std::string &command)
{
    std::printf("\n%s\n", command.c_str());
    return popen_exec(command.c_str());
}

void fill_dns_cache(const DomainPaths &paths)
{
    for (const LogSource &source : log_sources) {
        const std::string log = prepared_log_path(paths, source);
        if (has_records(log)) {
            log_line("Processing the log " + log + " for DNS cache");
            run_command(dns_command(paths, source));
        }
    }
}

// Returns false if the log's output directory can't be made.
bool make_pages(const DomainPaths &paths, const LogSource &source)
{
    if (!has_own_statistics(source)) {
        std::printf("Skip log `%s' because it has parent `%s'\n", source.log_name,
                    parent_log_name(source));
        return true;
    }
    const std::string log = prepared_log_path(paths, source);
    if (!has_records(log)) {
        std::printf("Skip log %s because it is empty or does not exists\n", log.c_str());
        return true;
    }
    if (!make_statistics_dir(paths.domain, source)) {
        return false;
    }
    const std::string command = pages_command(paths, source);
    // A command that fills its buffer may have lost its end, and with it the log that it reads.
    const bool may_be_cut = command.size() == bounded_buffer_size - 1;
    if (run_command(command) != 0 || may_be_cut) {
        std::printf("The log will not be truncated because of errors above.\n");
    } else {
        truncate_log(log);
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
        if (!make_pages(paths, source)) {
            return;
        }
    }
}
