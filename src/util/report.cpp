#include "util/report.h"

#include "util/errno_guard.h"
#include "util/owned.h"
#include "util/text_buffer.h"

#include <syslog.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

const char *program_path = nullptr;
void (*log_output)(int level, const char *format, ...) = log_message;
void (*log_output_v)(int level, const char *format, va_list arguments) = log_message_v;

namespace
{

constexpr std::size_t report_buffer_size = 4096;

int log_threshold = log_level_info;

// Formats into an empty buffer, as far as it goes. Returns the length of the whole text, 0 if it
// can't be formatted.
std::size_t format_into(TextBuffer &text, const char *format, va_list arguments)
{
    va_list copy;
    va_copy(copy, arguments);
    const int length = std::vsnprintf(text.end(), text.capacity(), format, copy);
    va_end(copy);
    return length < 0 ? 0 : static_cast<std::size_t>(length);
}

// Appends the line that tells the error, or nothing where it does not fit.
void append_system_error(TextBuffer &text, int error_number)
{
    const int length = std::snprintf(text.end(), text.free_bytes(), "\nSystem error %d: %s",
                                     error_number, std::strerror(error_number));
    if (length > 0 && static_cast<std::size_t>(length) < text.free_bytes()) {
        text.added(static_cast<std::size_t>(length));
    }
}

const char *message_prefix()
{
    if (program_path == nullptr) {
        return "";
    }
    const char *const slash = std::strrchr(program_path, '/');
    return slash == nullptr ? program_path : slash + 1;
}

void print_message_to(std::FILE *stream, const char *message)
{
    const char *const prefix = message_prefix();
    const std::size_t length = std::strlen(message);
    const bool ends_line = length > 0 && message[length - 1] == '\n';
    // One call, so that a line of common length goes out in one write.
    std::fprintf(stream, "%s%s%s%s", prefix, *prefix == '\0' ? "" : ": ", message,
                 ends_line ? "" : "\n");
    std::fflush(stream);
}

void print_log_line_to(std::FILE *stream, const char *text)
{
    std::fprintf(stream, "%s\n", text);
    std::fflush(stream);
}

} // namespace

void report_v(int exit_status, int /*flag*/, const char *format, va_list arguments)
{
    const ErrnoGuard entry_errno;
    TextBuffer text;
    if (!text.grow_to(report_buffer_size)) {
        print_message("Can't allocate memory for error message", exit_status);
        return;
    }
    const std::size_t length = format_into(text, format, arguments);
    if (length >= text.capacity() && text.grow_to(length + 1)) {
        format_into(text, format, arguments);
    }
    text.added(std::min(length, text.room()));
    errno = entry_errno.value();
    if (errno != 0) {
        append_system_error(text, errno);
    }
    print_message(Malloced<char>(text.release()).get(), exit_status);
}

void report(int exit_status, int flag, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    report_v(exit_status, flag, format, arguments);
    va_end(arguments);
}

int report_failure(const char *format, const char *path, int exit_status)
{
    report(exit_status, 0, format, path, std::strerror(errno));
    return -1;
}

void print_message(const char *message, int exit_status)
{
    print_message_to(stderr, message);
    print_message_to(stdout, message);
    if (exit_status != 0) {
        std::exit(exit_status);
    }
}

void log_message_v(int level, const char *format, va_list arguments)
{
    if (level > log_threshold) {
        return;
    }
    char *text = nullptr;
    if (vasprintf(&text, format, arguments) < 0) {
        return;
    }
    const Malloced<char> owned(text);
    print_log_line_to(stderr, text);
    print_log_line_to(stdout, text);
}

void log_message(int level, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    log_message_v(level, format, arguments);
    va_end(arguments);
}

void log_setup(const char *target, int level, int facility, int options, const char *identity)
{
    log_threshold = std::max(level, 0);
    if (target != nullptr) {
        log_output = log_message;
        log_output_v = log_message_v;
        return;
    }
    closelog();
    openlog(identity, options | LOG_PID, facility);
    log_output = syslog;
    log_output_v = vsyslog;
}

char *xasprintf(const char *format, ...)
{
    char *text = nullptr;
    va_list arguments;
    va_start(arguments, format);
    const int length = vasprintf(&text, format, arguments);
    va_end(arguments);
    if (length < 0) {
        report(1, 0, "Cannot allocate memory: %s", std::strerror(errno));
    }
    return text;
}
