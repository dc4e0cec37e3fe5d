#pragma once

#include <sys/types.h>

// Child processes started from a path and an argument vector, whose first entry is the program's
// name and whose last is null. What is pending on standard output is flushed before each start.

// The exit status of a child that could not be set up or could not become its program.
constexpr int child_start_failed = 255;

// The most arguments that the routines with a limit hand over, besides the program's name.
constexpr int max_arguments = 99;

// Stands for "/dev/null" as a stream of a child, or for no descriptor at all.
constexpr int no_descriptor = -1;

// Starts a program with the three descriptors as its standard input, output and error;
// no_descriptor stands for "/dev/null". One that is that stream already stays as it is, also closed.
// All other descriptors are closed in the child. The three stay open in the parent, which waits for
// the child and owns them.
// start_error: no_descriptor, or a descriptor above 2 where a child writes errno, as an int, if it
// can't become its program; nothing arrives there if it can.
// Returns the child's process id, or -1 with errno set if the fork failed. A child that fails to
// start ends with 255; without a start_error it says why on its standard error.
pid_t start_child(const int (&streams)[3], int start_error, const char *path, char *const argv[]);

// Starts a program as start_child does, without a start_error. A failed fork is reported with exit
// status 1, which ends this program.
pid_t fork_execv_pipes(int input, int output, int error, const char *path, char *const argv[]);

// As waitpid, but a signal that is handled meanwhile does not end the waiting.
pid_t wait_for(pid_t pid, int *status, int options);

// Waits for the child. name: what messages call it, "<unknown>" if null. raw_status: where to put
// the status as the system gave it, unless null.
// Returns the exit status. A child that ended by a signal or was stopped (it stays, stopped), a
// negative id (the fork had failed) and a failed wait are logged and give -1.
int wait_child(pid_t pid, const char *name, int *raw_status);

// Runs a program with its standard output and error captured and its standard input inherited.
// Puts newly allocated, terminated texts into *output and *error, which the caller frees; null where
// the stream was never read.
// Returns the exit status, or -1 if the program was killed or its status could not be learned. Does
// not wait for processes that the program leaves behind with its streams open: it returns within
// about a second after the program has ended and the streams have gone quiet.
// Failures of pipes, fork and memory are reported with exit status 1, which ends the program.
int fork_execv_getouterr(char **output, char **error, const char *path, char *const argv[]);

// Runs a program as fork_execv_getouterr does and returns its result. Unless quiet, a result other
// than 0 is reported: what the program wrote on standard output goes to standard error as it
// stands, then comes a report with the path and what it wrote on standard error.
int run_and_report(const char *path, char *const argv[], bool quiet);
