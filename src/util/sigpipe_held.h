#pragma once

#include "util/errno_guard.h"

#include <csignal>
#include <ctime>

// Keeps SIGPIPE from being delivered during its life: a write to a pipe or socket that nobody reads
// fails with EPIPE and does nothing else. errno is left alone. The process's disposition of the
// signal is not touched. A child started meanwhile inherits the blocked signal.
class SigpipeHeld
{
public:
    SigpipeHeld()
    {
        sigemptyset(&sigpipe_);
        sigaddset(&sigpipe_, SIGPIPE);
        sigset_t pending;
        sigpending(&pending);
        was_pending_ = sigismember(&pending, SIGPIPE) == 1;
        pthread_sigmask(SIG_BLOCK, &sigpipe_, &previous_mask_);
    }
    ~SigpipeHeld()
    {
        const ErrnoGuard kept;
        const timespec no_time = {};
        if (!was_pending_) {
            sigtimedwait(&sigpipe_, nullptr, &no_time);
        }
        pthread_sigmask(SIG_SETMASK, &previous_mask_, nullptr);
    }
    SigpipeHeld(const SigpipeHeld &) = delete;
    SigpipeHeld &operator=(const SigpipeHeld &) = delete;

private:
    sigset_t sigpipe_ = {};
    sigset_t previous_mask_ = {};
    bool was_pending_ = false;
};
