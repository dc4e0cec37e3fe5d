#include "util/child_process.h"

#include "util/descriptors.h"
#include "util/errno_guard.h"
#include "util/owned.h"
#include "util/report.h"
#include "util/text_buffer.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>

namespace
{

constexpr std::size_t buffer_step = 4096;
constexpr std::size_t buffer_min_free = 2048;
constexpr std::chrono::seconds quiet_interval(1);

[[noreturn]] void end_child(int start_error, const std::string &message)
{
    const int error_number = errno;
    if (start_error == no_descriptor) {
        ::dprintf(STDERR_FILENO, "fork_execv: %s failed: %s\n", message.c_str(),
                  std::strerror(error_number));
    } else if (::write(start_error, &error_number, sizeof error_number) == -1) {
        ::_exit(child_start_failed); // the parent is gone
    }
    ::_exit(child_start_failed);
}

// Opens "/dev/null" above the standard streams, of which one may be closed and stay so. Returns -1,
// with errno set, on failure.
int open_null_device()
{
    const Descriptor null_device(descriptor_or_null_device(no_descriptor));
    return ::fcntl(null_device.get(), F_DUPFD, STDERR_FILENO + 1);
}

[[noreturn]] void become_program(const int (&streams)[3], int start_error, const char *path,
                                 char *const argv[])
{
    int first_unused = STDERR_FILENO + 1;
    for (int target = 0; target < first_unused; ++target) {
        if (streams[target] == target) {
            continue;
        }
        // Left open until all others are closed: it may serve for more than one stream.
        const int stream = streams[target];
        const int source = stream == no_descriptor ? open_null_device() : stream;
        if (source == -1 || ::dup2(source, target) == -1) {
            end_child(start_error, "dup()");
        }
    }
    if (start_error != no_descriptor) {
        start_error = attach_descriptor(start_error, first_unused);
        ::fcntl(start_error, F_SETFD, FD_CLOEXEC);
        ++first_unused;
    }
    close_descriptors_from(first_unused);
    ::execv(path, argv);
    end_child(start_error, std::string("execv(\"") + path + "\")");
}

// One captured stream of a child: the pipe's read end, open until its end of data, and the text.
struct Capture {
    Descriptor source;
    TextBuffer text;
};

void make_room(TextBuffer &text)
{
    if (text.free_bytes() > buffer_min_free) {
        return;
    }
    const std::size_t capacity = text.capacity();
    if (!text.grow_to(capacity <= buffer_step ? capacity + buffer_step : capacity * 2)) {
        report(1, 0, "Cannot allocate memory");
    }
}

// Reads what has arrived. Returns false if there was nothing, or no more will come.
bool read_once(Capture &capture)
{
    make_room(capture.text);
    const ssize_t count = ::read(capture.source.get(), capture.text.end(), capture.text.room());
    if (count > 0) {
        capture.text.added(static_cast<std::size_t>(count));
        return true;
    }
    if (count == -1) {
        if (errno == EAGAIN || errno == EINTR) {
            return false;
        }
        std::fprintf(stderr, "fork_exec*: read(pipe) failed: %s\n", std::strerror(errno));
    }
    capture.source.close();
    return false;
}

// Takes in what an ended child has left, and no more. That nothing is left is no failure.
void finish(Capture &capture)
{
    const ErrnoGuard kept;
    while (capture.source.is_open() && read_once(capture)) {
    }
    capture.source.close();
}

// Waits until an open source has data, for at most the quiet interval, and reads it. Returns false
// if the time has passed without any.
bool read_ready(Capture (&captures)[2])
{
    using std::chrono::steady_clock; // signals do not begin the interval anew
    const ErrnoGuard kept;
    const steady_clock::time_point end = steady_clock::now() + quiet_interval;
    pollfd sources[2];
    for (int i = 0; i < 2; ++i) {
        sources[i] = {captures[i].source.get(), POLLIN, 0}; // a negative descriptor is passed over
    }
    int ready = -1;
    do {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - steady_clock::now());
        ready = ::poll(sources, 2, std::max(static_cast<int>(left.count()), 0));
    } while (ready == -1 && errno == EINTR);
    if (ready <= 0) {
        return false;
    }
    for (int i = 0; i < 2; ++i) {
        if (sources[i].revents != 0) {
            read_once(captures[i]);
        }
    }
    return true;
}

bool any_open(const Capture (&captures)[2])
{
    return captures[0].source.is_open() || captures[1].source.is_open();
}

// Reads both streams until they end or the child has ended and left them quiet. Returns what has
// become of the child, as fork_execv_getouterr does.
int collect(pid_t pid, const char *path, Capture (&captures)[2])
{
    while (any_open(captures)) {
        if (read_ready(captures)) {
            continue;
        }
        int status = 0;
        const pid_t ended = ::waitpid(pid, &status, WNOHANG);
        if (ended != 0) {
            finish(captures[0]);
            finish(captures[1]);
            return ended == pid && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        }
    }
    return wait_child(pid, path, nullptr);
}

bool is_empty(const char *text)
{
    return text == nullptr || *text == '\0';
}

} // namespace

pid_t start_child(const int (&streams)[3], int start_error, const char *path, char *const argv[])
{
    std::fflush(stdout);
    const pid_t pid = ::fork();
    if (pid == 0) {
        become_program(streams, start_error, path, argv);
    }
    return pid;
}

pid_t fork_execv_pipes(int input, int output, int error, const char *path, char *const argv[])
{
    const pid_t pid = start_child({input, output, error}, no_descriptor, path, argv);
    if (pid == -1) {
        report(1, 0, "fork_execv_pipes: fork() failed");
    }
    return pid;
}

pid_t wait_for(pid_t pid, int *status, int options)
{
    pid_t waited = -1;
    do {
        waited = ::waitpid(pid, status, options);
    } while (waited == -1 && errno == EINTR);
    return waited;
}

int wait_child(pid_t pid, const char *name, int *raw_status)
{
    const char *const shown = name == nullptr ? "<unknown>" : name;
    const long id = pid;
    if (pid < 0) {
        log_output(log_level_error, "fork before spawning '%s' failed", shown);
        return -1;
    }
    int status = 0;
    const pid_t waited = wait_for(pid, &status, WUNTRACED);
    if (raw_status != nullptr) {
        *raw_status = status;
    }
    if (waited == -1) {
        const int error_number = errno;
        log_output(log_level_error, "waitpid(%ld) for '%s' process failed: %s (%d)", id, shown,
                   std::strerror(error_number), error_number);
        return -1;
    }
    if (waited == 0) {
        log_output(log_level_error, "waitpid(%ld) for '%s' process returned unexpected 0 code", id,
                   shown);
        return -1;
    }
    if (WIFEXITED(status)) {
        return WEXITSTATUS(status);
    }
    const long waited_id = waited;
    if (WIFSIGNALED(status)) {
        log_output(log_level_warning, "waitpid(%ld)=%ld: process '%s' killed by signal %d", id,
                   waited_id, shown, WTERMSIG(status));
    } else if (WIFSTOPPED(status)) {
        log_output(log_level_warning, "waitpid(%ld)=%ld: process '%s' stopped by signal %d", id,
                   waited_id, shown, WSTOPSIG(status));
    } else {
        log_output(log_level_warning, "waitpid(%ld)=%ld: process '%s' continued", id, waited_id,
                   shown);
    }
    return -1;
}

int fork_execv_getouterr(char **output, char **error, const char *path, char *const argv[])
{
    Pipe pipes[2];
    if (!pipes[0].open() || !pipes[1].open()) {
        report(1, 0, "fork_execv_getouterr: pipe() failed");
    }
    Capture captures[2];
    for (int i = 0; i < 2; ++i) {
        captures[i].source = std::move(pipes[i].read_end);
        if (!set_non_blocking(captures[i].source.get())) {
            report(1, 0, "fork_execv_getouterr: fcntl(O_NONBLOCK) failed");
        }
    }
    const pid_t pid = fork_execv_pipes(STDIN_FILENO, pipes[0].write_end.get(),
                                       pipes[1].write_end.get(), path, argv);
    pipes[0].write_end.close();
    pipes[1].write_end.close();
    const int result = collect(pid, path, captures);
    *output = captures[0].text.release();
    *error = captures[1].text.release();
    return result;
}

int run_and_report(const char *path, char *const argv[], bool quiet)
{
    char *output = nullptr;
    char *error = nullptr;
    const int result = fork_execv_getouterr(&output, &error, path, argv);
    const Malloced<char> owned_output(output);
    const Malloced<char> owned_error(error);
    if (result == 0 || quiet) {
        return result;
    }
    if (!is_empty(output)) {
        std::fputs(output, stderr);
    }
    if (is_empty(error)) {
        report(0, 0, "%s execution failed (no output)", path);
    } else {
        report(0, 0, "%s execution failed:\n%s", path, error);
    }
    return result;
}
