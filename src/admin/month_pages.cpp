#include "admin/month_pages.h"

#include "admin/listing.h"
#include "domain/time_to_live.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>

namespace
{

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

// Counts the month if it has the page.
bool MonthPagesSurveyor::page_is_older(const std::string &directory,
                                       const std::string &configuration, const std::string &data,
                                       Month month, nlink_t *months) const
{
    const std::string page =
        directory + "/" + month_name(month) + "/awstats." + configuration + ".html";
    struct stat made = {};
    struct stat source = {};
    if (::fstatat(surveyor_.directory(), page.c_str(), &made, 0) != 0) {
        return true;
    }
    ++*months;
    return ::stat(data.c_str(), &source) == 0 && is_older(made.st_mtim, source.st_mtim);
}

void MonthPagesSurveyor::list_expired(const std::string &directory, const std::string &domain,
                                      MonthPages &pages)
{
    std::vector<Month> months;
    read_directory(surveyor_.directory(), directory.c_str(),
                   [&](const char *name, unsigned char type) {
                       const Month month = type == DT_LNK ? no_month : month_of_name(name);
                       if (month != no_month && month < this_month_) {
                           months.push_back(month);
                       }
                   });
    if (months.empty()) {
        return;
    }
    const Month newest = newest_expired(domain);
    std::sort(months.begin(), months.end());
    // The newest of them goes only when the next records of the log come.
    std::copy_if(months.begin(), months.end(), std::back_inserter(pages.expired),
                 [&](Month month) { return month < newest; });
}

MonthPages MonthPagesSurveyor::survey(const std::string &domain, const LogSource &source)
{
    MonthPages pages;
    const std::string directory = domain + "/statistics/" + source.webstat_dir;
    const std::string configuration = domain + "-" + source.service;
    if (::fstatat(surveyor_.directory(), directory.c_str(), &pages.directory,
                  AT_SYMLINK_NOFOLLOW) != 0) {
        pages.directory.st_mode = 0;
    }
    const nlink_t subdirectories =
        S_ISDIR(pages.directory.st_mode) ? pages.directory.st_nlink - 2 : 0;
    const AwstatsData::Files files = data_.files_of(domain, source.service, subdirectories != 0);
    pages.data = files.months;
    nlink_t with_pages = 0;
    Month newest_gone = no_month;
    for (const Month month : pages.data) {
        if (month < this_month_ && newest_gone == no_month) {
            newest_gone = newest_expired(domain);
        }
        if (month > newest_gone &&
            page_is_older(directory, configuration, files.path(configuration, month), month,
                          &with_pages)) {
            pages.stale.push_back(month);
        }
    }
    // Most file systems tell by a directory's links how many there are in it.
    if (subdirectories != with_pages) {
        list_expired(directory, domain, pages);
    }
    char target[64];
    if (!pages.data.empty() && pages.data.back() >= this_month_) {
        const ssize_t length = ::readlinkat(surveyor_.directory(), (directory + "/current").c_str(),
                                            target, sizeof target);
        pages.current.assign(target, length > 0 ? static_cast<std::size_t>(length) : 0);
    }
    return pages;
}
