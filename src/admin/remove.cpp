#include "admin/command.h"
#include "admin/places.h"
#include "admin/run_lock.h"
#include "admin/survey.h"
#include "domain/domains.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <iostream>

namespace po = boost::program_options;

namespace
{

const Usage usage = {
    "remove", "DOMAIN",
    "Takes away the domain's configurations and leaves conf/no_statistics, so that nobody\n"
    "takes it for a mistake. Its pages and logs stay, but the next run deletes its\n"
    "prepared logs: while records wait in them, nothing is done."};

bool take_away(const std::string &path)
{
    if (::unlink(path.c_str()) == 0) {
        return true;
    }
    if (errno != ENOENT) {
        throw refusal_of(path, errno);
    }
    return false;
}

void refuse_while_records_wait(const DomainSurvey &survey)
{
    std::uintmax_t bytes = 0;
    for (const ServiceSurvey &service : survey.services) {
        bytes += service.waiting_bytes;
    }
    if (bytes != 0) {
        throw Refusal(survey.domain + ": " + std::to_string(count_waiting_records(survey)) +
                      " records (" + std::to_string(bytes) +
                      " bytes) wait in its prepared logs, which the next run would delete; "
                      "start a run first, or use --force");
    }
}

} // namespace

int remove_command(const std::vector<std::string> &words)
{
    po::options_description options("Options");
    options.add_options()("force", "Even if records wait");
    const auto parsed = parse_words(usage, options, words);
    if (!parsed) {
        return 0;
    }
    if (parsed->operands.size() != 1) {
        throw Refusal("remove takes one domain; see 'statistics_admin remove --help'");
    }
    require_readable_configuration();
    const std::string domain = parsed->operands[0];
    const Descriptor lock = take_run_lock(RunLock::refuse);
    const DomainSurvey survey = Surveyor().survey_named(domain);
    if (!parsed->has("force")) {
        refuse_while_records_wait(survey);
    }
    // First the sign, then what makes it a domain with statistics.
    const DomainPaths paths = domain_paths(domain);
    const std::string sign = domain_conf_path(paths, no_statistics_name);
    if (!Descriptor(::open(sign.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0644))
             .is_open()) {
        throw refusal_of(sign, errno);
    }
    take_away(webalizer_conf_path(domain, paths.vhosts_root));
    for (const LogSource &source : log_sources) {
        if (has_own_statistics(source)) {
            take_away(awstats_conf_path(domain, source.service));
        }
    }
    take_away(domain_conf_path(paths, "stat_ttl.conf"));
    std::cout << "Removed " << domain << " from the statistics; its pages stay in "
              << statistics_dir_path(paths) << "\n";
    return 0;
}
