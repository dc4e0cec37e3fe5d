#include "admin/command.h"
#include "admin/configuration_check.h"
#include "admin/domain_checks.h"
#include "admin/listing.h"
#include "admin/metrics.h"
#include "admin/places.h"
#include "admin/progress.h"
#include "admin/run_lock.h"
#include "admin/server_checks.h"
#include "admin/texts.h"
#include "domain/domain_name.h"
#include "domain/log_position.h"
#include "util/directories.h"
#include "util/shell_quote.h"

#include <nlohmann/json.hpp>

#include <fcntl.h>

#include <algorithm>
#include <iostream>
#include <set>

namespace po = boost::program_options;
using nlohmann::ordered_json;

namespace
{

const Usage check_usage = {
    "check", "",
    "Looks for what keeps statistics from being made. Each problem is a line: the domain,\n"
    "what is wrong, and what mends it. Ends with 0 if there is none, with 1 if there are\n"
    "some, and with 2 if it could not look."};

// What has been looked at, for the metrics.
void count(const DomainSurvey &domain, Totals &totals)
{
    ++totals.domains[domain.kind];
    totals.waiting += domain.waiting();
}

// A directory that is gone may have been removed on purpose.
void check_vanished(Checklist &checklist, const Surveyor &surveyor,
                    const std::set<std::string> &vanished)
{
    for (const std::string &domain : vanished) {
        if (look_at(surveyor.directory(), domain, AT_SYMLINK_NOFOLLOW).st_mode != 0) {
            const std::string path = domains_dir_path() + domain;
            checklist.begin_domain(domain);
            checklist.add(
                ProblemKind::place,
                path + " is no directory, though its logs have been prepared before",
                "restore the directory, or what leads to it; or, if it is gone for good, rm " +
                    shell_quote(path));
        }
    }
}

// The domains that AWStats has configurations for, and that have nothing else.
void check_without_logs(Checklist &checklist, const std::set<std::string> &domains)
{
    for (const std::string &domain : domains) {
        const std::string logs = logs_dir_path(domain_paths(domain));
        checklist.begin_domain(domain);
        checklist.add(ProblemKind::place, "has AWStats configurations, but no " + logs,
                      is_valid_domain_name(domain.c_str())
                          ? "statistics_admin remove " + shell_quote(domain) +
                                ", and add it again if it is to have statistics"
                          : "remove them, or install -d -m 750 " + shell_quote(logs));
    }
}

void check_domains(Checklist &checklist, Totals &totals)
{
    const Surveyor surveyor;
    MonthPagesSurveyor months(surveyor);
    std::set<std::string> without_logs = surveyor.configured_domains();
    Progress progress("Checking domain", surveyor.domains().size());
    for (const std::string &domain : surveyor.domains()) {
        progress.step();
        const DomainSurvey survey = surveyor.survey(domain);
        if (survey.has_logs) {
            count(survey, totals);
        }
        if (survey.logs.st_mode != 0 || survey.kind != webstat_none) {
            without_logs.erase(domain);
        }
        try {
            check_domain(checklist, survey, surveyor, months);
        } catch (const std::exception &error) {
            checklist.add(ProblemKind::place, error.what(), "look at it as root");
        }
    }
    const std::set<std::string> vanished = surveyor.vanished_domains();
    check_vanished(checklist, surveyor, vanished);
    if (surveyor.domains().empty() && !vanished.empty()) {
        checklist.begin_domain("");
        checklist.add(ProblemKind::place,
                      domains_dir_path() + " has no domains, though logs have been prepared before",
                      "mount its file system; or, if they are gone for good, rm -r " +
                          shell_quote(log_positions_dir()) + "/*");
    } else {
        check_without_logs(checklist, without_logs);
    }
    checklist.begin_domain("");
}

void print_text(const Problems &problems)
{
    for (const Problem &problem : problems) {
        std::cout << on_one_line((problem.domain.empty() ? "server" : problem.domain) + ": " +
                                 problem.what + "; mend: " + problem.mend) +
                         "\n";
    }
}

void print_json(const Problems &problems)
{
    ordered_json list = ordered_json::array();
    for (const Problem &problem : problems) {
        list.push_back(
            {{"kind", problem_kind_names.at(problem.kind)},
             {"domain", problem.domain.empty() ? ordered_json() : ordered_json(problem.domain)},
             {"problem", problem.what},
             {"mend", problem.mend}});
    }
    std::cout << json_text(list) << "\n";
}

} // namespace

int check_command(const std::vector<std::string> &words)
{
    po::options_description options("Options");
    options.add_options()("json", "The problems as JSON")(
        "prometheus", po::value<std::string>()->value_name("FILE"),
        "Write metrics to this file, too");
    const auto parsed = parse_words(check_usage, options, words);
    if (!parsed) {
        return 0;
    }
    require_configuration_file();
    if (run_lock_is_held()) {
        std::cerr << "A run is going on: what it has not come to yet shows as a problem.\n";
    }
    Checklist checklist;
    Totals totals;
    check_configuration(checklist);
    checklist.expect_shared_directory(domains_dir_path(), Checklist::Written::yes);
    if (dir_exists(domains_dir_path().c_str())) {
        check_domains(checklist, totals);
    }
    check_server(checklist, totals.domains);
    Problems problems = checklist.problems();
    std::stable_partition(problems.begin(), problems.end(),
                          [](const Problem &problem) { return problem.domain.empty(); });
    if (parsed->has("json")) {
        print_json(problems);
    } else {
        print_text(problems);
    }
    if (parsed->has("prometheus")) {
        write_metrics(parsed->options["prometheus"].as<std::string>(), problems, totals);
    }
    return problems.empty() ? 0 : 1;
}
