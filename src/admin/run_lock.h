#pragma once

#include "util/descriptors.h"

#include <functional>
#include <string>

// The lock that keeps runs apart from each other and from whoever else works on a domain's logs and
// pages. The directory above it is made, open to root only, if it is missing.

enum class RunLock { refuse, wait };

// Takes the lock, which the descriptor holds. While a run holds it, waits, saying so on standard
// error, or throws Refusal. Throws Refusal, too, if it can't be taken at all.
Descriptor take_run_lock(RunLock if_held);

// Takes the lock as take_run_lock does and works under it in a worker process, which goes on from here
// and ends with the program. A keeper process between this one and the worker ends, and this one goes
// on, only when the worker and all that it has started have ended, also where the worker is killed;
// the lock is held until then. Children that this process was started with are not waited for. Signals
// that ask to end are passed on to the worker. In the worker, returns what the work does; in the others
// the worker's exit status, or 128 and the number of the signal that ended it.
int work_under_run_lock(RunLock if_held, const std::function<int()> &work);

// Whether somebody holds the lock, as far as /proc/locks tells; taking it to find out would turn a run
// away that begins in this moment.
bool run_lock_is_held();

// A shell command that runs the command under the lock.
std::string under_run_lock(const std::string &command);
