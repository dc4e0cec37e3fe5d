#include "awstats/awstats_run.h"

#include "awstats/monthly_pages.h"
#include "config/server_config.h"
#include "domain/domains.h"
#include "exec/ExecCmd.h"
#include "util/bounded_format.h"
#include "util/log_line.h"
#include "webalizer/frame_pages.h"
#include "webalizer/truncate_log.h"

#include <sys/stat.h>

namespace
{

// Whether the log exists and is not known to be empty, which only a regular file is.
bool may_have_records(const std::string &log)
{
    struct stat status = {};
    return ::stat(log.c_str(), &status) == 0 && !(S_ISREG(status.st_mode) && status.st_size == 0);
}

void update(const DomainPaths &paths, const LogSource &source, const std::string &log)
{
    korvo::ExecCmd command(std::string(conf_get(AWSTATS_BIN_D)) + "/awstats.pl");
    command.setEnv("AWSTATS_ENABLE_CONFIG_DIR", "yes");
    command.addArg("-update")
        .addArg("-configdir=" + std::string(conf_get(PRODUCT_ROOT_D)) + "/etc/awstats")
        .addArg("-config=" + paths.domain + "-" + source.service)
        .addArg("-LogFile=" + log);
    log_line("\n" + command.commandLine());
    try {
        command.run();
        truncate_log(log);
    } catch (const korvo::ExecCmd::ExFailed &failure) {
        log_line(failure.what());
        log_line("The log will not be truncated because of errors above: " + log);
    }
}

void process_log(const DomainPaths &paths, const LogSource &source)
{
    if (!has_own_statistics(source)) {
        log_line(std::string("Skip log `") + source.log_name + "' because it has parent `" +
                 parent_log_name(source) + "'");
        return;
    }
    const std::string log = prepared_log_path(paths, source);
    if (!may_have_records(log)) {
        log_line("Skip log" + log + " because it is empty or does not exist");
        return;
    }
    log_line("Processing the log " + log);
    update(paths, source, log);
    build_previous_month_pages(paths, source, domain_conf_path(paths, "prev_month.found"));
    build_current_month_pages(paths, source);
    write_frame_pages(
        format_bounded("%s/%s", statistics_dir_path(paths).c_str(), source.webstat_dir));
}

} // namespace

void awstats_run(const std::string &domain)
{
    log_line("Executing awstats...");
    const DomainPaths paths = domain_paths(domain);
    for (const LogSource &source : log_sources) {
        process_log(paths, source);
    }
}
