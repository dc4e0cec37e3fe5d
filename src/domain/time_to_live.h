#pragma once

#include <ctime>

// How long the pages of a month are kept.

// The months that a domain keeps whose stat_ttl.conf begins with that number; 120 for one that is
// not positive.
int months_kept(int stat_ttl);

// A time in the month that falls out of the time-to-live at the given time, the newest of those that
// are not to be kept.
std::time_t expiring_time(std::time_t now, int months);
