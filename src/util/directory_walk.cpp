#include "util/directory_walk.h"

#include "util/descriptors.h"
#include "util/owned.h"
#include "util/report.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace
{

constexpr rlim_t descriptors_per_level = 2;
constexpr rlim_t stack_per_level = 640; // measured: 560 bytes

OwnedListing open_listing(const char *path, FinalLink final_link)
{
    const int link_flag = final_link == FinalLink::refuse ? O_NOFOLLOW : 0;
    Descriptor directory(::open(path, O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC | link_flag));
    if (!directory.is_open()) {
        return nullptr;
    }
    OwnedListing listing(::fdopendir(directory.get()));
    if (listing != nullptr) {
        directory.release(); // closed with the listing
    }
    return listing;
}

// The next name of the listing; null at its end, or after a report if it can't be read further.
const char *next_name(DIR *listing, const char *path, int exit_status)
{
    const int previous_errno = errno;
    errno = 0;
    const dirent *const entry = ::readdir(listing);
    if (entry == nullptr && errno != 0) {
        report_failure("Unable to read dir %s: %s\n", path, exit_status);
        return nullptr;
    }
    errno = previous_errno;
    return entry == nullptr ? nullptr : entry->d_name;
}

bool visit_entries(DIR *listing, const char *path, int exit_status, const EntryVisitor &visit)
{
    while (const char *const name = next_name(listing, path, exit_status)) {
        struct stat status = {};
        if (::lstat(name, &status) != 0) {
            if (errno == ENOENT) {
                continue;
            }
            report_failure("Unable to check directory entry %s: %s\n", name, exit_status);
            return false;
        }
        if (!visit(name, status)) {
            return false;
        }
    }
    return true;
}

} // namespace

bool walk_directory(const char *path, FinalLink final_link, int exit_status,
                    const EntryVisitor &visit, const ListingEnd &listed)
{
    Descriptor saved(::open(".", O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!saved.is_open()) {
        report(exit_status, 0, "Unable to get file descriptor of current dir: %s\n",
               std::strerror(errno));
        return false;
    }
    OwnedListing listing = open_listing(path, final_link);
    if (listing == nullptr) {
        report_failure("Unable to open dir %s: %s\n", path, exit_status);
        return false;
    }
    if (::fchdir(::dirfd(listing.get())) != 0) {
        report_failure("Unable to change dir %s: %s\n", path, exit_status);
        return false;
    }
    if (!visit_entries(listing.get(), path, exit_status, visit) || (listed && !listed())) {
        saved.release();
        static_cast<void>(listing.release());
        return false;
    }
    if (::fchdir(saved.get()) != 0 || saved.close() != 0) {
        report(exit_status, 0, "Unable to restore & close current dir: %s\n", std::strerror(errno));
        return false;
    }
    if (::closedir(listing.release()) != 0) {
        report_failure("Unable to close dir %s: %s\n", path, exit_status);
        return false;
    }
    return true;
}

bool is_dot_or_dot_dot(const char *name)
{
    return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

RaisedDescriptorLimit::RaisedDescriptorLimit() noexcept
{
    ::getrlimit(RLIMIT_NOFILE, &previous_);
    rlimit stack = {RLIM_INFINITY, RLIM_INFINITY};
    ::getrlimit(RLIMIT_STACK, &stack);
    const rlim_t most = stack.rlim_cur / stack_per_level * descriptors_per_level;
    const rlimit raised = {std::max(previous_.rlim_cur, std::min(previous_.rlim_max, most)),
                           previous_.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &raised);
}

RaisedDescriptorLimit::~RaisedDescriptorLimit()
{
    ::setrlimit(RLIMIT_NOFILE, &previous_);
}
