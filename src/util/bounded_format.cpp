#include "util/bounded_format.h"

#include <cstdarg>
#include <cstdio>

std::string format_bounded(const char *format, ...)
{
    char buffer[bounded_buffer_size] = "";
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(buffer, sizeof buffer, format, arguments);
    va_end(arguments);
    return length < 0 ? std::string() : std::string(buffer);
}
