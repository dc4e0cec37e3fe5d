#include "exec/system_error.h"

#include <cerrno>
#include <cstring>
#include <new>

namespace korvo
{

SystemError::~SystemError() = default;

const char *SystemError::what() const noexcept
{
    const char *const message = std::runtime_error::what();
    if (!text_.empty()) {
        return text_.c_str();
    }
    try {
        if (*message != '\0') {
            text_ = std::string(message) + ": ";
        }
        text_ += std::strerror(error_number_);
    } catch (const std::bad_alloc &) {
        text_.clear();
        return message;
    }
    return text_.c_str();
}

void raiseSystemError(const std::string &message, int error_number)
{
    switch (error_number) {
    case EPERM:
        throw ExSystemError<EPERM>(message);
    case ENOENT:
        throw ExSystemError<ENOENT>(message);
    case EINTR:
        throw ExSystemError<EINTR>(message);
    case EAGAIN:
        throw ExSystemError<EAGAIN>(message);
    case ECHILD:
        throw ExSystemError<ECHILD>(message);
    default:
        throw SystemError(message, error_number);
    }
}

} // namespace korvo
