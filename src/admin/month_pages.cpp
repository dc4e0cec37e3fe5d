#include "admin/month_pages.h"

#include "admin/listing.h"
#include "domain/time_to_live.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>

namespace
{

constexpr std::time_t lately = std::time_t{40} * 86400;

bool is_older(const timespec &left, const timespec &right)
{
    return left.tv_sec != right.tv_sec ? left.tv_sec < right.tv_sec : left.tv_nsec < right.tv_nsec;
}

} // namespace

MonthPagesSurveyor::MonthPagesSurveyor(const Surveyor &surveyor)
    : surveyor_(surveyor), now_(std::time(nullptr)), this_month_(month_of_time(now_))
{
}

Month MonthPagesSurveyor::newest_expired(const std::string &domain)
{
    if (domain != expiring_domain_) {
        expired_ = month_of_time(expiring_time(now_, months_kept(read_stat_ttl(domain))));
        expiring_domain_ = domain;
    }
    return expired_;
}

// The link index.html leads to AWStats' main page, and is made when all pages are there.
bool MonthPagesSurveyor::page_is_older(const std::string &directory, Month month,
                                       const struct stat &data) const
{
    const std::string page = directory + "/" + month_name(month) + "/index.html";
    const struct stat made = look_at(surveyor_.directory(), page, 0);
    return made.st_mode == 0 || is_older(made.st_mtim, data.st_mtim);
}

// The newest of the months that are not kept goes only when the next records of the log come.
std::vector<Month> MonthPagesSurveyor::expired_months(const std::string &directory,
                                                      Month newest) const
{
    std::vector<Month> months;
    read_directory(surveyor_.directory(), directory.c_str(),
                   [&](int, const char *name, unsigned char type) {
                       const Month month = type == DT_LNK ? no_month : month_of_name(name);
                       if (month != no_month && month < newest) {
                           months.push_back(month);
                       }
                   });
    std::sort(months.begin(), months.end());
    return months;
}

MonthPages MonthPagesSurveyor::survey(const std::string &domain, const LogSource &source,
                                      Looked looked)
{
    MonthPages pages;
    const int at = surveyor_.directory();
    const std::string directory = domain + "/statistics/" + source.webstat_dir;
    const std::string configuration = domain + "-" + source.service;
    pages.directory = look_at(at, directory, AT_SYMLINK_NOFOLLOW);
    const nlink_t subdirectories =
        S_ISDIR(pages.directory.st_mode) ? pages.directory.st_nlink - 2 : 0;
    const AwstatsData::Files files =
        data_.files_of(domain, source.service, looked == Looked::all || subdirectories != 0);
    pages.data = files.months;
    const bool has_past = !pages.data.empty() && pages.data.front() < this_month_;
    const Month newest_gone = has_past ? newest_expired(domain) : no_month;
    nlink_t kept = 0;
    bool is_looked_at = true;
    for (auto month = pages.data.rbegin(); month != pages.data.rend() && *month > newest_gone;
         ++month) {
        ++kept;
        if (!is_looked_at) {
            continue;
        }
        const struct stat data = look_at(AT_FDCWD, files.path(configuration, *month), 0);
        is_looked_at = looked == Looked::all || data.st_mtime > now_ - lately;
        if (is_looked_at && page_is_older(directory, *month, data)) {
            pages.stale.insert(pages.stale.begin(), *month);
        }
    }
    // Most file systems tell by a directory's links how many there are in it.
    if (subdirectories != kept) {
        pages.expired = expired_months(directory, newest_expired(domain));
    }
    if (!pages.data.empty() && pages.data.back() >= this_month_) {
        char target[64];
        const ssize_t length =
            ::readlinkat(at, (directory + "/current").c_str(), target, sizeof target);
        pages.current.assign(target, length > 0 ? static_cast<std::size_t>(length) : 0);
        pages.this_month =
            look_at(at, directory + "/" + month_name(this_month_), AT_SYMLINK_NOFOLLOW);
    }
    return pages;
}
