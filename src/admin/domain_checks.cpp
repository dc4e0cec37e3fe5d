#include "admin/domain_checks.h"

#include "admin/listing.h"
#include "admin/log_checks.h"
#include "domain/domain_name.h"
#include "util/shell_quote.h"

#include <fcntl.h>

#include <algorithm>
#include <iterator>

namespace
{

class DomainChecks
{
public:
    DomainChecks(Checklist &checklist, const DomainSurvey &domain, const Surveyor &surveyor)
        : list_(checklist), domain_(domain), surveyor_(surveyor),
          paths_(domain_paths(domain.domain)), logs_(checklist, domain, surveyor)
    {
    }

    void check_places();
    void check_logs();
    void check_without_generator();
    void check_webalizer_conf();
    void check_links_to_nothing();
    void check_configuration(const ServiceSurvey &service);
    void check_prepared_log(const ServiceSurvey &service) { logs_.check_prepared_log(service); }
    void check_unconfigured(const ServiceSurvey &service);
    void check_webalizer_pages(const LogSource &source);
    void check_months(const LogSource &source, const MonthPages &pages, Month this_month);

private:
    struct stat look(const std::string &path, int flags = AT_SYMLINK_NOFOLLOW) const;
    bool has_domain_name() const { return is_valid_domain_name(domain_.domain.c_str()); }
    void expect_configuration(const std::string &path, const struct stat &found);
    std::string rebuild_command(const LogSource &source, Month month) const;

    Checklist &list_;
    const DomainSurvey &domain_;
    const Surveyor &surveyor_;
    DomainPaths paths_;
    LogChecks logs_;
};

// What lies at the path in the domain's directory; st_mode is 0 if there is nothing.
struct stat DomainChecks::look(const std::string &path, int flags) const
{
    return look_at(surveyor_.directory(), domain_.domain + "/" + path, flags);
}

std::string DomainChecks::rebuild_command(const LogSource &source, Month month) const
{
    return "statistics_admin rebuild " + shell_quote(domain_.domain) + " --service " +
           source.service + " --month " + month_name(month);
}

void DomainChecks::check_places()
{
    const std::string path = domains_dir_path() + domain_.domain;
    list_.expect_directory(path, look("", 0), "755");
    const std::string logs = path + "/logs";
    if (domain_.logs.st_mode == 0 && look(unfinished_logs_name).st_mode != 0) {
        list_.add(ProblemKind::place, logs + " is missing: 'statistics_admin add' was killed",
                  "mv " + shell_quote(path + "/" + unfinished_logs_name) + " " + shell_quote(logs));
    } else {
        list_.expect_directory(logs, domain_.logs, "750");
    }
    list_.expect_directory(path + "/statistics", look("statistics"), "755");
    const struct stat conf = look("conf");
    if (domain_.kind != webstat_awstats || conf.st_mode != 0) {
        list_.expect_directory(path + "/conf", conf, "755");
    }
    if (domain_.webalizer_conf.st_mode != 0) {
        check_webalizer_conf();
    }
}

// A configuration can name commands.
void DomainChecks::expect_configuration(const std::string &path, const struct stat &found)
{
    if (!S_ISREG(found.st_mode)) {
        list_.add(ProblemKind::place, path + " is not a regular file",
                  "mv " + shell_quote(path) + " " + shell_quote(path + ".old") +
                      ", and restore the file");
    }
    list_.expect_owner(path, found);
}

void DomainChecks::check_webalizer_conf()
{
    const std::string path = webalizer_conf_path(paths_.domain, paths_.vhosts_root);
    expect_configuration(path, domain_.webalizer_conf);
    if (surveyor_.has_awstats_conf(domain_.domain, log_sources[0])) {
        const std::string other = awstats_conf_path(domain_.domain, log_sources[0].service);
        list_.add(ProblemKind::place,
                  other + " is there beside " + path + ": only Webalizer makes statistics",
                  "rm " + shell_quote(other) + "; or, to have AWStats, rm " + shell_quote(path));
    }
}

// Where a raw log is gone, its prepared one has stayed, unless all are gone or it was removed, too.
// Nobody misses those of a domain without a generator.
void DomainChecks::check_logs()
{
    const auto has_trace = [&](const LogSource &source) {
        const std::string log = source.log_name;
        return domain_.has_log(log) || domain_.has_log(prepared_log_name(log));
    };
    const bool has_none = std::none_of(std::begin(log_sources), std::end(log_sources), has_trace);
    for (const LogSource &source : log_sources) {
        logs_.check_raw_log(source);
        if (surveyor_.has_positions(domain_.domain) && (has_none || has_trace(source))) {
            logs_.check_position(source);
        }
    }
}

// In the place of a configuration, they make add refuse.
void DomainChecks::check_links_to_nothing()
{
    for (const std::string &path : generator_confs(paths_)) {
        if (look_at(AT_FDCWD, path, 0).st_mode == 0) {
            list_.add(ProblemKind::place, path + " is a link that leads to no file",
                      "restore that file, or rm " + shell_quote(path));
        }
    }
}

void DomainChecks::check_without_generator()
{
    bool has_something = false;
    bool has_configuration = false;
    for (const ServiceSurvey &service : domain_.services) {
        has_something =
            has_something || service.waiting.bytes != 0 ||
            look(std::string("statistics/") + service.source->webstat_dir + "/index.html")
                    .st_mode != 0;
        has_configuration = has_configuration || service.configured;
    }
    for (const LogSource &source : log_sources) {
        has_something = has_something || logs_.has_records(source);
    }
    const bool has_webalizer_conf = look("conf/webalizer.conf").st_mode != 0;
    const bool lacks_generator =
        has_something && look(std::string("conf/") + no_statistics_name).st_mode == 0;
    if (has_webalizer_conf || has_configuration || lacks_generator) {
        check_links_to_nothing();
    }
    const std::string word = shell_quote(domain_.domain);
    if (has_configuration) {
        list_.add(ProblemKind::no_generator,
                  "has AWStats configurations, but not the one that makes AWStats its generator: "
                  "every run deletes its records",
                  "restore " + awstats_conf_path(domain_.domain, "http") +
                      (has_domain_name()
                           ? ", or statistics_admin remove " + word + " and add it again"
                           : ""));
    } else if (lacks_generator) {
        const bool had_webalizer =
            has_webalizer_conf || look("statistics/webstat/webalizer.hist").st_mode != 0;
        list_.add(ProblemKind::no_generator,
                  "has logs or pages, but no generator: every run deletes its records",
                  has_domain_name()
                      ? "statistics_admin add " + word + " --generator " +
                            (had_webalizer ? "webalizer" : "awstats") +
                            ", or, if that is meant, statistics_admin remove " + word
                      : "move it elsewhere, as its name is no domain name, or touch " +
                            shell_quote(domain_conf_path(paths_, no_statistics_name)));
    }
}

void DomainChecks::check_configuration(const ServiceSurvey &service)
{
    const std::string path = awstats_conf_path(domain_.domain, service.source->service);
    expect_configuration(path, look_at(AT_FDCWD, path, 0));
}

void DomainChecks::check_unconfigured(const ServiceSurvey &service)
{
    if (service.waiting.bytes != 0 || logs_.has_records(*service.source)) {
        const std::string word = shell_quote(domain_.domain);
        list_.add(ProblemKind::no_configuration,
                  std::string(service.source->log_name) + " has records, but there is no " +
                      awstats_conf_path(domain_.domain, service.source->service),
                  has_domain_name()
                      ? "write that file, or statistics_admin remove --force " + word +
                            " && statistics_admin add " + word + " --generator awstats"
                      : "write that file");
    }
}

void DomainChecks::check_webalizer_pages(const LogSource &source)
{
    const struct stat found = look(std::string("statistics/") + source.webstat_dir);
    if (found.st_mode != 0) {
        list_.expect_directory(statistics_subdir_path(paths_, source), found, "755");
    }
}

void DomainChecks::check_months(const LogSource &source, const MonthPages &pages, Month this_month)
{
    const std::string directory = statistics_subdir_path(paths_, source);
    if (!list_.expect_directory(directory, pages.directory, "755")) {
        return;
    }
    for (const Month month : pages.stale) {
        list_.add(ProblemKind::stale_pages,
                  directory + "/" + month_name(month) +
                      ": the pages are missing or older than AWStats' data",
                  rebuild_command(source, month));
    }
    for (const Month month : pages.expired) {
        const std::string path = directory + "/" + month_name(month);
        list_.add(ProblemKind::expired_month, path + " has passed the time to live",
                  "rm -r " + shell_quote(path));
    }
    if (pages.this_month.st_mode != 0) {
        list_.expect_directory(directory + "/" + month_name(this_month), pages.this_month, "755");
    }
    const bool has_this_month = !pages.data.empty() && pages.data.back() == this_month;
    if (has_this_month && pages.current.empty()) {
        list_.add(ProblemKind::place, directory + "/current is missing or no link",
                  "rm -rf " + shell_quote(directory + "/current") + " && " +
                      rebuild_command(source, this_month));
    } else if (has_this_month && pages.current != month_name(this_month)) {
        list_.add(ProblemKind::stale_pages,
                  directory + "/current leads to " + pages.current + ", not to " +
                      month_name(this_month),
                  rebuild_command(source, this_month));
    }
}

} // namespace

void check_domain(Checklist &checklist, const DomainSurvey &domain, const Surveyor &surveyor,
                  MonthPagesSurveyor &months)
{
    DomainChecks checks(checklist, domain, surveyor);
    checklist.begin_domain(domain.domain);
    if (domain.logs.st_mode == 0 && domain.kind == webstat_none) {
        return; // a directory of something else
    }
    checks.check_places();
    if (domain.kind != webstat_none) {
        checks.check_logs();
    }
    if (domain.kind == webstat_none && !surveyor.knows_configurations()) {
        return;
    }
    if (domain.kind == webstat_none) {
        checks.check_without_generator();
        return;
    }
    for (const ServiceSurvey &service : domain.services) {
        if (!service.configured) {
            checks.check_unconfigured(service);
            continue;
        }
        checks.check_prepared_log(service);
        if (domain.kind == webstat_awstats) {
            checks.check_configuration(service);
            checks.check_months(
                *service.source,
                months.survey(domain.domain, *service.source, Looked::lately_changed),
                months.this_month());
        } else {
            checks.check_webalizer_pages(*service.source);
        }
    }
}
