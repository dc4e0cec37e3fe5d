#include "util/strings.h"

#include "util/report.h"

#include <cerrno>
#include <cstring>
#include <new>
#include <string>

namespace
{

const char *const white_space = " \t\n\v\f\r";

int replace_failed(int error_number)
{
    errno = error_number;
    report(0, 0, "strn_replace(): %s\n", std::strerror(error_number));
    return -1;
}

// Builds the result, but no further than to the size that it must stay below.
std::string replaced(const char *text, std::size_t size, const char *pattern,
                     const char *replacement)
{
    std::string result;
    const std::size_t length = std::strlen(pattern);
    while (const char *const found = std::strstr(text, pattern)) {
        result.append(text, found).append(replacement);
        text = found + length;
        if (result.size() >= size) {
            return result;
        }
    }
    return result.append(text);
}

} // namespace

char *trim(char *text)
{
    const char *const begin = text + std::strspn(text, white_space);
    std::size_t length = std::strlen(begin);
    while (length > 0 && std::strchr(white_space, begin[length - 1]) != nullptr) {
        --length;
    }
    std::memmove(text, begin, length);
    text[length] = '\0';
    return text;
}

bool is_all_digits(const char *text)
{
    return *text != '\0' && text[std::strspn(text, "0123456789")] == '\0';
}

bool is_lower_case(const char *text)
{
    return text[std::strcspn(text, "ABCDEFGHIJKLMNOPQRSTUVWXYZ")] == '\0';
}

int strn_replace(char *text, std::size_t size, const char *pattern, const char *replacement)
{
    if (*pattern == '\0' || ::strnlen(text, size) == size) {
        return replace_failed(EINVAL);
    }
    try {
        const std::string result = replaced(text, size, pattern, replacement);
        if (result.size() >= size) {
            return replace_failed(ERANGE);
        }
        std::memcpy(text, result.c_str(), result.size() + 1);
        return 0;
    } catch (const std::bad_alloc &) {
        return replace_failed(ENOMEM);
    }
}
