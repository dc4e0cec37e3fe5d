#include "admin/awstats_data.h"

#include "admin/listing.h"
#include "admin/places.h"
#include "domain/domains.h"

#include <fcntl.h>

#include <algorithm>
#include <fstream>

namespace
{

const std::string prefix = "awstats";
const std::string suffix = ".txt";

// The value of the last DirData of a configuration; empty if it has none.
std::string data_directory(const std::string &configuration)
{
    std::ifstream file(configuration);
    std::string directory;
    for (std::string line; std::getline(file, line);) {
        const std::size_t begin = line.find_first_not_of(" \t");
        const std::size_t equals = line.find('=');
        if (begin == std::string::npos || equals == std::string::npos ||
            line.compare(begin, 7, "DirData") != 0) {
            continue;
        }
        const std::size_t value = line.find_first_not_of(" \t\"'", equals + 1);
        const std::size_t end = line.find_first_of("\"'#\r", std::min(value, line.size()));
        directory = value == std::string::npos ? "" : line.substr(value, end - value);
        directory.erase(directory.find_last_not_of(" \t/") + 1);
    }
    return directory;
}

} // namespace

std::string AwstatsData::Files::path(const std::string &name, Month month) const
{
    return directory + "/" + prefix + month_digits(month) + "." + name + suffix;
}

const AwstatsData::Months &AwstatsData::listing(const std::string &directory)
{
    const auto [found, is_new] = listings_.try_emplace(directory);
    Months &months = found->second;
    if (is_new) {
        read_directory(
            AT_FDCWD, (directory + "/.").c_str(), [&](int, const char *entry, unsigned char) {
                const std::string file = entry;
                const std::size_t name = prefix.size() + 7;
                if (file.size() <= name + suffix.size() ||
                    file.compare(0, prefix.size(), prefix) != 0 || file[name - 1] != '.' ||
                    file.compare(file.size() - suffix.size(), suffix.size(), suffix) != 0) {
                    return;
                }
                const Month month = month_of_data(file.substr(prefix.size(), 6));
                if (month != no_month) {
                    months[file.substr(name, file.size() - name - suffix.size())].push_back(month);
                }
            });
    }
    return months;
}

AwstatsData::Files AwstatsData::files_of(const std::string &domain, const std::string &service,
                                         bool look_elsewhere)
{
    const std::string name = domain + "-" + service;
    Files files = {panel_path("var/awstats"), {}};
    const Months *months = &listing(files.directory);
    if (months->count(name) == 0) {
        const std::string other =
            look_elsewhere ? data_directory(awstats_conf_path(domain, service)) : "";
        if (other.empty() || other == files.directory) {
            return files;
        }
        files.directory = other;
        months = &listing(other);
    }
    const auto found = months->find(name);
    if (found != months->end()) {
        files.months = found->second;
        std::sort(files.months.begin(), files.months.end());
    }
    return files;
}
