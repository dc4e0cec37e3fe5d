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

// A file of the chain that is known.
struct Found {
    std::size_t place; // among the names; their end if there is none
    const TakenFile *file;
};

// Puts the file before the others. Returns which of the two it is, or null.
const TakenFile *look_at(const Place &log, const std::string &name, const TakenFile &taken,
                         const TakenFile *older, std::deque<UnreadFile> &files)
{
    files.push_front({open_log(log, name), 0});
    LogFile &file = files.front().file;
    const bool is_taken = file.isKnownAs(taken);
    const bool is_older = !is_taken && older != nullptr && file.isKnownAs(*older);
    file.close();
    return is_taken ? &taken : is_older ? older : nullptr;
}

// Finds the newest file of the names up to `end` that is the one taken or, unless null, the older
// one; of files that are alike, the one with the inode, if that has not become a newer one's. What is
// passed meanwhile, and the file, come to the front of the files; all of them if there is none.
Found find_taken(const Place &log, const Names &names, std::size_t end, const TakenFile &taken,
                 const TakenFile *older, std::deque<UnreadFile> &files)
{
    Found found = {end, nullptr};
    for (std::size_t i = end; i > 0; --i) {
        const TakenFile *const known = look_at(log, names[i - 1], taken, older, files);
        const bool is_certain =
            known == &taken && files.front().file.place().status.st_ino == taken.inode;
        if (is_certain || (found.file == nullptr && known != nullptr)) {
            found = {i - 1, known};
        }
        if (is_certain || (known != nullptr && known == older)) {
            break;
        }
    }
    if (found.file != nullptr) {
        while (files.size() > end - found.place) {
            files.pop_front();
        }
        files.front().taken = found.file->taken;
    }
    return found;
}

// Whether the file was written to at or after the time: the clock of files stands still for some
// milliseconds, in which much can be written.
bool was_written_since(const UnreadFile &file, std::int64_t time)
{
    const timespec &written = file.file.place().status.st_mtim;
    return written.tv_sec * std::int64_t{1000000000} + written.tv_nsec >= time;
}

// Drops the copies of the log, of which the last was made to truncate the log next, from before it.
// A log that is rotated in this way keeps its inode.
void drop_copies(const TakenFile &newest, std::deque<UnreadFile> &files)
{
    const bool is_first_time = newest.inode == 0;
    if (files.size() < 2 ||
        (!is_first_time && files.back().file.place().status.st_ino != newest.inode)) {
        return;
    }
    while (files.size() > 1) {
        LogFile &log = files.back().file;
        UnreadFile &copy = files[files.size() - 2];
        const off_t size = copy.file.place().status.st_size;
        if (copy.taken > 0 || is_compressed(copy.file.place().name)) {
            return;
        }
        log.reopen();
        copy.file.reopen();
        if (!log.isKnownAs(copy.file.asTaken(static_cast<std::uint64_t>(size)))) {
            return;
        }
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
    unread.files.push_back({std::move(file), newest.taken});
    return true;
}

// How much there is of the file that was being read, where it lacks the end of what was taken: the
// log was cut off, or lines were taken between its copy and its truncation. 0 if it is another file.
std::uint64_t length_cut_off(LogFile &file, const TakenFile &newest)
{
    if (!file.beginsAs(newest)) {
        return 0;
    }
    std::uint64_t length = file.upToEnd(newest.taken);
    if (is_compressed(file.place().name)) {
        file.reopen();
        length = read_lines(file, 0, nullptr);
        file.close();
    }
    return length < newest.taken ? length : 0;
}

// Goes on where the log that was being read is gone: after the last line taken, where one of the
// files holds that in another place, with enough before it to be certain; at the end of a file that
// lacks the end of what was taken; or else from the beginning of all that follow what is known of the
// older file. Returns the message.
std::string go_on(const Place &log, const TakenFile &newest, std::deque<UnreadFile> &files)
{
    const auto first = files.begin() + (!files.empty() && files.front().taken > 0 ? 1 : 0);
    const bool is_long = newest.ending != 0 && newest.taken >= ending_reach;
    for (auto next = files.end(); next != first && is_long; --next) {
        UnreadFile &file = *(next - 1);
        file.file.reopen();
        if (const std::optional<std::uint64_t> end = file.file.findEnding(newest)) {
            file.taken = *end;
            const std::string name = file.file.place().name;
            files.erase(first, next - 1);
            return log.path + ": was edited; going on after the last line taken, in " + name;
        }
    }
    for (auto next = files.end(); next != first; --next) {
        UnreadFile &file = *(next - 1);
        if (const std::uint64_t length = length_cut_off(file.file, newest)) {
            file.taken = length;
            const std::string path = file.file.place().path;
            files.erase(first, next - 1);
            return path + ": is shorter than what was taken of it; going on from its end, past "
                          "what was written since";
        }
    }
    return log.path +
           ": the log that was being read is gone, with what it held after the last line taken; "
           "going on from the beginning of " +
           (first == files.end() ? "the next one" : first->file.place().name);
}

// The file before the newest one known, of which nothing was taken: it is known by its inode, and,
// if it was compressed since, by having been written to.
bool is_late(const UnreadFile &file, const TakenFile &older, const TakenFile &newest)
{
    const Place &place = file.file.place();
    return (place.status.st_ino == older.inode && !is_compressed(place.name)) ||
           was_written_since(file, newest.changed);
}

// Finds what is unread of the older file, among the names up to `end`.
void find_older(const Place &log, const Names &names, std::size_t end, const LogPosition &position,
                std::deque<UnreadFile> &files)
{
    const TakenFile &older = position.files[0];
    std::deque<UnreadFile> passed;
    if (older.taken > 0) {
        if (find_taken(log, names, end, older, nullptr, passed).file != nullptr) {
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
    const Found found = find_taken(log, names, names.size(), newest, older, files);
    if (found.file == &newest) {
        if (older != nullptr) {
            find_older(log, names, found.place, position, files);
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
    while (found.file == nullptr && was_looked_at && !files.empty() &&
           files.front().file.place().name != log.name && !is_late(files.front(), newest, newest)) {
        files.pop_front();
    }
    if (newest.taken > 0) {
        unread.message = go_on(log, newest, files);
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
    LogFile current = open_log(log, log.name);
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
        drop_copies(position.files.back(), unread.files);
        if (!is_same_chain(log, names, unread.files)) {
            throw LogChanged(log.path);
        }
    }
    return unread;
}
