#pragma once

#include <cstdint>
#include <string>

// One log file that a domain can have.
struct LogSource {
    const char *log_name;    // bare file name in the domain's logs directory
    const char *webstat_dir; // subdirectory of the statistics directory that receives the pages
    std::uint16_t format;    // index into log_format_flags
    const char *service;     // tag of the service that writes the log; null for a row with a parent
    const LogSource *parent; // row whose statistics this log is accounted under, or null
};

// All logs, in the order in which they are processed.
extern const LogSource log_sources[6];

// Webalizer's option for the type of a log: 0 web server logs, 1 FTP transfer logs.
extern const char *const log_format_flags[2];

// The name of the prepared log that is made from the one of that name: "<log>.webstat".
std::string prepared_log_name(const std::string &log);

// Whether the log gets statistics of its own.
bool has_own_statistics(const LogSource &source);

// The name of the log that this one is accounted under; "<unknown>" if it has no parent.
const char *parent_log_name(const LogSource &source);
