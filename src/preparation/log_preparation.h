#pragma once

#include "domain/log_sources.h"

#include <string>

// Prepares the logs of every domain: what has come to a raw log since the last time is appended to
// its prepared log. What goes wrong with a log or a domain is logged, with the path and the reason,
// and the next one has its turn. The time of modification of the directory of the positions tells
// when the last preparation began. Returns whether nothing went wrong. Throws korvo::SystemError and
// std::runtime_error if the domains or the positions can't be got at.
bool prepare_all_logs();
