#include "util/report.h"

#include "util/errno_guard.h"
#include "util/malloced.h"

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <strings.h>
#include <syslog.h>

const char *program_path = nullptr;
void (*log_output)(int level, const char *format, ...) = log_message;
void (*log_output_v)(int level, const char *format, va_list arguments) = log_message_v;

namespace
{

constexpr std::size_t report_buffer_size = 4096;
constexpr char console_target[] = "console";

int log_facility = LOG_MAIL;
int log_threshold = log_level_info;
bool console_on = true;

struct Message {
    Malloced<char> text;
    std::size_t capacity = 0;
    std::size_t length = 0;
};

void format_into(Message &message, const char *format, va_list arguments)
{
    va_list copy;
    va_copy(copy, arguments);
    const int length = std::vsnprintf(message.text.get(), message.capacity, format, copy);
    va_end(copy);
    message.length = length < 0 ? 0 : static_cast<std::size_t>(length);
    if (length < 0) {
        *message.text = '\0';
    }
}

void format_whole(Message &message, const char *format, va_list arguments)
{
    format_into(message, format, arguments);
    if (message.length < message.capacity) {
        return;
    }
    const std::size_t needed = message.length + 1;
    char *const grown = static_cast<char *>(std::realloc(message.text.get(), needed));
    if (grown == nullptr) {
        message.length = message.capacity - 1;
        return;
    }
    static_cast<void>(message.text.release()); // realloc has taken it over
    message.text.reset(grown);
    message.capacity = needed;
    format_into(message, format, arguments);
}

void append_system_error(Message &message, int error_number)
{
    const char *const format = "\nSystem error %d: %s";
    const char *const text = std::strerror(error_number);
    const std::size_t room = message.capacity - message.length;
    const int length = std::snprintf(nullptr, 0, format, error_number, text);
    if (length > 0 && static_cast<std::size_t>(length) < room) {
        std::snprintf(message.text.get() + message.length, room, format, error_number, text);
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
    Message message;
    message.text.reset(static_cast<char *>(std::malloc(report_buffer_size)));
    if (message.text == nullptr) {
        print_message("Can't allocate memory for error message", exit_status);
        return;
    }
    message.capacity = report_buffer_size;
    format_whole(message, format, arguments);
    errno = entry_errno.value();
    if (entry_errno.value() != 0) {
        append_system_error(message, entry_errno.value());
    }
    print_message(message.text.get(), exit_status);
}

void report(int exit_status, int flag, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    report_v(exit_status, flag, format, arguments);
    va_end(arguments);
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
    if (level > log_threshold || !console_on) {
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
    log_facility = facility;
    console_on = level >= 1;
    log_threshold = console_on ? level : 0;
    if (target != nullptr) {
        log_output = log_message;
        log_output_v = log_message_v;
        if (strncasecmp(target, console_target, sizeof console_target - 1) != 0) {
            console_on = false;
        }
        return;
    }
    closelog();
    openlog(identity, options | LOG_PID, log_facility);
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
