#include "util/run_program.h"

#include "util/argument_vector.h"
#include "util/bounded_format.h"
#include "util/child_process.h"
#include "util/descriptors.h"
#include "util/report.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <vector>

namespace
{

const char *const product_library = "/usr/lib/korvo-9.0";

bool is_standard_stream(int descriptor)
{
    return descriptor >= STDIN_FILENO && descriptor <= STDERR_FILENO;
}

int wait_and_report(pid_t pid)
{
    int status = 0;
    if (wait_for(pid, &status, WUNTRACED) == -1) {
        report(0, 0, "Error occured during waiting the child process with pid: %d: %s\n", pid,
               std::strerror(errno));
        return -1;
    }
    if (WIFEXITED(status)) {
        return WEXITSTATUS(status);
    }
    if (WIFSIGNALED(status)) {
        report(0, 0, "The child process with pid %d killed by signal %i\n", pid, WTERMSIG(status));
    } else {
        report(0, 0, "The child process with pid %d stopped by signal %i\n", pid, WSTOPSIG(status));
    }
    return -1;
}

// The error number that a child has left in the pipe because it could not become its program; 0 if
// it has become that.
int read_start_error(int descriptor)
{
    int error_number = 0;
    ssize_t count = -1;
    do {
        count = ::read(descriptor, &error_number, sizeof error_number);
    } while (count == -1 && errno == EINTR);
    return count == sizeof error_number ? error_number : 0;
}

int run_between(int fd_in, int fd_out, const char *path, char *const argv[])
{
    if (is_standard_stream(fd_in) || is_standard_stream(fd_out)) {
        report(0, 0, "values 0,1,2 not allowed for variables fd_in & fd_out\n");
        return -1;
    }
    Pipe start_error;
    if (!start_error.open()) {
        report(0, 0, "fork_exec_fd pipe(): %s", std::strerror(errno));
        return -1;
    }
    const pid_t pid =
        start_child({fd_in, fd_out, STDERR_FILENO}, start_error.write_end.get(), path, argv);
    if (pid == -1) {
        report(0, 0, "Error occured during fork():\n%s", std::strerror(errno));
        return -1;
    }
    start_error.write_end.close();
    const int error_number = read_start_error(start_error.read_end.get());
    if (error_number == 0) {
        return wait_and_report(pid);
    }
    wait_for(pid, nullptr, 0);
    errno = error_number;
    report(0, 0, "Error occured during execv():\n%s%s", std::strerror(error_number),
           error_number == EFAULT ? ", possible reason - NULL parameter is absent in "
                                    "util_exec(path, arg1, arg2, NULL) call.\n"
                                  : ".\n");
    return -1;
}

} // namespace

int fork_execv(const char *path, char *const argv[])
{
    const pid_t pid =
        start_child({STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}, no_descriptor, path, argv);
    if (pid == -1) {
        report(1, 0, "Unable to fork");
    }
    int status = 0;
    return wait_for(pid, &status, 0) == -1 ? -1 : status;
}

int util_exec(const char *path, ...)
{
    va_list arguments;
    va_start(arguments, path);
    const std::vector<char *> vector = argument_vector(path, arguments, SIZE_MAX);
    va_end(arguments);
    const pid_t pid = start_child({no_descriptor, no_descriptor, no_descriptor}, no_descriptor,
                                  path, vector.data());
    if (pid == -1) {
        report(1, 0, "fork_execv: fork() failed");
    }
    int status = 0;
    return wait_for(-1, &status, 0) != -1 && WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

int fork_exec_fd(int fd_in, int fd_out, const char *path, ...)
{
    va_list arguments;
    va_start(arguments, path);
    const std::vector<char *> vector = argument_vector(path, arguments, SIZE_MAX);
    va_end(arguments);
    return run_between(fd_in, fd_out, path, vector.data());
}

int run_with_arguments(const char *path, char *const arguments[])
{
    return run_and_report(path, argument_vector(path, arguments, max_arguments).data(), false);
}

int run_library_program(const char *name, char *const arguments[])
{
    return run_with_arguments(format_bounded("%s/%s", product_library, name).c_str(), arguments);
}
