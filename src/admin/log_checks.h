#pragma once

#include "admin/checklist.h"
#include "admin/survey.h"
#include "domain/log_position.h"

#include <sys/stat.h>

#include <iterator>

// Checks of the logs of one domain, which find what waits in them and what keeps it from being taken.
// The checklist, the domain and the surveyor must outlive them.
class LogChecks
{
public:
    LogChecks(Checklist &checklist, const DomainSurvey &domain, const Surveyor &surveyor);

    // That a raw log, if there is one, is a regular file or leads to one.
    void check_raw_log(const LogSource &source);

    // That the position of the log can be read, if there is one, that the log is still there, and that
    // nothing waits in it that the last preparation should have taken.
    void check_position(const LogSource &source);

    // That the prepared log is a regular file, and empty.
    void check_prepared_log(const ServiceSurvey &service);

    // Whether there is anything in the raw log.
    bool has_records(const LogSource &source) const;

private:
    void check_unprepared(const LogSource &source, const LogPosition &position);
    bool was_rotated(const LogSource &source) const;

    Checklist &list_;
    const DomainSurvey &domain_;
    const Surveyor &surveyor_;
    DomainPaths paths_;
    struct stat raw_logs_[std::size(log_sources)] = {}; // links followed; st_mode is 0 for nothing
};
