#pragma once

#include <csignal>

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
