#pragma once

#include <cerrno>

// Puts errno back, at the end of its scope, to what it was when the guard was made.
class ErrnoGuard
{
public:
    ErrnoGuard() noexcept : saved_(errno) {}
    ~ErrnoGuard() { errno = saved_; }

    ErrnoGuard(const ErrnoGuard &) = delete;
    ErrnoGuard &operator=(const ErrnoGuard &) = delete;

    // The saved error number.
    int value() const noexcept { return saved_; }

private:
    int saved_;
};
