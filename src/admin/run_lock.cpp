#include "admin/run_lock.h"

#include "admin/command.h"
#include "admin/places.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <iostream>
#include <string>

namespace
{

// A program that is started while the lock is held must not keep it.
Descriptor open_lock(int flags)
{
    return Descriptor(::open(run_lock_path, flags | O_RDONLY | O_CLOEXEC | O_NOFOLLOW, 0600));
}

} // namespace

Descriptor take_run_lock(RunLock if_held)
{
    const std::string path = run_lock_path;
    const std::string directory = path.substr(0, path.rfind('/'));
    if (::mkdir(directory.c_str(), 0700) != 0 && errno != EEXIST) {
        throw refusal_of(directory, errno);
    }
    Descriptor lock = open_lock(O_CREAT);
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

bool run_lock_is_held()
{
    const Descriptor lock = open_lock(0);
    return lock.is_open() && lock_descriptor(lock.get(), false) != 0 && errno == EWOULDBLOCK;
}
