#include "preparation/place.h"

#include "exec/system_error.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <boost/algorithm/string/join.hpp>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <deque>
#include <stdexcept>
#include <utility>

namespace
{

constexpr int most_links = 40;

// The names of a path before the others.
void prepend(std::deque<std::string> &names, const std::string &path)
{
    std::size_t end = path.size();
    while (end > 0) {
        const std::size_t slash = path.rfind('/', end - 1);
        const std::size_t begin = slash == std::string::npos ? 0 : slash + 1;
        if (begin < end) {
            names.push_front(path.substr(begin, end - begin));
        }
        end = slash == std::string::npos ? 0 : slash;
    }
}

std::string directory_path(const Place &place)
{
    const std::size_t length = place.path.size() - place.name.size();
    return length <= 1 ? "/" : place.path.substr(0, length - 1);
}

// Opens the directory of that name, but follows no link.
Descriptor open_here(int directory, const std::string &name)
{
    return Descriptor(::openat(directory, name.c_str(),
                               O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
}

// Opens the directory at the path, if there is no link in it; where that can't be told at once, what
// is returned is not open.
Descriptor open_without_links(int directory, const std::string &path)
{
    open_how how = {};
    how.flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
    how.resolve = RESOLVE_NO_SYMLINKS;
    return Descriptor(
        static_cast<int>(::syscall(SYS_openat2, directory, path.c_str(), &how, sizeof how)));
}

// Where the link at the place leads to; `links` were met up to this one.
std::string target_of(const Place &place, int links)
{
    if (links > most_links) {
        errno = ELOOP;
        fail(place.path);
    }
    struct stat around = {};
    if (::fstat(place.directory, &around) != 0) {
        fail(place.path);
    }
    if (place.status.st_uid != 0 || around.st_uid != 0 || (around.st_mode & 022U) != 0) {
        fail(place.path, "is a link that others than root can have made");
    }
    char target[PATH_MAX];
    const ssize_t length = ::readlinkat(place.directory, place.name.c_str(), target, sizeof target);
    if (length < 0) {
        fail(place.path);
    }
    if (length == 0 || std::count(target, target + length, '/') == length) {
        fail(place.path, "is a link to no file");
    }
    return {target, static_cast<std::size_t>(length)};
}

} // namespace

Place place_at(int directory, const std::string &path, const std::string &name)
{
    Place place;
    place.directory = directory;
    place.name = name;
    place.path = path + (path == "/" ? "" : "/") + name;
    place.exists = ::fstatat(directory, name.c_str(), &place.status, AT_SYMLINK_NOFOLLOW) == 0;
    if (!place.exists && errno != ENOENT) {
        fail(place.path);
    }
    return place;
}

Place beside(const Place &place, const std::string &name)
{
    return place_at(place.directory, directory_path(place), name);
}

Place find_place(int directory, const std::string &path, const std::string &name)
{
    std::deque<std::string> names;
    prepend(names, name);
    Descriptor entered; // if it is not the one given
    std::string around = path;
    int links = 0;
    while (true) {
        Place place = place_at(directory, around, names.front());
        names.pop_front();
        if (place.exists && S_ISLNK(place.status.st_mode)) {
            const std::string target = target_of(place, ++links);
            prepend(names, target);
            const bool is_absolute = target[0] == '/';
            const std::string file = names.back();
            names.pop_back();
            const std::string way = boost::algorithm::join(names, "/");
            Descriptor last = open_without_links(directory, (is_absolute ? "/" : "") + way);
            if (last.is_open()) {
                entered = std::move(last);
                around = is_absolute || around == "/" ? "" : around;
                around.append("/").append(way);
                names.clear();
            } else if (is_absolute) {
                entered = Descriptor(::open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
                around = "/";
            }
            names.push_back(file);
        } else if (!place.exists && !names.empty()) {
            fail(place.path, "is missing");
        } else if (names.empty()) {
            place.owned = std::move(entered);
            return place;
        } else {
            entered = open_here(place.directory, place.name);
            if (!entered.is_open()) {
                fail(place.path);
            }
            around = place.path;
        }
        directory = entered.is_open() ? entered.get() : directory;
    }
}

Directory open_directory(int directory, const std::string &path, const std::string &name)
{
    Directory opened = {open_here(directory, name), path + "/" + name};
    if (opened.isOpen() || errno == ENOENT) {
        return opened;
    }
    if (errno != ENOTDIR && errno != ELOOP) {
        fail(opened.path);
    }
    const Place place = find_place(directory, path, name);
    if (place.exists && S_ISDIR(place.status.st_mode)) {
        opened = {open_here(place.directory, place.name), place.path};
        if (!opened.isOpen()) {
            fail(place.path);
        }
    }
    return opened;
}

Descriptor open_file(Place &place, int flags)
{
    const char *const no_file = "is not a regular file";
    if (!S_ISREG(place.status.st_mode)) {
        fail(place.path, no_file);
    }
    Descriptor file(::openat(place.directory, place.name.c_str(),
                             flags | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file.is_open() || ::fstat(file.get(), &place.status) != 0) {
        fail(place.path);
    }
    if (!S_ISREG(place.status.st_mode)) {
        fail(place.path, no_file);
    }
    return file;
}

void fail(const std::string &path)
{
    korvo::raiseSystemError(path, errno);
}

void fail(const std::string &path, const std::string &reason)
{
    throw std::runtime_error(path + ": " + reason);
}
