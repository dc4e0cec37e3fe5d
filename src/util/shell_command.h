#pragma once

// Shell commands. What is pending on standard output is flushed before a
// command starts.

// Runs the command line through the shell and captures its standard output. Returns the exit status
// (0 to 255), or -1 if the command could not be started or its end not be learned. A command that
// is killed by a signal yields 0.
// Nothing of a successful command's output is shown. A failure is reported, with the output of the
// command or "error: none"; so is a command that could not be started.
int popen_exec(const char *command);

// The capturing core of popen_exec, with the same result. Puts into *output a newly allocated,
// terminated text of everything the command wrote on its standard output, which the caller frees;
// null if there was no memory for it or nothing was started. Failures to start and to allocate are
// written to standard error.
int popen_exec_output(const char *command, char **output);

// Runs the command line through the shell with the text as its standard input. Returns the exit
// status (0 to 255; 0 for a command that is killed by a signal), or -1 after a report: the command
// could not be started, or did not take all of its input; a short one may go unread unnoticed. No
// SIGPIPE is delivered.
int popen_exec_with_input(const char *command, const char *input);
