#include "domain/domain_name.h"

#include <cctype>
#include <cstddef>
#include <cstring>

namespace
{

constexpr std::size_t max_name_length = 255;
constexpr std::size_t max_label_length = 63;

bool is_letter_or_digit(char character)
{
    return std::isalnum(static_cast<unsigned char>(character)) != 0;
}

} // namespace

bool is_valid_domain_name(const char *name)
{
    if (name == nullptr) {
        return false;
    }
    const std::size_t length = std::strlen(name);
    if (length == 0 || length > max_name_length || name[0] == '.' || name[length - 1] == '.') {
        return false;
    }
    std::size_t position = 1; // within the current label
    for (std::size_t i = 0; i < length; ++i) {
        if (name[i] == '.') {
            if (position == 1 || name[i - 1] == '-') {
                return false;
            }
            position = 1;
            continue;
        }
        const bool allowed = is_letter_or_digit(name[i]) || (name[i] == '-' && position >= 2);
        if (!allowed || position > max_label_length) {
            return false;
        }
        ++position;
    }
    return true;
}
