#pragma once

#include <string>

// Produces the Webalizer statistics of one domain from its prepared logs, in two passes over the
// log table: the first fills Webalizer's DNS cache from every log, the second makes the pages of
// each log that has statistics of its own and then empties it. Each command is printed before it
// runs.
// A failed command is reported; its log stays as it is and is fed again at the next run, as is
// that of a command which is longer than its 4096-byte buffer holds; it is run as cut. An output
// directory that can't be made ends the run of this domain. The configured program goes into the
// commands as it stands, so that it can have options; names and paths are quoted. Throws
// boost::filesystem::filesystem_error if a log exists but its size can't be read.
void webalizer_run(const std::string &domain);
