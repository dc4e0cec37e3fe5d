#include "child.h"

#include "failure.h"

#include <errno.h>
#include <fcntl.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

struct pipe_ends {
    int read_end;
    int write_end;
};

static struct pipe_ends make_pipe(void)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        fail("pipe");
    }
    return (struct pipe_ends){ends[0], ends[1]};
}

static void require(int error_number, const char *what)
{
    if (error_number != 0) {
        errno = error_number;
        fail(what);
    }
}

/* The streams are the child's standard ones, in order; -1 leaves one as it is. */
static pid_t spawn(const char *path, char *const argv[], const int streams[3])
{
    posix_spawn_file_actions_t actions;
    require(posix_spawn_file_actions_init(&actions), "posix_spawn_file_actions_init");
    for (int target = 0; target < 3; ++target) {
        if (streams[target] != -1) {
            require(posix_spawn_file_actions_adddup2(&actions, streams[target], target),
                    "posix_spawn_file_actions_adddup2");
        }
    }
    pid_t pid = -1;
    require(posix_spawn(&pid, path, &actions, NULL, argv, environ), path);
    posix_spawn_file_actions_destroy(&actions);
    return pid;
}

struct child start_program(char *const argv[])
{
    const struct pipe_ends input = make_pipe();
    const struct pipe_ends output = make_pipe();
    const struct pipe_ends error = make_pipe();
    const int streams[3] = {input.read_end, output.write_end, error.write_end};
    const pid_t pid = spawn(argv[0], argv, streams);
    close(input.read_end);
    close(input.write_end);
    close(output.write_end);
    close(error.write_end);
    return (struct child){pid, output.read_end, error.read_end};
}

struct child start_shell_command(const char *command)
{
    const struct pipe_ends output = make_pipe();
    char *const argv[] = {(char *)"sh", (char *)"-c", (char *)command, NULL};
    const int streams[3] = {-1, output.write_end, -1};
    const pid_t pid = spawn("/bin/sh", argv, streams);
    close(output.write_end);
    return (struct child){pid, output.read_end, -1};
}

static void read_to_end(int descriptor)
{
    char buffer[4096];
    if (descriptor == -1) {
        return;
    }
    ssize_t count = 0;
    while ((count = read(descriptor, buffer, sizeof buffer)) > 0) {
    }
    if (count == -1) {
        fail("read");
    }
    close(descriptor);
}

void finish_child(struct child child)
{
    read_to_end(child.output);
    read_to_end(child.error);
    wait_for_success(child.pid);
}

void wait_for_success(pid_t pid)
{
    int status = 0;
    if (waitpid(pid, &status, 0) != pid) {
        fail("waitpid");
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        fprintf(stderr, "a child ended with the wait status %d\n", status);
        exit(1);
    }
}
