#pragma once

#include <cstdarg>

// Reports: formatted messages that go to standard error and to standard output, so that they show
// in a terminal as well as in the captured output of a maintenance job. A failed write or flush of
// a message is ignored. Everything here is for single-threaded use.

// Levels follow the system log's numbering. A message passes when its level is at most the
// threshold that log_setup sets (6 at the start).
constexpr int log_level_error = 3;
constexpr int log_level_warning = 4;
constexpr int log_level_info = 6;

// The base name of this path precedes every message of print_message; null (as at the start) or a
// path that ends in a slash gives no prefix. The text belongs to whoever sets it.
extern const char *program_path;

// The routines that log messages go through: the console routines below, until log_setup puts the
// system log's own in their place.
extern void (*log_output)(int level, const char *format, ...);
extern void (*log_output_v)(int level, const char *format, va_list arguments);

// Formats the message and hands it to print_message. If errno is not 0 on entry, the line
// "System error <number>: <text>" follows the message, even if the failure that is being reported
// did not set it; it is left out where it does not fit into the 4096-byte buffer, and so after
// every message of 4096 characters or more. The flag is kept for compatibility and not used.
// Ends the program by exit() with the exit status if that is not 0; otherwise leaves errno as it
// was.
void report(int exit_status, int flag, const char *format, ...)
    __attribute__((format(printf, 3, 4)));
void report_v(int exit_status, int flag, const char *format, va_list arguments)
    __attribute__((format(printf, 3, 0)));

// Reports the failure of a call on a path with errno still as that call left it: the format has two
// %s, for the path and the text of errno. Returns -1, if the exit status is 0.
int report_failure(const char *format, const char *path, int exit_status = 0);

// Writes the message, with the prefix of program_path and with a line feed unless it ends in one,
// first to standard error and then to standard output, and flushes both. Ends the program with the
// exit status if that is not 0.
void print_message(const char *message, int exit_status);

// The console form of the log: writes the message and a line feed to standard error and then to
// standard output, and flushes both, if the level passes. No prefix, and no look at errno.
void log_message(int level, const char *format, ...) __attribute__((format(printf, 2, 3)));
void log_message_v(int level, const char *format, va_list arguments)
    __attribute__((format(printf, 2, 0)));

// Chooses where log messages go.
// target: a name, whatever it is: the console routines.
//         null: the system log, opened anew with the identity, the facility and the options, the
//         process id added. The identity must outlive the logging.
// level:  the threshold of the console routines; below 1 counts as 0.
void log_setup(const char *target, int level, int facility, int options, const char *identity);

// Formats as printf does into newly allocated memory, which the caller frees. Never returns null:
// lack of memory is reported with exit status 1, which ends the program.
char *xasprintf(const char *format, ...) __attribute__((format(printf, 1, 2)));
