#include "driver/domain_loop.h"

#include "awstats/awstats_run.h"
#include "util/log_line.h"
#include "webalizer/webalizer_run.h"

#include <string>

namespace
{

void process_domain(const std::string &domain, WebstatKind kind)
{
    log_line("\n-----[ " + domain);
    switch (kind) {
    case webstat_webalizer:
        log_line("Webstat: webalizer");
        webalizer_run(domain);
        break;
    case webstat_awstats:
        log_line("Webstat: awstats");
        awstats_run(domain);
        break;
    default:
        log_line("Webstat: none");
        remove_prepared_logs(domain);
    }
}

} // namespace

void process_domains(const DomainKindMap &map)
{
    for (const auto &[domain, kind] : map) {
        process_domain(domain, kind);
    }
}
