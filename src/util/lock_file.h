#pragma once

// Lock files: one for each name, taken with an advisory lock. A lock goes with the process that
// holds it, however that ends; programs that it starts do not hold it, but a child that it forks
// and that runs no program holds it, too. The file itself stays.

// Where the lock files lie, an existing directory; "/var/lock/files" at the start. The text belongs
// to whoever sets it.
extern const char *lock_files_dir;

enum class LockWait { wait, return_at_once };

// Takes the lock of that name, which must not hold a slash. While another process, or another taker
// in this one, holds it, waits for it or returns at once. Returns the descriptor that holds the
// lock, or -1 with errno set: EWOULDBLOCK if the lock is held and is not waited for; any other
// failure is reported.
int take_lock_file(const char *name, LockWait wait);

// Gives the lock back and closes its descriptor. Returns 0, or -1 after a report.
int release_lock_file(const char *name, int descriptor);
