#pragma once

#include "domain/domains.h"

#include <ctime>
#include <string>

// The static pages of one log, a directory per month in the log's statistics subdirectory, made by
// AWStats' page builder. Each month's index.html is a link to AWStats' main page, and the link
// "current" leads to the current month. A link that already has its target stays; whatever else is
// there is replaced. Months follow the local time zone.
//
// Failures of the page builder, of a link and of a directory are reported, and the run goes on.
// Other system errors of starting a program leave as korvo::SystemError.

// Makes the pages of the given month, of which only tm_year and tm_mon count, with its directory
// (owned by root, mode 0755; an existing one gets both) and its index link. Returns whether the
// pages and the link were made. The page builder gets each option and its value as separate
// arguments.
bool build_month_pages(const DomainPaths &paths, const LogSource &source, const tm &month);

// Makes the pages of the previous month by build_month_pages, if the marker file exists; then the
// marker is removed, whatever came of it, so that only the first log of a run that gets here is
// rebuilt.
// The month's directory is left alone where the working directory holds something that is named
// like the log's statistics subdirectory.
void build_previous_month_pages(const DomainPaths &paths, const LogSource &source,
                                const std::string &marker_path);

// Removes the one month that has now passed the domain's time-to-live, points "current" at the
// current month, makes its directory if needed (owned by root, mode 0755), and makes its pages
// through "current". A removal that fails ends the program (see remove_tree); where a path is too
// long for its buffer, nothing is removed.
// The page builder is started by the shell with the names as they are, unquoted: no domain must
// have characters in its name that mean something to a shell.
// Leaves AWSTATS_ENABLE_CONFIG_DIR=yes in the process's environment. Returns whether the pages, their
// index link and "current" were made.
bool build_current_month_pages(const DomainPaths &paths, const LogSource &source);

// The month of the time as "%Y-%m", in a static buffer that the next call overwrites; null if it
// can't be told.
const char *month_string(const time_t *time);
