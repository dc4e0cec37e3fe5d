#pragma once

#include <string>

// Where things lie that every server has once. Relative paths are taken from the working directory.

// Set by the build: the version, what the package has installed, and the lock that a run holds.
extern const char *const program_version;
extern const char *const installed_templates_dir;
extern const char *const installed_log_processor;
extern const char *const run_lock_path;

// The directory of the server configuration file, "/etc/zut".
std::string configuration_dir();

// Throws Refusal if there is something else than a file or a directory in the place of the server
// configuration file, as reading a FIFO would wait.
void require_configuration_file();

// Throws Refusal if there is a server configuration file that can't be read: the defaults, which
// would count then, are not what was meant. The same where a root in it holds a control character.
void require_readable_configuration();

// PRODUCT_ROOT_D, a slash and the path.
std::string panel_path(const std::string &path);

// What stands in the way of AWStats if the path is part of one that it gets: a character that does
// not reach it unharmed, or "__", which it takes for a variable. Empty if nothing does.
std::string harm_for_awstats(const std::string &path);
