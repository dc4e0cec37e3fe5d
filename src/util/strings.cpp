#include "util/strings.h"

#include "util/report.h"

#include <boost/algorithm/string/replace.hpp>

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
        const std::string result = boost::replace_all_copy(std::string(text), pattern, replacement);
        if (result.size() >= size) {
            return replace_failed(ERANGE);
        }
        std::memcpy(text, result.c_str(), result.size() + 1);
        return 0;
    } catch (const std::bad_alloc &) {
        return replace_failed(ENOMEM);
    }
}
