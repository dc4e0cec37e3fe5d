#include "admin/log_checks.h"

#include "admin/listing.h"
#include "admin/places.h"
#include "admin/records.h"
#include "admin/run_lock.h"
#include "admin/texts.h"
#include "util/shell_quote.h"

#include <unistd.h>

#include <algorithm>
#include <stdexcept>

LogChecks::LogChecks(Checklist &checklist, const DomainSurvey &domain, const Surveyor &surveyor)
    : list_(checklist), domain_(domain), surveyor_(surveyor), paths_(domain_paths(domain.domain))
{
    for (std::size_t i = 0; i < std::size(log_sources); ++i) {
        const std::string log = log_sources[i].log_name;
        if (domain_.has_log(log)) {
            raw_logs_[i] = look_at(surveyor_.directory(), domain_.domain + "/logs/" + log, 0);
        }
    }
}

bool LogChecks::has_records(const LogSource &source) const
{
    const struct stat &raw = raw_logs_[&source - log_sources];
    return S_ISREG(raw.st_mode) && raw.st_size != 0;
}

bool LogChecks::was_rotated(const LogSource &source) const
{
    const std::string log = source.log_name;
    return std::any_of(domain_.log_names.begin(), domain_.log_names.end(),
                       [&](const std::string &name) {
                           return name.compare(0, log.size(), log) == 0 &&
                                  name.find_first_of(".-", log.size()) == log.size() &&
                                  name != prepared_log_name(log);
                       });
}

void LogChecks::check_raw_log(const LogSource &source)
{
    const std::string path = logs_dir_path(paths_) + source.log_name;
    const std::string word = shell_quote(path);
    const struct stat &raw = raw_logs_[&source - log_sources];
    char target[4096];
    const ssize_t length = raw.st_mode == 0 && domain_.has_log(source.log_name)
                               ? ::readlink(path.c_str(), target, sizeof target)
                               : -1;
    if (length > 0) {
        list_.add(ProblemKind::place,
                  path + " leads to " + std::string(target, static_cast<std::size_t>(length)) +
                      ", which is not there",
                  "have the server log to that, or ln -sfn THE-RIGHT-LOG " + word);
    } else if (raw.st_mode != 0 && !S_ISREG(raw.st_mode)) {
        list_.add(ProblemKind::place, path + " is not a regular file",
                  "mv " + word + " " + shell_quote(path + ".old") +
                      ", and have the server log to a file");
    }
}

void LogChecks::check_position(const LogSource &source)
{
    const std::string path = log_position_path(domain_.domain, source.log_name);
    try {
        const auto position = read_log_position(path);
        if (position) {
            check_unprepared(source, *position);
        }
    } catch (const std::runtime_error &error) {
        list_.add(
            ProblemKind::position, error.what(),
            "restore it from a backup; or, to have the log taken from its beginning, of which "
            "its generator passes over what it has counted, rm -r " +
                shell_quote(path));
    }
}

// What came before the last preparation should have been prepared by it. Where more has come since,
// the first record tells; servers write it when the transfer ends, which can take hours.
void LogChecks::check_unprepared(const LogSource &source, const LogPosition &position)
{
    constexpr std::time_t hour = 3600;
    const std::string log = std::string("logs/") + source.log_name;
    const std::string path = domains_dir_path() + domain_.domain + "/" + log;
    if (!domain_.has_log(source.log_name) && !was_rotated(source)) {
        list_.add(ProblemKind::place, path + " is missing, and was not rotated",
                  "have the server log to it, or rm " +
                      shell_quote(log_position_path(domain_.domain, source.log_name)));
    }
    const struct stat &raw = raw_logs_[&source - log_sources];
    const TakenFile &known = position.files.back();
    const auto size = S_ISREG(raw.st_mode) ? static_cast<std::uintmax_t>(raw.st_size) : 0;
    const bool is_same = raw.st_ino == known.inode && size >= known.taken;
    const std::uintmax_t taken = is_same ? known.taken : 0;
    if (size == taken || (is_same && size == known.size)) {
        return;
    }
    const std::time_t since = first_record_time(surveyor_.directory(), domain_.domain + "/" + log,
                                                static_cast<off_t>(taken));
    const std::time_t latest =
        std::max(surveyor_.last_preparation() - 12 * hour, std::time(nullptr) - 36 * hour);
    if (raw.st_mtime < surveyor_.last_preparation() || (since != -1 && since < latest)) {
        list_.add(ProblemKind::waiting,
                  path + ": " + size_text(size - taken) + " are not prepared, the first of " +
                      time_text(since == -1 ? raw.st_mtime : since),
                  "to see why, " + under_run_lock(shell_quote(
                                       panel_path("admin/sbin/statistics_log_processor"))));
    }
}

void LogChecks::check_prepared_log(const ServiceSurvey &service)
{
    const std::string path = prepared_log_path(paths_, *service.source);
    if (service.wrong_type) {
        list_.add(ProblemKind::place, path + " is not a regular file",
                  "mv " + shell_quote(path) + " " + shell_quote(path + ".old"));
    } else if (service.waiting.bytes != 0) {
        list_.add(ProblemKind::waiting,
                  path + " still holds " + size_text(service.waiting.bytes) +
                      " of records, the first of " + time_text(service.waiting.since),
                  "to see why, " + under_run_lock("statistics_run --calculate-domain ") +
                      shell_quote(domain_.domain));
    }
}
