#pragma once

#include "server/trial.h"

// What a trial did to a command.
struct Fault {
    std::string deed; // the first call that failed, as strace writes it; or the one at which it was killed, and KILL
    std::size_t count = 0; // how many calls failed: the command's own, and those of its children with the same number
    bool killed = false;
};

// Tries a command with faults. One after the other, each of its system calls fails in each way that
// matters, and so do those of its children until they become other programs; where a call changes
// something, the command is also killed there. strace knows the calls; a trial is one run.
struct Sweep {
    std::vector<std::string> command;
    std::function<void()> prepare; // before each run; an undisturbed one, which is judged too, is the first
    std::function<Violations(const Outcome &, const Fault &)> judge;

    // Tries every FAULT_STEPth fault from the FIRST_FAULTth on, as the environment says, so that a
    // sweep can be divided among processes; prints what was tried. The test fails by what is left.
    void run(Accepted &accepted);
};
