#pragma once

#include "util/descriptors.h"

// The lock that keeps runs apart from each other and from whoever else works on a domain's logs and
// pages. The directory above it is made, open to root only, if it is missing.

enum class RunLock { refuse, wait };

// Takes the lock, which the descriptor holds. While a run holds it, waits, saying so on standard
// error, or throws Refusal. Throws Refusal, too, if it can't be taken at all.
Descriptor take_run_lock(RunLock if_held);

// Whether somebody holds the lock.
bool run_lock_is_held();
