#pragma once

#include "admin/month.h"

#include <map>
#include <string>
#include <unordered_map>
#include <vector>

// The files in which AWStats keeps its data, one a month and configuration:
// "awstatsMMYYYY.<name>.txt" in the directory that the configuration calls DirData.
class AwstatsData
{
public:
    // Where the data of a configuration ("<domain>-<service>") lies, and its months, in order.
    struct Files {
        std::string directory;
        std::vector<Month> months;

        // The file of one month.
        std::string path(const std::string &name, Month month) const;
    };

    // Looks in "var/awstats" below the product root. A configuration that has no data there is read for
    // its DirData, if look_elsewhere; what it includes is not.
    Files files_of(const std::string &domain, const std::string &service, bool look_elsewhere);

private:
    using Months = std::unordered_map<std::string, std::vector<Month>>;

    const Months &listing(const std::string &directory);

    std::map<std::string, Months> listings_; // each directory is listed once
};
