#pragma once

// Starts one of the panel's own utilities, "admin/sbin/<name>" under the product root, and waits
// for it. After the name come its arguments (const char *), ended by a null pointer; the 100th and
// all later ones are dropped.
// Returns the utility's exit status, or -1 if it was killed; a result other than 0 is reported with
// what the utility wrote (see run_and_report). A name that holds a slash is reported as invalid
// and gives -1; nothing is started.
int run_admin_utility(const char *name, ...) __attribute__((sentinel));

// The same with a finished argument vector, ended by a null entry, which the utility gets as it is:
// entry 0 is the name that it sees.
int run_admin_utility_vector(const char *name, char *const argv[]);
