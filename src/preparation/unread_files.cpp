#include "preparation/unread_files.h"

#include "exec/system_error.h"
#include "preparation/line_reader.h"
#include "preparation/rotated_logs.h"

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

namespace
{

using Names = std::vector<std::string>;

bool is_unchanged_file(const Place &place, const TakenFile &file)
{
    return place.exists && place.name == file.name && place.status.st_ino == file.inode &&
           static_cast<std::uint64_t>(place.status.st_size) == file.size &&
           changed_at(place.status) == file.changed;
}

bool is_older_unchanged(const Place &log, const LogPosition &position)
{
    return position.files.size() == 1 ||
           is_unchanged_file(beside(log, position.files[0].name), position.files[0]);
}

Names chain(const Place &log)
{
    Names names = rotated_logs(log);
    if (beside(log, log.name).exists) {
        names.push_back(log.name);
    }
    return names;
}

LogFile open_log(const Place &log, const std::string &name)
{
    Place place = beside(log, name);
    if (!place.exists) {
        throw LogChanged(log.path);
    }
    try {
        return LogFile(std::move(place));
    } catch (const korvo::ExSystemError<ENOENT> &) {
        throw LogChanged(log.path);
    }
}

// The newest file of the names up to `end` that is the one taken or, unless null, the older one; of
// files that begin alike, the one with the inode, if that has not become a newer one's. What is
// passed meanwhile, and the file, come to the front of the files. Returns its place among the names,
// or `end` if there is none; then all of them are passed.
std::size_t find_taken(const Place &log, const Names &names, std::size_t end,
                       const TakenFile &taken, const TakenFile *older,
                       std::deque<UnreadFile> &files)
{
    const TakenFile *known = nullptr;
    std::size_t found = end;
    for (std::size_t i = end; i > 0; --i) {
        files.push_front({open_log(log, names[i - 1]), 0});
        LogFile &file = files.front().file;
        file.close();
        const bool is_taken = file.isKnownAs(taken);
        const bool is_older = !is_taken && older != nullptr && file.isKnownAs(*older);
        const bool is_certain = is_taken && file.place().status.st_ino == taken.inode;
        if (is_certain || (known == nullptr && (is_taken || is_older))) {
            known = is_older ? older : &taken;
            found = i - 1;
        }
        if (is_certain || is_older) {
            break;
        }
    }
    if (known != nullptr) {
        while (files.size() > end - found) {
            files.pop_front();
        }
        files.front().taken = files.front().file.upToEnd(known->taken);
    }
    return found;
}

bool was_written_after(const UnreadFile &file, std::int64_t time)
{
    const timespec &written = file.file.place().status.st_mtim;
    return written.tv_sec * std::int64_t{1000000000} + written.tv_nsec > time;
}

// Drops the copy of the log, made to truncate the log next, from before the log. A log that is
// rotated in this way keeps its inode.
void drop_copy(const TakenFile &newest, std::deque<UnreadFile> &files)
{
    const bool is_first_time = newest.inode == 0;
    if (files.size() < 2 ||
        (!is_first_time && files.back().file.place().status.st_ino != newest.inode)) {
        return;
    }
    const LogFile &log = files.back().file;
    const UnreadFile &copy = files[files.size() - 2];
    const std::string &beginning = copy.file.beginning();
    if (copy.taken == 0 && !beginning.empty() && !is_compressed(copy.file.place().name) &&
        copy.file.place().status.st_size <= log.place().status.st_size &&
        log.beginning().compare(0, beginning.size(), beginning) == 0) {
        files.erase(files.end() - 2);
    }
}

// Whether the names still name the files.
bool is_same_chain(const Place &log, const Names &names, const std::deque<UnreadFile> &files)
{
    return chain(log) == names && std::all_of(files.begin(), files.end(), [&](const auto &file) {
               const Place &opened = file.file.place();
               return beside(log, opened.name).status.st_ino == opened.status.st_ino;
           });
}

// Reads the log on, if it is the one taken and the older file is unchanged.
bool find_rest(const Place &log, const LogPosition &position, Unread &unread)
{
    const TakenFile &newest = position.files.back();
    if (!log.exists || !is_older_unchanged(log, position)) {
        return false;
    }
    LogFile file = open_log(log, log.name);
    if (!file.isKnownAs(newest) || file.place().status.st_ino != newest.inode) {
        return false;
    }
    if (position.files.size() > 1) {
        unread.kept = position.files[0];
    }
    const std::uint64_t taken = file.upToEnd(newest.taken);
    if (taken < newest.taken) {
        unread.message = log.path + ": is shorter than what was taken of it; going on from its end";
    }
    unread.files.push_back({std::move(file), taken});
    return true;
}

std::string message_of_loss(const Place &log, const std::deque<UnreadFile> &files)
{
    const auto next = std::find_if(files.begin(), files.end(),
                                   [](const UnreadFile &file) { return file.taken == 0; });
    return log.path +
           ": the log that was being read is gone, with what it held after the last line taken; "
           "going on from the beginning of " +
           (next == files.end() ? "the next one" : next->file.place().name);
}

// The file before the newest one known, of which nothing was taken: it is known by its inode, and,
// if it was compressed since, by having been written to.
bool is_late(const UnreadFile &file, const TakenFile &older, const TakenFile &newest)
{
    const Place &place = file.file.place();
    return (place.status.st_ino == older.inode && !is_compressed(place.name)) ||
           was_written_after(file, newest.changed);
}

// Finds what is unread of the older file, among the names up to `end`.
void find_older(const Place &log, const Names &names, std::size_t end, const LogPosition &position,
                std::deque<UnreadFile> &files)
{
    const TakenFile &older = position.files[0];
    std::deque<UnreadFile> passed;
    if (older.taken > 0) {
        if (find_taken(log, names, end, older, nullptr, passed) < end) {
            files.push_front(std::move(passed.front()));
        }
    } else if (end > 0) {
        passed.push_front({open_log(log, names[end - 1]), 0});
        if (is_late(passed.front(), older, position.files.back())) {
            files.push_front(std::move(passed.front()));
        }
    }
}

void find_rotated(const Place &log, const LogPosition &position, const Names &names, Unread &unread)
{
    std::deque<UnreadFile> &files = unread.files;
    const TakenFile &newest = position.files.back();
    const TakenFile *const older = position.files.size() > 1 ? &position.files[0] : nullptr;
    const std::size_t found = find_taken(log, names, names.size(), newest, older, files);
    if (found < names.size() && files.front().file.isKnownAs(newest)) {
        if (older != nullptr) {
            find_older(log, names, found, position, files);
        }
        return;
    }
    if (!log.exists && newest.taken > 0) {
        throw std::runtime_error(
            log.path +
            ": is missing, and was not rotated; its lines wait until it, or another one, is "
            "there");
    }
    const bool was_looked_at = older != nullptr || newest.inode != 0;
    while (found == names.size() && was_looked_at && !files.empty() &&
           files.front().file.place().name != log.name && !is_late(files.front(), newest, newest)) {
        files.pop_front();
    }
    if (newest.taken > 0) {
        unread.message = message_of_loss(log, files);
    }
}

} // namespace

bool is_unchanged(const Place &log, const LogPosition &position)
{
    return is_unchanged_file(log, position.files.back()) && is_older_unchanged(log, position);
}

LogPosition first_position(const Place &log)
{
    LogPosition position;
    const Names names = rotated_logs(log);
    const LogFile current = open_log(log, log.name);
    for (auto name = names.rbegin(); name != names.rend() && position.files.empty(); ++name) {
        LogFile file = open_log(log, *name);
        const TakenFile taken = file.asTaken(read_lines(file, 0, nullptr));
        if (taken.taken > 0 && !current.isKnownAs(taken)) { // it may be a copy of the log
            position.files.push_back(taken);
        }
    }
    TakenFile nothing;
    nothing.name = log.name;
    nothing.changed = changed_at(log.status);
    nothing.fingerprint = "-";
    position.files.push_back(nothing);
    return position;
}

Unread find_unread(const Place &log, const LogPosition &position)
{
    Unread unread;
    if (!find_rest(log, position, unread)) {
        const Names names = chain(log);
        find_rotated(log, position, names, unread);
        drop_copy(position.files.back(), unread.files);
        if (!is_same_chain(log, names, unread.files)) {
            throw LogChanged(log.path);
        }
    }
    return unread;
}
