#pragma once

#include <string>

// Writes the text and an end-of-line to the standard log stream in one write and flushes it. What
// is pending on standard output goes out first, so that the lines of both streams keep their order
// where they end up in one file. A line that can't be written is lost; the next ones are tried.
void log_line(const std::string &text);
