#include "admin/domain_checks.h"

#include "admin/listing.h"
#include "admin/places.h"
#include "admin/run_lock.h"
#include "admin/texts.h"
#include "domain/log_position.h"
#include "util/shell_quote.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <stdexcept>

namespace
{

class DomainChecks
{
public:
    DomainChecks(Checklist &checklist, const DomainSurvey &domain, const Surveyor &surveyor)
        : list_(checklist), domain_(domain), surveyor_(surveyor),
          paths_(domain_paths(domain.domain))
    {
        for (std::size_t i = 0; i < std::size(log_sources); ++i) {
            if (domain_.has_log(log_sources[i].log_name)) {
                raw_logs_[i] = look(std::string("logs/") + log_sources[i].log_name, 0);
            }
        }
    }

    void check_places();
    void check_raw_log(const LogSource &source);
    void check_position(const LogSource &source);
    void check_without_generator();
    void check_configuration(const ServiceSurvey &service);
    void check_log(const ServiceSurvey &service);
    void check_unconfigured(const ServiceSurvey &service);
    void check_webalizer_pages(const LogSource &source);
    void check_months(const LogSource &source, const MonthPages &pages, Month this_month);

private:
    struct stat look(const std::string &path, int flags = AT_SYMLINK_NOFOLLOW) const;
    void check_unprepared(const LogSource &source, const LogPosition &position);
    bool has_records(const LogSource &source) const;
    bool was_rotated(const LogSource &source) const;
    std::string rebuild_command(const LogSource &source, Month month) const;

    Checklist &list_;
    const DomainSurvey &domain_;
    const Surveyor &surveyor_;
    DomainPaths paths_;
    struct stat raw_logs_[std::size(log_sources)] = {}; // links followed; st_mode is 0 for nothing
};

// What lies at the path in the domain's directory; st_mode is 0 if there is nothing.
struct stat DomainChecks::look(const std::string &path, int flags) const
{
    return look_at(surveyor_.directory(), domain_.domain + "/" + path, flags);
}

bool DomainChecks::has_records(const LogSource &source) const
{
    const struct stat &raw = raw_logs_[&source - log_sources];
    return S_ISREG(raw.st_mode) && raw.st_size != 0;
}

bool DomainChecks::was_rotated(const LogSource &source) const
{
    const std::string log = source.log_name;
    return std::any_of(
        domain_.log_names.begin(), domain_.log_names.end(), [&](const std::string &name) {
            return name.compare(0, log.size(), log) == 0 &&
                   name.find_first_of(".-", log.size()) == log.size() && name != log + ".webstat";
        });
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
    list_.expect_directory(path + "/logs", domain_.logs, "750");
    list_.expect_directory(path + "/statistics", look("statistics"), "755");
    const struct stat conf = look("conf");
    if (domain_.kind != webstat_awstats || conf.st_mode != 0) {
        list_.expect_directory(path + "/conf", conf, "755");
    }
    if (domain_.webalizer_conf.st_mode != 0) {
        list_.expect_owner(webalizer_conf_path(paths_.domain, paths_.vhosts_root),
                           domain_.webalizer_conf);
    }
}

void DomainChecks::check_raw_log(const LogSource &source)
{
    const std::string path = logs_dir_path(paths_) + source.log_name;
    const std::string word = shell_quote(path);
    const struct stat &raw = raw_logs_[&source - log_sources];
    char target[4096];
    const ssize_t length = raw.st_mode == 0 ? ::readlink(path.c_str(), target, sizeof target) : -1;
    if (length > 0) {
        list_.add(ProblemKind::place,
                  path + " leads to " + std::string(target, static_cast<std::size_t>(length)) +
                      ", which is not there",
                  "have the server log to that, or ln -sfn THE-RIGHT-LOG " + word);
    } else if (raw.st_mode != 0 && !S_ISREG(raw.st_mode)) {
        list_.add(ProblemKind::place, path + " is not a regular file",
                  "mv " + word + " " + shell_quote(path + ".old") +
                      ", and have the server log to a file");
    }
}

void DomainChecks::check_position(const LogSource &source)
{
    const std::string path = log_position_path(domain_.domain, source.log_name);
    try {
        const auto position = read_log_position(path);
        if (position) {
            check_unprepared(source, *position);
        }
    } catch (const std::runtime_error &error) {
        list_.add(ProblemKind::position, error.what(),
                  "restore it from a backup; or, as records that are prepared already would "
                  "count twice, rotate the log and then rm " +
                      shell_quote(path));
    }
}

// What came before the last preparation should have been prepared by it. Where more has come since,
// the first record tells; servers write it when the transfer ends, which can take hours.
void DomainChecks::check_unprepared(const LogSource &source, const LogPosition &position)
{
    constexpr std::time_t hour = 3600;
    const std::string log = std::string("logs/") + source.log_name;
    const std::string path = domains_dir_path() + domain_.domain + "/" + log;
    if (!domain_.has_log(source.log_name) && !was_rotated(source)) {
        list_.add(ProblemKind::place, path + " is missing, and was not rotated",
                  "have the server log to it, or rm " +
                      shell_quote(log_position_path(domain_.domain, source.log_name)));
    }
    const struct stat &raw = raw_logs_[&source - log_sources];
    const TakenFile &known = position.files.back();
    const auto size = S_ISREG(raw.st_mode) ? static_cast<std::uintmax_t>(raw.st_size) : 0;
    const bool is_same = raw.st_ino == known.inode && size >= known.taken;
    const std::uintmax_t taken = is_same ? known.taken : 0;
    if (size == taken || (is_same && size == known.size)) {
        return;
    }
    const std::time_t since =
        surveyor_.first_record_time(domain_.domain + "/" + log, static_cast<off_t>(taken));
    const std::time_t latest =
        std::max(surveyor_.last_preparation() - 12 * hour, std::time(nullptr) - 36 * hour);
    if (raw.st_mtime < surveyor_.last_preparation() || (since != -1 && since < latest)) {
        list_.add(ProblemKind::waiting,
                  path + ": " + size_text(size - taken) + " are not prepared, the first of " +
                      time_text(since == -1 ? raw.st_mtime : since),
                  under_run_lock(shell_quote(panel_path("admin/sbin/statistics_log_processor"))) +
                      " tells why");
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
        has_something = has_something || has_records(source);
    }
    const bool has_webalizer_state = look("statistics/webstat/webalizer.hist").st_mode != 0;
    const std::string word = shell_quote(domain_.domain);
    if (has_configuration) {
        list_.add(ProblemKind::no_generator,
                  "has AWStats configurations, but not the one that makes AWStats its generator: "
                  "every run deletes its records",
                  "restore " + awstats_conf_path(domain_.domain, "http"));
    } else if (has_something && look(std::string("conf/") + no_statistics_name).st_mode == 0) {
        list_.add(ProblemKind::no_generator,
                  "has logs or pages, but no generator: every run deletes its records",
                  "statistics_admin add " + word + " --generator " +
                      (has_webalizer_state ? "webalizer" : "awstats") +
                      ", or 'statistics_admin remove " + word + "' if that is meant");
    }
}

// A configuration can name commands.
void DomainChecks::check_configuration(const ServiceSurvey &service)
{
    const std::string path = awstats_conf_path(domain_.domain, service.source->service);
    list_.expect_owner(path, look_at(AT_FDCWD, path, 0));
}

void DomainChecks::check_log(const ServiceSurvey &service)
{
    const std::string path = prepared_log_path(paths_, *service.source);
    if (service.wrong_type) {
        list_.add(ProblemKind::place, path + " is not a regular file",
                  "mv " + shell_quote(path) + " " + shell_quote(path + ".old"));
    } else if (service.waiting.bytes != 0) {
        list_.add(ProblemKind::waiting,
                  path + " still holds " + size_text(service.waiting.bytes) +
                      " of records, the first of " + time_text(service.waiting.since),
                  under_run_lock("statistics_run --calculate-domain ") +
                      shell_quote(domain_.domain) + " tells why they are not taken in");
    }
}

void DomainChecks::check_unconfigured(const ServiceSurvey &service)
{
    if (service.waiting.bytes != 0 || has_records(*service.source)) {
        const std::string word = shell_quote(domain_.domain);
        list_.add(ProblemKind::no_configuration,
                  std::string(service.source->log_name) + " has records, but there is no " +
                      awstats_conf_path(domain_.domain, service.source->service),
                  "write that file, or statistics_admin remove --force " + word +
                      " && statistics_admin add " + word + " --generator awstats");
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
    for (const LogSource &source : log_sources) {
        if (domain.kind != webstat_none && domain.has_log(source.log_name)) {
            checks.check_raw_log(source);
        }
        if (surveyor.has_positions(domain.domain)) {
            checks.check_position(source);
        }
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
        checks.check_log(service);
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
