#pragma once

#include "preparation/place.h"

#include <string>
#include <vector>

// The files that a log was rotated to, by their names in the directory of the log:
//   <log>.<number>         at most three digits; the higher the number, the older the file
//   <log>-<date>           digits and "-._:T", at least one digit first, after any of "-._"; the
//                          order of the dates is that of their texts
// and all of them with ".gz" after them. If there are names of both kinds, those of the kind that
// was written to last are the newer ones.

// Lists those of the log, the oldest first. A compressed copy is left out while what it is a copy of
// is there. Throws korvo::SystemError.
std::vector<std::string> rotated_logs(const Place &log);
