#pragma once

#include "domain/log_sources.h"

#include <cstddef>
#include <ctime>
#include <string>

// Finds out whether lines of a log are dated in the month before, by what stands in them:
// "[21/Oct/2026:" in those of web servers, "Wed Oct 21 10:00:00 2026" at the beginning of those of
// FTP servers. What is no date is passed over.
class PreviousMonth
{
public:
    // now: the time whose month, in local time, is the current one.
    PreviousMonth(const LogSource &source, std::time_t now);

    // Looks at complete lines, or at the beginning of a long one.
    void look(const char *text, std::size_t length);

    // Whether a line of that month has been seen.
    bool found() const { return found_; }

private:
    bool isInWebLines(const char *text, const char *end) const;
    bool isInFtpLines(const char *text, const char *end) const;

    bool is_ftp_;
    std::string month_;
    std::string year_;
    bool found_ = false;
};
