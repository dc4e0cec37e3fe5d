#pragma once

#include <string>

// Produces the AWStats statistics of one domain, log by log: feeds each prepared log that has
// records, and statistics of its own, to AWStats' update program, empties it if that ended with 0,
// and makes the log's monthly pages and frame pages, whatever came of the update. Every log gets a
// line that tells what is done with it, or why nothing is.
// A failed update is logged with what the program wrote; its log is fed again at the next run.
// Throws what the page steps and the start of a program throw besides that (korvo::SystemError,
// boost::filesystem::filesystem_error).
void awstats_run(const std::string &domain);
