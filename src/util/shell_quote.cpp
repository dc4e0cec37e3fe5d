#include "util/shell_quote.h"

#include <boost/algorithm/string/replace.hpp>

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
    return "'" + boost::replace_all_copy(text, "'", "'\\''") + "'";
}
