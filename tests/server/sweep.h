#pragma once

#include "server/trial.h"

// What a trial did to a command.
struct Fault {
    std::string deed; // the first call that failed, as strace writes it; or the one at which it was killed, and KILL
    std::size_t count = 0; // how many calls failed: the command's own, and those of its children with the same number
    bool killed = false;   // the command, and with it all that it had started, or not
};

// Tries a command with faults. One after the other, each of its system calls fails in each way that
// matters, and so do those of its children until they become other programs; where a call changes
// something, the command is also killed there. strace knows the calls; a trial is one run.
struct Sweep {
    std::vector<std::string> command;
    std::function<void()> prepare; // before each run; an undisturbed one is the first
    std::function<Violations(const Outcome &, const Fault &)> judge;

    Accepted accepted;

    // Tries every `step`th fault from the `first` on, prints what was tried and what was accepted, and
    // returns what is left, as Accepted tells it.
    Violations run(std::size_t first, std::size_t step);
};

// A number from the environment, or the other one: a sweep is divided among processes.
std::size_t fault_number(const char *name, std::size_t otherwise);
