#pragma once

#include "admin/awstats_data.h"
#include "admin/survey.h"

#include <sys/stat.h>

#include <ctime>
#include <string>
#include <vector>

// The pages of a service of an AWStats domain beside the data that they are made from.
struct MonthPages {
    struct stat directory = {}; // of all months; st_mode is 0 if there is nothing
    std::vector<Month> data;    // months that there is data of, in order
    std::vector<Month> stale;   // those that are kept, but have no index.html as new as the data
    std::vector<Month> expired; // months that are not kept any more, but have pages
    struct stat this_month =
        {}; // of this month's directory; st_mode is 0 if there is nothing, or no data
    std::string
        current; // where the link "current" leads; empty if it is no link, or no data of this month
};

// Which months are looked at for pages older than their data.
enum class Looked {
    all,
    lately_changed // the newest ones, up to one whose data is older than 40 days: AWStats never
                   // writes to a month before that of its last record
};

class MonthPagesSurveyor
{
public:
    explicit MonthPagesSurveyor(const Surveyor &surveyor);

    MonthPages survey(const std::string &domain, const LogSource &source, Looked looked);

    Month this_month() const { return this_month_; }

    // The newest month that the domain does not keep any more. Throws
    // boost::filesystem::filesystem_error as read_stat_ttl does.
    Month newest_expired(const std::string &domain);

private:
    bool page_is_older(const std::string &directory, Month month, const struct stat &data) const;
    std::vector<Month> expired_months(const std::string &directory, Month newest) const;

    const Surveyor &surveyor_;
    std::time_t now_;
    Month this_month_;
    AwstatsData data_;
    std::string expiring_domain_; // that was asked for last
    Month expired_ = no_month;    // and its newest month that is not kept
};
