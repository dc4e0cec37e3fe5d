#include "util/shell_quote.h"

namespace
{

const char *const ordinary_characters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"
    "%+,-./:=@_";

} // namespace

std::string shell_quote(const std::string &text)
{
    if (!text.empty() && text.find_first_not_of(ordinary_characters) == std::string::npos) {
        return text;
    }
    std::string quoted = "'";
    for (const char character : text) {
        if (character == '\'') {
            quoted += "'\\''";
        } else {
            quoted += character;
        }
    }
    return quoted + '\'';
}
