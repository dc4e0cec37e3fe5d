#pragma once

#include <stdexcept>
#include <string>

namespace korvo
{

// A failed system call: a short message that names the failing routine, and the error number.
class SystemError : public std::runtime_error
{
public:
    SystemError(const std::string &message, int error_number)
        : std::runtime_error(message), error_number_(error_number)
    {
    }
    ~SystemError() override;

    // The message, ": " and the system's text for the error number; that text alone if the message
    // is empty; the plain message for lack of memory.
    const char *what() const noexcept override;

    int errorNumber() const { return error_number_; }

private:
    int error_number_;
    mutable std::string text_;
};

// A failed system call with one of the common error numbers: EPERM, ENOENT, EINTR, ECHILD, EAGAIN.
template <int N>
class ExSystemError : public SystemError
{
public:
    explicit ExSystemError(const std::string &message) : SystemError(message, N) {}
};

// Throws the ExSystemError of the error number if there is one for it, else a SystemError. Read
// errno right after the call that failed.
[[noreturn]] void raiseSystemError(const std::string &message, int error_number);

} // namespace korvo
