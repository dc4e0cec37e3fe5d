#include "preparation/log_preparation.h"

#include "config/server_config.h"
#include "preparation/line_reader.h"
#include "preparation/position_file.h"
#include "preparation/prepared_log.h"
#include "preparation/previous_month.h"
#include "preparation/unread_files.h"
#include "util/log_line.h"
#include "util/owned.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <exception>
#include <set>
#include <stdexcept>
#include <utility>

namespace
{

constexpr int most_attempts = 5;

// The directories of a domain.
struct Domain {
    std::string name;
    Directory directory;
    Directory logs;
    bool has_positions = true; // whether logs of it may have been prepared before
};

// Leaves the marker of the previous month, unless it is there.
void leave_marker(const Domain &domain)
{
    const Directory conf = open_directory(domain.directory.get(), domain.directory.path, "conf");
    if (!conf.isOpen()) {
        fail(conf.path, "there is no such directory for the marker of the previous month");
    }
    const Place marker = place_at(conf.get(), conf.path, "prev_month.found");
    if (marker.exists) {
        if (!marker.isFile()) {
            fail(marker.path, "is not a regular file");
        }
        return;
    }
    const Descriptor file(::openat(conf.get(), marker.name.c_str(),
                                   O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!file.is_open() || ::fsync(file.get()) != 0 || ::fsync(conf.get()) != 0) {
        fail(marker.path);
    }
}

// Looks at the dates of lines.
class Looking : public LineTaker
{
public:
    explicit Looking(PreviousMonth &month) : month_(month) {}

    void take(const char *bytes, std::size_t count) override { month_.look(bytes, count); }
    void takeBack(std::uint64_t /*count*/) override {}

private:
    PreviousMonth &month_;
};

// Looks at the dates of lines and appends them to a prepared log.
class Appending : public Looking
{
public:
    Appending(PreparedLog &prepared, PreviousMonth &month) : Looking(month), prepared_(prepared) {}

    void take(const char *bytes, std::size_t count) override
    {
        Looking::take(bytes, count);
        prepared_.append(bytes, count);
    }
    void takeBack(std::uint64_t count) override { prepared_.takeBack(count); }

private:
    PreparedLog &prepared_;
};

// What the next time needs to know: the newest file and the one before it; or, as long as nothing
// was taken of the newest one, the last one before it that has lines.
std::vector<TakenFile> files_to_know(Unread &unread, const LogPosition &before)
{
    std::vector<TakenFile> files;
    if (unread.kept) {
        files.push_back(*unread.kept);
    }
    for (UnreadFile &file : unread.files) {
        while (file.taken == 0 && !files.empty() && files.back().taken == 0) {
            files.pop_back();
        }
        files.push_back(file.file.asTaken(file.taken));
    }
    if (files.empty()) {
        return before.files;
    }
    files.erase(files.begin(),
                files.end() - std::min<std::ptrdiff_t>(files.end() - files.begin(), 2));
    return files;
}

class LogPreparation
{
public:
    LogPreparation(const Domain &domain, const LogSource &source)
        : domain_(domain), source_(source),
          position_path_(log_position_path(domain.name, source.log_name))
    {
    }

    void run()
    {
        const Place log = find_place(domain_.logs.get(), domain_.logs.path, source_.log_name);
        std::optional<LogPosition> position;
        if (domain_.has_positions) {
            position = read_log_position(position_path_);
        }
        if (!position && !log.exists) {
            return;
        }
        if (position) {
            settle(*position);
        } else {
            position = first_position(log);
            preparedLog(*position).requireNoStray();
        }
        if (!is_unchanged(log, *position)) {
            takeUnread(*position);
        } else if (source_.parent != nullptr) {
            preparedLog(*position).empty();
        }
    }

private:
    PreparedLog preparedLog(const LogPosition &position) const
    {
        return {domain_.logs.get(), domain_.logs.path, source_.log_name, position_path_, position};
    }

    // Brings to its end what was cut short. A run may have used up the marker that was left for it.
    void settle(const LogPosition &position) const
    {
        PreparedLog prepared = preparedLog(position);
        Place place = prepared.unsettled();
        if (!place.exists) {
            return;
        }
        LogFile file(std::move(place));
        PreviousMonth month(source_, std::time(nullptr));
        Looking looking(month);
        read_lines(file, 0, &looking);
        if (month.found()) {
            leave_marker(domain_);
        }
        prepared.settle();
    }

    // Takes what is unread, and once more if the log is rotated meanwhile.
    void takeUnread(const LogPosition &position)
    {
        for (int attempt = 1;; ++attempt) {
            const Place log = find_place(domain_.logs.get(), domain_.logs.path, source_.log_name);
            try {
                take(find_unread(log, position), position);
                return;
            } catch (const LogChanged &) {
                if (attempt == most_attempts) {
                    throw;
                }
            }
        }
    }

    void take(Unread unread, const LogPosition &position)
    {
        PreparedLog prepared = preparedLog(position);
        if (source_.parent != nullptr) {
            prepared.replace();
        }
        PreviousMonth month(source_, std::time(nullptr));
        Appending appending(prepared, month);
        for (UnreadFile &file : unread.files) {
            file.file.reopen();
            file.taken = read_lines(file.file, file.taken, &appending);
            file.file.endReading();
        }
        const LogPosition after = {position.prepared, files_to_know(unread, position)};
        secure(unread.files, prepared.hasGrown());
        if (month.found()) {
            leave_marker(domain_);
        }
        if (prepared.hasGrown() || log_position_text(after) != log_position_text(position)) {
            prepared.commit(after.files);
        }
        if (source_.parent != nullptr && !prepared.hasGrown()) {
            prepared.empty();
        }
        if (!unread.message.empty()) {
            throw std::runtime_error(unread.message);
        }
    }

    // Makes sure that what was read belongs together, and that no power failure takes it away from
    // the raw log: lines that came later would stand where others were taken.
    static void secure(const std::deque<UnreadFile> &files, bool were_lines_taken)
    {
        for (const UnreadFile &file : files) {
            if (!file.file.isTheSame()) {
                throw LogChanged(file.file.place().path);
            }
            if (were_lines_taken) {
                file.file.sync();
            }
        }
    }

    const Domain &domain_;
    const LogSource &source_;
    std::string position_path_;
};

// The names in the domains directory, those that are links last.
std::vector<std::string> list_domains(int directory, const std::string &path)
{
    Descriptor copy(::openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const OwnedListing listing(copy.is_open() ? ::fdopendir(copy.get()) : nullptr);
    if (listing == nullptr) {
        fail(path);
    }
    copy.release(); // closed with the listing
    std::vector<std::pair<bool, std::string>> entries;
    errno = 0;
    while (const dirent *const entry = ::readdir(listing.get())) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..") {
            entries.emplace_back(entry->d_type == DT_LNK, name);
        }
        errno = 0;
    }
    if (errno != 0) {
        fail(path);
    }
    std::sort(entries.begin(), entries.end());
    std::vector<std::string> names;
    names.reserve(entries.size());
    for (const auto &[is_link, name] : entries) {
        names.push_back(name);
    }
    return names;
}

class AllLogs
{
public:
    bool prepare()
    {
        const std::string path = std::string(conf_get(HTTPD_VHOSTS_D)) + "/system";
        const Descriptor directory(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (!directory.is_open()) {
            fail(path);
        }
        for (const std::string &name : list_domains(directory.get(), path)) {
            attempt([&] { prepareDomain(directory.get(), path, name); });
        }
        return is_good_;
    }

private:
    template <class Work>
    void attempt(const Work &work)
    {
        try {
            work();
        } catch (const std::exception &failure) {
            is_good_ = false;
            log_line(std::string("statistics_log_processor: ") + failure.what());
        }
    }

    void prepareDomain(int domains, const std::string &path, const std::string &name)
    {
        Domain domain;
        domain.name = name;
        domain.directory = open_directory(domains, path, name);
        if (!domain.directory.isOpen()) {
            return;
        }
        domain.logs = open_directory(domain.directory.get(), domain.directory.path, "logs");
        if (!domain.logs.isOpen() &&
            place_at(domain.directory.get(), domain.directory.path, "logs").exists) {
            fail(domain.logs.path, "is not a directory");
        }
        struct stat status = {};
        if (!domain.logs.isOpen() || ::fstat(domain.logs.get(), &status) != 0 ||
            !seen_.emplace(status.st_dev, status.st_ino).second) {
            return;
        }
        domain.has_positions =
            ::access(log_position_path(name, "").c_str(), F_OK) == 0 || errno != ENOENT;
        for (const LogSource &source : log_sources) {
            attempt([&] { LogPreparation(domain, source).run(); });
        }
    }

    bool is_good_ = true;
    std::set<std::pair<dev_t, ino_t>> seen_; // directories of logs
};

} // namespace

bool prepare_all_logs()
{
    const Descriptor lock = lock_log_positions();
    ::futimens(lock.get(), nullptr); // tells when logs were prepared last
    return AllLogs().prepare();
}
