#include "admin/changes.h"
#include "admin/command.h"
#include "admin/listing.h"
#include "admin/places.h"
#include "admin/records.h"
#include "admin/run_lock.h"
#include "admin/survey.h"
#include "domain/domains.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iostream>

namespace po = boost::program_options;

namespace
{

const Usage remove_usage = {
    "remove", "DOMAIN",
    "Takes away the configurations of the domain's generator and leaves\n"
    "conf/no_statistics, so that nobody takes it for a mistake. Its pages and logs stay,\n"
    "but the next run deletes its prepared logs: while records wait in them, nothing is\n"
    "done."};

void refuse_while_records_wait(const DomainSurvey &survey)
{
    std::uintmax_t records = 0;
    for (const ServiceSurvey &service : survey.services) {
        if (service.waiting.bytes != 0) { // else it may be none that can be read to its end
            records +=
                count_records(prepared_log_path(domain_paths(survey.domain), *service.source));
        }
    }
    const std::uintmax_t bytes = survey.waiting().bytes;
    if (bytes != 0) {
        throw Refusal(survey.domain + ": " + std::to_string(records) + " records (" +
                      std::to_string(bytes) +
                      " bytes) wait in its prepared logs, which the next run would delete; "
                      "start a run first, or use --force");
    }
}

} // namespace

int remove_command(const std::vector<std::string> &words)
{
    po::options_description options("Options");
    options.add_options()("force", "Even if records wait");
    const auto parsed = parse_words(remove_usage, options, words);
    if (!parsed) {
        return 0;
    }
    if (parsed->operands.size() != 1) {
        throw Refusal("remove takes one domain; see 'statistics_admin remove --help'");
    }
    require_readable_configuration();
    const std::string domain = parsed->operands[0];
    const Descriptor lock = take_run_lock(RunLock::refuse);
    require_domain_name(domain);
    const DomainSurvey survey = Surveyor().survey(domain);
    const DomainPaths paths = domain_paths(domain);
    std::vector<std::string> configurations = generator_confs(paths);
    if (!survey.has_logs && configurations.empty()) {
        throw Refusal(domain + " is not a domain here: there is no " + logs_dir_path(paths));
    }
    if (!parsed->has("force")) {
        refuse_while_records_wait(survey);
    }
    // First the sign, and last what makes it a domain with statistics.
    Changes changes;
    const std::string sign = domain_conf_path(paths, no_statistics_name);
    if (survey.has_logs && !is_there(sign)) {
        changes.make_dir(domain_conf_path(paths, ""), 0755);
        changes.write_file(sign, "", 0644);
    }
    std::reverse(configurations.begin(), configurations.end());
    for (const std::string &path : configurations) {
        if (::unlink(path.c_str()) != 0) {
            throw refusal_of(path, errno);
        }
    }
    changes.keep();
    if (survey.has_logs && configurations.empty()) {
        std::cout << domain << " has no generator; " << sign << " tells that this is meant\n";
        return 0;
    }
    const std::string pages = statistics_dir_path(paths);
    std::cout << "Removed " << domain << " from the statistics"
              << (is_there(pages) ? "; its pages stay in " + pages : "") << "\n";
    return 0;
}
