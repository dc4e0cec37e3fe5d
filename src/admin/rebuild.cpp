#include "admin/command.h"
#include "admin/month_pages.h"
#include "admin/places.h"
#include "admin/progress.h"
#include "admin/run_lock.h"
#include "awstats/monthly_pages.h"
#include "util/bounded_format.h"
#include "webalizer/frame_pages.h"

#include <algorithm>
#include <iostream>

namespace po = boost::program_options;

namespace
{

const Usage rebuild_usage = {
    "rebuild", "[DOMAIN]...",
    "Makes the pages of a month again from AWStats' data, with the month's link and the\n"
    "frame pages, for the AWStats domains that are named or for all of them: this month's,\n"
    "unless the options say otherwise. Needs that no run is going on."};

po::options_description describe_rebuild()
{
    po::options_description options("Options");
    options.add_options()("month", po::value<std::string>()->value_name("YYYY-MM"),
                          "This month")("service", po::value<std::string>()->value_name("SERVICE"),
                                        "Only http, https, anon_ftp or ftp")(
        "stale", "Every month that is kept and whose data is newer than its pages")(
        "wait", "Wait for the end of a run instead of giving up");
    return options;
}

// What to rebuild.
struct Selection {
    std::vector<std::string> domains;
    std::string service; // empty for all
    Month month = month_of_time(std::time(nullptr));
    bool stale = false; // instead of the month: all that are
};

struct Job {
    std::string domain;
    const LogSource *source;
    Month month;
};

Selection read_selection(const ParsedWords &words)
{
    Selection selection;
    selection.domains = words.operands;
    selection.stale = words.has("stale");
    if (words.has("service")) {
        selection.service = words.options["service"].as<std::string>();
        require_service(selection.service);
    }
    if (words.has("month")) {
        const std::string month = words.options["month"].as<std::string>();
        selection.month = month_of_name(month);
        if (selection.month == no_month || selection.stale) {
            throw Refusal(selection.stale ? "--month and --stale exclude each other"
                                          : "'" + month + "' is not a month, as 2026-11 is");
        }
    }
    return selection;
}

// The months of a service that are to be rebuilt; none where AWStats has no data of the month.
std::vector<Month> selected_months(const Selection &selection, const std::string &domain,
                                   const LogSource &source, MonthPagesSurveyor &surveyor)
{
    const MonthPages pages = surveyor.survey(domain, source, Looked::all);
    if (selection.stale) {
        return pages.stale;
    }
    const Month month = selection.month;
    if (std::find(pages.data.begin(), pages.data.end(), month) == pages.data.end()) {
        return {};
    }
    if (month <= surveyor.newest_expired(domain)) {
        if (selection.domains.empty()) {
            return {};
        }
        throw Refusal(domain + " does not keep " + month_name(month) +
                      ": see its conf/stat_ttl.conf");
    }
    return {month};
}

std::vector<Job> plan_domain(const Selection &selection, const DomainSurvey &survey,
                             MonthPagesSurveyor &months)
{
    std::vector<Job> jobs;
    for (const ServiceSurvey &service : survey.services) {
        const bool is_selected =
            selection.service.empty() || selection.service == service.source->service;
        if (survey.kind == webstat_awstats && service.configured && is_selected) {
            for (const Month month :
                 selected_months(selection, survey.domain, *service.source, months)) {
                jobs.push_back({survey.domain, service.source, month});
            }
        }
    }
    return jobs;
}

// Those of the domains that are named.
std::vector<Job> plan_named(const Selection &selection, const Surveyor &surveyor,
                            MonthPagesSurveyor &months)
{
    std::vector<Job> jobs;
    for (const std::string &domain : selection.domains) {
        const DomainSurvey survey = surveyor.survey_named(domain);
        if (survey.kind != webstat_awstats) {
            throw Refusal(domain + " has no AWStats pages: it has " +
                          (survey.kind == webstat_none ? "no generator" : "Webalizer"));
        }
        const std::vector<Job> more = plan_domain(selection, survey, months);
        if (more.empty() && !selection.stale) {
            const std::string &service = selection.service;
            throw Refusal(domain + ": AWStats has no " +
                          (service.empty() ? "" : "configuration for " + service + ", or no ") +
                          "data of that month");
        }
        jobs.insert(jobs.end(), more.begin(), more.end());
    }
    return jobs;
}

void complain(const std::string &name, const std::string &reason)
{
    std::cerr << "statistics_admin: " + name + ": " + reason + "\n";
}

// Those of all domains. Tells what is wrong with one, which makes the status 1.
std::vector<Job> plan_all(const Selection &selection, const Surveyor &surveyor,
                          MonthPagesSurveyor &months, int &status)
{
    std::vector<Job> jobs;
    for (const std::string &domain : surveyor.domains()) {
        try {
            const std::vector<Job> more = plan_domain(selection, surveyor.survey(domain), months);
            jobs.insert(jobs.end(), more.begin(), more.end());
        } catch (const std::exception &error) {
            complain(domain, error.what());
            status = 1;
        }
    }
    return jobs;
}

// This month's pages are made as a run makes them, with "current" and the time-to-live. Returns
// whether all came out.
bool build(const Job &job)
{
    const DomainPaths paths = domain_paths(job.domain);
    tm month = {};
    month.tm_year = job.month / 12 - 1900;
    month.tm_mon = job.month % 12;
    const bool is_built = job.month == month_of_time(std::time(nullptr))
                              ? build_current_month_pages(paths, *job.source)
                              : build_month_pages(paths, *job.source, month);
    const bool has_frames = write_frame_pages(
        format_bounded("%s/%s", statistics_dir_path(paths).c_str(), job.source->webstat_dir));
    return is_built && has_frames;
}

int rebuild(const Selection &selection)
{
    const Surveyor surveyor;
    MonthPagesSurveyor months(surveyor);
    int status = 0;
    const std::vector<Job> jobs = selection.domains.empty()
                                      ? plan_all(selection, surveyor, months, status)
                                      : plan_named(selection, surveyor, months);
    if (jobs.empty() && !selection.stale) {
        std::cout << "No AWStats domain keeps data of " << month_name(selection.month) << "\n";
    }
    Progress progress("Making pages", jobs.size());
    for (const Job &job : jobs) {
        const std::string name =
            job.domain + " " + job.source->service + " " + month_name(job.month);
        progress.clear();
        std::cout << name << std::endl;
        progress.step();
        std::string reason = "the pages could not be made; see above";
        try {
            if (build(job)) {
                continue;
            }
        } catch (const std::exception &error) {
            reason = error.what();
        }
        progress.clear();
        complain(name, reason);
        status = 1;
    }
    return status;
}

} // namespace

int rebuild_command(const std::vector<std::string> &words)
{
    const auto parsed = parse_words(rebuild_usage, describe_rebuild(), words);
    if (!parsed) {
        return 0;
    }
    require_readable_configuration();
    const Selection selection = read_selection(*parsed);
    return work_under_run_lock(parsed->has("wait") ? RunLock::wait : RunLock::refuse,
                               [&] { return rebuild(selection); });
}
