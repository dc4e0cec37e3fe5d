#pragma once

#include <csignal>
#include <initializer_list>
#include <iostream>

// The signals that ask a program to end.
inline sigset_t ending_signals()
{
    sigset_t signals;
    ::sigemptyset(&signals);
    for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) {
        ::sigaddset(&signals, signal);
    }
    return signals;
}

// Has them wait until the end of the object's life. What standard output has got by then is written
// before one of them ends the program.
class HeldSignals
{
public:
    HeldSignals()
    {
        const sigset_t ending = ending_signals();
        ::sigprocmask(SIG_BLOCK, &ending, &before_);
    }
    ~HeldSignals()
    {
        std::cout.flush();
        ::sigprocmask(SIG_SETMASK, &before_, nullptr);
    }
    HeldSignals(const HeldSignals &) = delete;
    HeldSignals &operator=(const HeldSignals &) = delete;

private:
    sigset_t before_ = {};
};
