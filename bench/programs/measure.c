/* Runs a command some times, one after the other, and appends a line to a file: the seconds of all
 * runs together by the clock, and the peak memory in KiB of the largest process among the command
 * and the children that it has waited for. Ends with 1 if a run does not end with 0.
 *
 * usage: measure FILE TIMES COMMAND [ARGUMENT...] */
#include "child.h"
#include "failure.h"

#include <errno.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

static double seconds_now(void)
{
    struct timespec now;
    if (clock_gettime(CLOCK_MONOTONIC, &now) != 0) {
        fail("clock_gettime");
    }
    return (double)now.tv_sec + (double)now.tv_nsec / 1e9;
}

static void run(char *const argv[])
{
    pid_t pid = -1;
    errno = posix_spawnp(&pid, argv[0], NULL, NULL, argv, environ);
    if (errno != 0) {
        fail(argv[0]);
    }
    wait_for_success(pid);
}

int main(int argc, char **argv)
{
    if (argc < 4) {
        fputs("usage: measure FILE TIMES COMMAND [ARGUMENT...]\n", stderr);
        return 2;
    }
    const long times = strtol(argv[2], NULL, 10);
    const double start = seconds_now();
    for (long i = 0; i < times; ++i) {
        run(argv + 3);
    }
    const double seconds = seconds_now() - start;
    struct rusage usage;
    if (getrusage(RUSAGE_CHILDREN, &usage) != 0) {
        fail("getrusage");
    }
    FILE *const file = fopen(argv[1], "a");
    if (file == NULL || fprintf(file, "%.6f %ld\n", seconds, usage.ru_maxrss) < 0 ||
        fclose(file) != 0) {
        fail(argv[1]);
    }
    return 0;
}
