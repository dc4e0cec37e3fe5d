#include "exec/process.h"

#include "exec/system_error.h"
#include "util/accounts.h"
#include "util/descriptors.h"
#include "util/report.h"
#include "util/sigpipe_held.h"

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

namespace korvo
{

namespace
{

constexpr std::size_t read_size = 4096;

// Waits for the child. Returns its exit status; -1 if there is none to be had.
int waitForExit(pid_t pid)
{
    int status = 0;
    pid_t waited = -1;
    do {
        waited = ::waitpid(pid, &status, 0);
    } while (waited == -1 && (errno == EINTR || errno == ECHILD));
    return waited > 0 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// The three pipes between the parent and a child.
struct ChildPipes {
    Pipe input;
    Pipe output;
    Pipe error;

    bool open() { return input.open() && output.open() && error.open(); }
    bool makeParentEndsNonBlocking() const
    {
        return set_non_blocking(input.write_end.get()) && set_non_blocking(output.read_end.get()) &&
               set_non_blocking(error.read_end.get());
    }
    void closeChildEnds()
    {
        input.read_end.close();
        output.write_end.close();
        error.write_end.close();
    }
    bool anyOpen() const
    {
        return input.write_end.is_open() || output.read_end.is_open() || error.read_end.is_open();
    }
};

// Lets the text take in what one read can give. A string doubles by itself, but to move a large one
// costs more than to read it, and memory costs nothing before it is used.
void makeRoom(std::string &text)
{
    if (text.capacity() - text.size() < read_size) {
        text.reserve(4 * (text.size() + read_size));
    }
}

void collect(Descriptor &source, bool ready, std::string &text)
{
    if (ready && source.get() > 0 && !readToString(source.get(), text)) {
        source.close();
    }
}

void supply(Descriptor &target, bool ready, std::string &text)
{
    if (!ready || target.get() <= 0) {
        return;
    }
    writeToString(target.get(), text);
    if (text.empty()) {
        target.close();
    }
}

// Moves what can be moved through the pipes, once at least one of them is ready. Waits by poll,
// which takes descriptors of any number.
void pumpOnce(ChildPipes &pipes, std::string &input, std::string &output, std::string &error)
{
    pollfd waiting[] = {
        {pipes.input.write_end.get(), POLLOUT, 0}, // a negative descriptor is passed over
        {pipes.output.read_end.get(), POLLIN, 0},
        {pipes.error.read_end.get(), POLLIN, 0},
    };
    if (::poll(waiting, 3, -1) == -1) {
        if (errno != EINTR) {
            raiseSystemError("forkExecvGetOutErr: select() failed", errno);
        }
        return;
    }
    supply(pipes.input.write_end, waiting[0].revents != 0, input);
    collect(pipes.output.read_end, waiting[1].revents != 0, output);
    collect(pipes.error.read_end, waiting[2].revents != 0, error);
}

void switchUser(const std::string &user)
{
    if (user.empty() || user_id_or_zero(user.c_str()) == 0) {
        return;
    }
    if (p_setuid(user.c_str()) != 0) {
        raiseSystemError("forkExecvPipes: p_setuid() to '" + user + "' failed", errno);
    }
}

void becomeProgram(const int (&streams)[3], const std::string &path, char *const argv[],
                   const std::string &user, const Environment &environment)
{
    for (int target = 0; target < 3; ++target) {
        dup2Custom(streams[target], target);
    }
    close_descriptors_from(STDERR_FILENO + 1);
    switchUser(user);
    for (const auto &[name, value] : environment) {
        if (::setenv(name.c_str(), value.c_str(), 1) == -1) {
            raiseSystemError("forkExecvPipes: setenv() falied", errno);
        }
    }
    ::execvp(path.c_str(), argv);
    report(1, 0, "forkExecvPipes: execv() failed: %s\n", std::strerror(errno));
}

// Turns the child into the program, or ends it: above is the parent's code.
[[noreturn]] void runChild(const int (&streams)[3], const std::string &path, char *const argv[],
                           const std::string &user, const Environment &environment)
{
    try {
        becomeProgram(streams, path, argv, user, environment);
    } catch (const std::exception &failure) {
        std::fprintf(stderr, "%s\n", failure.what());
    }
    std::abort();
}

} // namespace

int forkExecvGetOutErr(std::string input, std::string &output, std::string &error,
                       const std::string &path, char *const argv[], const std::string &user,
                       const Environment &environment)
{
    ChildPipes pipes;
    if (!pipes.open()) {
        report(1, 0, "forkExecvGetOutErr: pipe() failed");
    }
    if (!pipes.makeParentEndsNonBlocking()) {
        report(1, 0, "forkExecvGetOutErr: fcntl(O_NONBLOCK) failed");
    }
    const pid_t pid = forkExecvPipes(pipes.input.read_end.get(), pipes.output.write_end.get(),
                                     pipes.error.write_end.get(), path, argv, user, environment);
    pipes.closeChildEnds();
    try {
        while (pipes.anyOpen()) {
            pumpOnce(pipes, input, output, error);
        }
    } catch (...) {
        // Not left to destructors: where nobody catches it, an exception does not call them.
        pipes = ChildPipes();
        waitForExit(pid);
        throw;
    }
    return waitForExit(pid);
}

int forkExecvGetOutErr(std::string &output, std::string &error, const std::string &path,
                       char *const argv[], const std::string &user, const Environment &environment)
{
    return forkExecvGetOutErr(std::string(), output, error, path, argv, user, environment);
}

int forkExecvGetOutErr(std::string &output, std::string &error, const std::string &path,
                       char *const argv[], const std::string &user)
{
    static const Environment no_variables;
    return forkExecvGetOutErr(output, error, path, argv, user, no_variables);
}

int forkExecvGetOutErr(std::string &output, std::string &error, const std::string &path,
                       char *const argv[])
{
    return forkExecvGetOutErr(output, error, path, argv, std::string());
}

int forkExecvGetOutErr(std::string &output, const std::string &path, char *const argv[])
{
    std::string dropped;
    return forkExecvGetOutErr(output, dropped, path, argv);
}

pid_t forkExecvPipes(int input, int output, int error, const std::string &path, char *const argv[],
                     const std::string &user, const Environment &environment)
{
    std::fflush(stdout);
    const pid_t pid = ::fork();
    if (pid == -1) {
        raiseSystemError("forkExecvPipes: fork() failed", errno);
    }
    if (pid == 0) {
        runChild({input, output, error}, path, argv, user, environment);
    }
    return pid;
}

int dup2Custom(int descriptor, int target)
{
    if (descriptor == target) {
        return descriptor;
    }
    const int source = descriptor_or_null_device(descriptor);
    if (source == -1) {
        raiseSystemError("dup2Custom failed", errno);
    }
    return attach_descriptor(source, target);
}

bool readToString(int descriptor, std::string &text)
{
    char buffer[read_size];
    for (;;) {
        const ssize_t count = ::read(descriptor, buffer, sizeof buffer);
        if (count == 0) {
            return false;
        }
        if (count > 0) {
            makeRoom(text);
            text.append(buffer, static_cast<std::size_t>(count));
        } else if (errno == EAGAIN) {
            return true;
        } else if (errno != EINTR) {
            raiseSystemError("readToString failed", errno);
        }
    }
}

void writeToString(int descriptor, std::string &text)
{
    if (text.empty()) {
        return;
    }
    const SigpipeHeld held;
    while (!text.empty()) {
        const ssize_t count = ::write(descriptor, text.data(), text.size());
        if (count >= 0) {
            text.erase(0, static_cast<std::size_t>(count));
        } else if (errno == EAGAIN) {
            return;
        } else if (errno != EINTR) {
            raiseSystemError("writeToString failed", errno);
        }
    }
}

} // namespace korvo
