#include "admin/survey.h"

#include "admin/command.h"
#include "admin/listing.h"
#include "admin/month.h"
#include "admin/places.h"
#include "admin/records.h"
#include "domain/log_position.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace
{

// "202611" of "usage_202611.html", Webalizer's page of a month, as a month; empty for other names.
std::string webalizer_month(const std::string &name)
{
    const bool is_page =
        name.size() == 17 && name.compare(0, 6, "usage_") == 0 && name.compare(12, 5, ".html") == 0;
    return is_page ? name.substr(6, 4) + "-" + name.substr(10, 2) : "";
}

// Where the page builder makes a month's pages before they take the place of the old ones; left there
// if it is killed.
constexpr const char *making_name = ".making";

// Adds what lies in a directory and below it, but links and unfinished pages, to the pages' size and
// time. Returns whether there is an index.html in it.
bool measure(int at, const std::string &path, PagesSurvey &pages, bool is_top)
{
    bool has_index = false;
    read_directory(at, path.c_str(), [&](int directory, const char *name, unsigned char type) {
        has_index = has_index || std::strcmp(name, "index.html") == 0;
        if (type == DT_LNK || std::strcmp(name, making_name) == 0) {
            return;
        }
        const struct stat status = look_at(directory, name, AT_SYMLINK_NOFOLLOW);
        pages.bytes += static_cast<std::uintmax_t>(status.st_blocks) * 512;
        std::string month;
        if (S_ISDIR(status.st_mode)) {
            month = measure(directory, name, pages, false) ? name : "";
        } else {
            pages.made = std::max(pages.made, status.st_mtime);
            month = is_top ? webalizer_month(name) : "";
        }
        if (is_top && month_of_name(month) != no_month) {
            pages.months.push_back(month);
        }
    });
    return has_index;
}

// The name of the AWStats configuration that the file holds; empty if it holds none.
std::string configuration_of(const std::string &file)
{
    const std::size_t length = file.size();
    const bool is_conf = length > 13 && file.compare(0, 8, "awstats.") == 0 &&
                         file.compare(length - 5, 5, ".conf") == 0;
    return is_conf ? file.substr(8, length - 13) : "";
}

} // namespace

Waiting &Waiting::operator+=(const Waiting &more)
{
    bytes += more.bytes;
    since =
        since == 0 || more.since == 0 ? std::max(since, more.since) : std::min(since, more.since);
    return *this;
}

bool DomainSurvey::has_log(const std::string &name) const
{
    return std::find(log_names.begin(), log_names.end(), name) != log_names.end();
}

Waiting DomainSurvey::waiting() const
{
    Waiting all;
    for (const ServiceSurvey &service : services) {
        all += service.waiting;
    }
    return all;
}

Surveyor::Surveyor()
    : directory_(::open(domains_dir_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC))
{
    const bool read =
        directory_.is_open() &&
        read_directory(directory_.get(), ".", [&](int at, const char *name, unsigned char type) {
            if (type == DT_DIR || (type != DT_REG && S_ISDIR(look_at(at, name, 0).st_mode))) {
                domains_.emplace_back(name);
            }
        });
    if (!read && errno == ENOENT) {
        throw Refusal(domains_dir_path() +
                      ": no such directory; run 'statistics_admin setup' first");
    }
    if (!read) {
        throw refusal_of(domains_dir_path(), errno);
    }
    std::sort(domains_.begin(), domains_.end());
    knows_configurations_ =
        read_directory(AT_FDCWD, panel_path("etc/awstats/.").c_str(),
                       [&](int at, const char *name, unsigned char type) {
                           if (type == DT_REG || look_at(at, name, 0).st_mode != 0) {
                               awstats_confs_.insert(configuration_of(name));
                           }
                       });
    last_preparation_ = look_at(AT_FDCWD, log_positions_dir(), 0).st_mtime;
    read_directory(AT_FDCWD, log_positions_dir().c_str(),
                   [&](int, const char *name, unsigned char) { positions_.insert(name); });
}

bool Surveyor::has_awstats_conf(const std::string &domain, const LogSource &source) const
{
    return awstats_confs_.count(domain + "-" + source.service) != 0;
}

std::set<std::string> Surveyor::configured_domains() const
{
    std::set<std::string> domains;
    for (const std::string &configuration : awstats_confs_) {
        const std::size_t dash = configuration.rfind('-');
        for (const LogSource &source : log_sources) {
            if (dash != std::string::npos && has_own_statistics(source) &&
                configuration.compare(dash + 1, std::string::npos, source.service) == 0) {
                domains.insert(configuration.substr(0, dash));
            }
        }
    }
    return domains;
}

std::set<std::string> Surveyor::vanished_domains() const
{
    std::set<std::string> vanished;
    for (const std::string &domain : positions_) {
        if (!std::binary_search(domains_.begin(), domains_.end(), domain)) {
            vanished.insert(domain);
        }
    }
    return vanished;
}

DomainSurvey Surveyor::survey_named(const std::string &domain) const
{
    DomainSurvey found;
    if (std::binary_search(domains_.begin(), domains_.end(), domain)) {
        found = survey(domain);
    }
    if (!found.has_logs) {
        throw Refusal(domain + " is not a domain here: there is no " +
                      logs_dir_path(domain_paths(domain)));
    }
    return found;
}

DomainSurvey Surveyor::survey(const std::string &domain) const
{
    DomainSurvey survey;
    survey.domain = domain;
    survey.logs = look_at(directory(), domain + "/logs", AT_SYMLINK_NOFOLLOW);
    survey.has_logs =
        survey.logs.st_mode != 0 && read_directory(directory(), (domain + "/logs/.").c_str(),
                                                   [&](int, const char *name, unsigned char) {
                                                       survey.log_names.emplace_back(name);
                                                   });
    survey.webalizer_conf = look_at(directory(), domain + "/conf/webalizer.conf", 0);
    if (survey.webalizer_conf.st_mode != 0) {
        survey.kind = webstat_webalizer;
    } else if (has_awstats_conf(domain, log_sources[0])) {
        survey.kind = webstat_awstats;
    }
    for (const LogSource &source : log_sources) {
        if (survey.has_logs && has_own_statistics(source)) {
            survey.services.push_back(survey_service(survey, source));
        }
    }
    return survey;
}

ServiceSurvey Surveyor::survey_service(const DomainSurvey &domain, const LogSource &source) const
{
    ServiceSurvey service;
    service.source = &source;
    service.configured =
        domain.kind == webstat_webalizer || has_awstats_conf(domain.domain, source);
    const std::string name = prepared_log_name(source.log_name);
    const std::string log = domain.domain + "/logs/" + name;
    if (!domain.has_log(name)) {
        return service;
    }
    const struct stat status = look_at(directory(), log, 0);
    service.wrong_type = !S_ISREG(status.st_mode);
    if (!service.wrong_type && status.st_size != 0) {
        const std::time_t since = first_record_time(directory(), log, 0);
        service.waiting = {static_cast<std::uintmax_t>(status.st_size),
                           since == -1 ? status.st_mtime : since};
    }
    return service;
}

PagesSurvey Surveyor::survey_pages(const DomainSurvey &domain, const LogSource &source) const
{
    PagesSurvey pages;
    measure(directory(), domain.domain + "/statistics/" + source.webstat_dir, pages, true);
    std::sort(pages.months.begin(), pages.months.end());
    return pages;
}

std::vector<std::string> generator_confs(const DomainPaths &paths)
{
    std::vector<std::string> confs = {webalizer_conf_path(paths.domain, paths.vhosts_root)};
    for (const LogSource &source : log_sources) {
        if (has_own_statistics(source)) {
            confs.push_back(awstats_conf_path(paths.domain, source.service));
        }
    }
    confs.erase(std::remove_if(confs.begin(), confs.end(),
                               [](const std::string &path) { return !is_there(path); }),
                confs.end());
    return confs;
}

const char *generator_name(WebstatKind kind)
{
    return kind == webstat_webalizer ? "webalizer" : kind == webstat_awstats ? "awstats" : "none";
}
