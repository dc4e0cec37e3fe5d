#pragma once

#include <sys/types.h>

#include <cstdint>
#include <ctime>
#include <string>

// The time of the record at the offset of a log, whose path is taken from the directory of the
// descriptor; -1 if it can't be told.
std::time_t first_record_time(int at, const std::string &path, off_t offset);

// Counts the lines of a file; 0 if it can't be read.
std::uintmax_t count_records(const std::string &path);
