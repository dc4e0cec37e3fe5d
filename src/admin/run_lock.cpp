#include "admin/run_lock.h"

#include "admin/command.h"
#include "admin/ending_signals.h"
#include "admin/places.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iostream>

namespace
{

// A program that is started while the lock is held must not keep it.
Descriptor open_lock()
{
    return Descriptor(::open(run_lock_path, O_CREAT | O_RDONLY | O_CLOEXEC | O_NOFOLLOW, 0600));
}

std::string lock_directory()
{
    const std::string path = run_lock_path;
    return path.substr(0, path.rfind('/'));
}

// Waits for the child or for all children of this process, also those that it gets when the child
// ends. The signals, which are blocked, are passed on to the child. Returns its exit status, or 128
// and the number of the signal that ended it.
int wait_passing_signals(pid_t child, bool all, const sigset_t &signals)
{
    int child_status = 0;
    bool child_runs = true;
    for (;;) {
        int status = 0;
        pid_t ended = 0;
        while ((ended = ::waitpid(all ? -1 : child, &status, WNOHANG)) > 0) {
            if (ended == child) {
                child_runs = false;
                child_status = status;
            }
        }
        if (ended == -1) {
            return WIFEXITED(child_status) ? WEXITSTATUS(child_status)
                                           : 128 + WTERMSIG(child_status);
        }
        int signal = 0;
        if (::sigwait(&signals, &signal) == 0 && signal != SIGCHLD && child_runs) {
            ::kill(child, signal);
        }
    }
}

} // namespace

Descriptor take_run_lock(RunLock if_held)
{
    const std::string path = run_lock_path;
    if (::mkdir(lock_directory().c_str(), 0700) != 0 && errno != EEXIST) {
        throw refusal_of(lock_directory(), errno);
    }
    Descriptor lock = open_lock();
    if (!lock.is_open()) {
        throw refusal_of(path, errno);
    }
    if (lock_descriptor(lock.get(), false) == 0) {
        return lock;
    }
    if (errno != EWOULDBLOCK) {
        throw refusal_of(path, errno);
    }
    if (if_held == RunLock::refuse) {
        throw Refusal("a run is going on (it holds " + path + "); wait for its end");
    }
    std::cerr << "Waiting for the run that holds " + path + "\n";
    if (lock_descriptor(lock.get(), true) != 0) {
        throw refusal_of(path, errno);
    }
    return lock;
}

int work_under_run_lock(RunLock if_held, const std::function<int()> &work)
{
    const Descriptor lock = take_run_lock(if_held);
    sigset_t before;
    sigset_t signals = ending_signals();
    ::sigaddset(&signals, SIGCHLD);
    ::sigprocmask(SIG_BLOCK, &signals, &before);
    std::cout.flush();
    pid_t child = ::fork();
    const bool is_keeper = child == 0;
    if (is_keeper) {
        ::prctl(PR_SET_CHILD_SUBREAPER, 1);
        child = ::fork();
    }
    const int error_number = errno;
    const int status = child > 0 ? wait_passing_signals(child, is_keeper, signals) : 0;
    ::sigprocmask(SIG_SETMASK, &before, nullptr);
    if (child == -1) {
        throw refusal_of("fork", error_number);
    }
    return child == 0 ? work() : status;
}

bool run_lock_is_held()
{
    struct stat lock = {};
    if (::lstat(run_lock_path, &lock) != 0) {
        return false;
    }
    char file[64];
    std::snprintf(file, sizeof file, " %02x:%02x:%ju ", ::major(lock.st_dev), ::minor(lock.st_dev),
                  static_cast<std::uintmax_t>(lock.st_ino));
    std::ifstream locks("/proc/locks");
    for (std::string line; std::getline(locks, line);) {
        if (line.find(file) != std::string::npos) {
            return true;
        }
    }
    return false;
}

std::string under_run_lock(const std::string &command)
{
    return "install -d -m 700 " + lock_directory() + " && flock " + run_lock_path + " " + command;
}
