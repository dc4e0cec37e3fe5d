#ifndef CHILD_H
#define CHILD_H

#include <sys/types.h>

/* Children that cost no more than their start: posix_spawn, one pipe a stream, waitpid. A failed
 * call and a child that does not end with 0 end the program with a message. */

/* A started child and the parent's ends of its pipes; -1 where there is none. */
struct child {
    pid_t pid;
    int output;
    int error;
};

/* Starts a program with no input and its standard output and error on pipes. */
struct child start_program(char *const argv[]);

/* Starts a shell command with its standard output on a pipe. */
struct child start_shell_command(const char *command);

/* Reads the child's streams to their ends, dropping what comes, and waits for it. */
void finish_child(struct child child);

/* Waits for the child. */
void wait_for_success(pid_t pid);

#endif
