#include "preparation/rotated_logs.h"

#include "preparation/log_file.h"
#include "util/owned.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <map>

namespace
{

constexpr std::size_t most_digits = 3; // of a number; what has more is a date
const char *const digits = "0123456789";

// Names by what tells their order.
using OrderedNames = std::map<std::string, std::string>;

OwnedListing open_listing(int directory)
{
    Descriptor copy(::openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    OwnedListing listing(copy.is_open() ? ::fdopendir(copy.get()) : nullptr);
    if (listing != nullptr) {
        copy.release(); // closed with the listing
    }
    return listing;
}

// What distinguishes a rotated log, without the ".gz"; empty if the name is not one of them.
std::string rotation_of(const std::string &name, const std::string &log)
{
    if (name.compare(0, log.size(), log) != 0) {
        return "";
    }
    std::string rotation = name.substr(log.size());
    if (is_compressed(rotation)) {
        rotation.erase(rotation.size() - 3);
    }
    const bool is_one = rotation.size() >= 2 && rotation.find_first_of("-._") == 0 &&
                        rotation.find_first_of(digits) == 1 &&
                        rotation.find_first_not_of("0123456789-._:T", 1) == std::string::npos;
    return is_one ? rotation : "";
}

bool is_number(const std::string &rotation)
{
    return rotation[0] == '.' && rotation.size() <= 1 + most_digits &&
           rotation.find_first_not_of(digits, 1) == std::string::npos;
}

// The complement of the number: its texts are in the order of time. Then the number as it is
// written.
std::string age_of(const std::string &rotation)
{
    return std::to_string(1999 - std::stoi(rotation.substr(1))) + rotation;
}

// When the newest of the files was written to; 0 if there is none.
timespec written(const Place &log, const OrderedNames &names)
{
    return names.empty() ? timespec{} : beside(log, names.rbegin()->second).status.st_mtim;
}

bool is_before(const timespec &a, const timespec &b)
{
    return a.tv_sec != b.tv_sec ? a.tv_sec < b.tv_sec : a.tv_nsec < b.tv_nsec;
}

void append(std::vector<std::string> &names, const OrderedNames &more)
{
    for (const auto &[order, name] : more) {
        names.push_back(name);
    }
}

} // namespace

std::vector<std::string> rotated_logs(const Place &log)
{
    const OwnedListing listing = open_listing(log.directory);
    if (listing == nullptr) {
        fail(log.path);
    }
    OrderedNames numbered;
    OrderedNames dated;
    errno = 0;
    while (const dirent *const entry = ::readdir(listing.get())) {
        const std::string name = entry->d_name;
        const std::string rotation = rotation_of(name, log.name);
        if (!rotation.empty()) {
            std::string &known = is_number(rotation) ? numbered[age_of(rotation)] : dated[rotation];
            known = known.empty() ? name : std::min(known, name); // the one without ".gz"
        }
        errno = 0;
    }
    if (errno != 0) {
        fail(log.path);
    }
    const bool dates_last = is_before(written(log, numbered), written(log, dated));
    std::vector<std::string> names;
    append(names, dates_last ? numbered : dated);
    append(names, dates_last ? dated : numbered);
    return names;
}
