#include "util/strings.h"

#include "util/report.h"

#include <cctype>
#include <cerrno>
#include <cstring>
#include <new>
#include <string>

namespace
{

bool is_space(char character)
{
    return std::isspace(static_cast<unsigned char>(character)) != 0;
}

int replace_failed(int error_number)
{
    errno = error_number;
    report(0, 0, "strn_replace(): %s\n", std::strerror(error_number));
    return -1;
}

std::string replaced(const char *text, const char *pattern, const char *replacement)
{
    std::string result;
    const std::size_t length = std::strlen(pattern);
    while (const char *const found = std::strstr(text, pattern)) {
        result.append(text, found).append(replacement);
        text = found + length;
    }
    return result.append(text);
}

} // namespace

char *trim(char *text)
{
    const char *begin = text;
    while (is_space(*begin)) {
        ++begin;
    }
    std::size_t length = std::strlen(begin);
    while (length > 0 && is_space(begin[length - 1])) {
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
        const std::string result = replaced(text, pattern, replacement);
        if (result.size() >= size) {
            return replace_failed(ERANGE);
        }
        std::memcpy(text, result.c_str(), result.size() + 1);
        return 0;
    } catch (const std::bad_alloc &) {
        return replace_failed(ENOMEM);
    }
}
