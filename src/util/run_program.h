#pragma once

// Further ways to run one program and wait for it. Arguments in a list are texts (const char *)
// behind the program's path, ended by a null pointer; the path becomes entry 0 of the argument
// vector. What is pending on standard output is flushed before each start.

// Runs a program with the streams of this process and waits for it. Returns the wait status as the
// system gave it, or -1 with errno set if there is none to be had. A failed fork is reported with
// exit status 1, which ends this program; a program that can't be started ends its child with 255.
int fork_execv(const char *path, char *const argv[]);

// Runs a program with all its streams on "/dev/null" and waits for the next child of this process
// to end, whichever it is. Returns 1 if that ended by a signal, or if there is none, else its exit
// status. A failed fork is reported with exit status 1, which ends this program.
int util_exec(const char *path, ...) __attribute__((sentinel));

// Runs a program with the two descriptors as its standard input and output and the standard error
// of this process, and waits for it. -1 stands for "/dev/null"; 0, 1 and 2 are refused. Both may be
// the same, a socket's say. The descriptors stay open.
// Returns the exit status, or -1 after a report: descriptors refused, no pipe, no child, a program
// that could not be started, was killed or stopped by a signal, or could not be waited for. A
// stopped one stays; its process id stands in the report.
int fork_exec_fd(int fd_in, int fd_out, const char *path, ...) __attribute__((sentinel));

// Runs a program as run_and_report does, not quietly, with the arguments behind the path, at most
// 99 of them; the vector is ended by a null entry.
int run_with_arguments(const char *path, char *const arguments[]);

// The same for a program of the product's library, "/usr/lib/korvo-9.0/<name>".
int run_library_program(const char *name, char *const arguments[]);
