#include "exec/shell_escape.h"

#include <array>
#include <stdexcept>

namespace korvo
{

namespace
{

constexpr char copied = '-';
constexpr char backslashed = '*';
constexpr char quoted = 'n';

constexpr std::array<char, 256> makeEscapeChars()
{
    std::array<char, 256> classes = {};
    for (char &character_class : classes) {
        character_class = copied;
    }
    for (const char character : {'\t', ' ', '"', '#', '$', '&', '\'', '(', ')', '*', ';', '<', '>',
                                 '?', '[', '\\', '`', '|', '~'}) {
        classes[static_cast<unsigned char>(character)] = backslashed;
    }
    for (const unsigned code : {10U, 141U, 167U, 181U, 191U, 194U, 198U, 213U, 223U, 226U, 240U}) {
        classes[code] = quoted;
    }
    return classes;
}

// The class of each character, by its code.
constexpr std::array<char, 256> escape_chars = makeEscapeChars();

char classOf(char character)
{
    return escape_chars[static_cast<unsigned char>(character)];
}

} // namespace

std::string shellEscape(const std::string &text)
{
    std::string escaped;
    for (const char character : text) {
        switch (classOf(character)) {
        case backslashed:
            escaped += '\\';
            escaped += character;
            break;
        case quoted:
            escaped += '\'';
            escaped += character;
            escaped += '\'';
            break;
        default:
            escaped += character;
        }
    }
    return escaped;
}

void checkEscapeChars(const char *text)
{
    for (; text != nullptr && *text != '\0'; ++text) {
        if (classOf(*text) != copied) {
            throw std::runtime_error("Internal error: bad escape_chars value");
        }
    }
}

} // namespace korvo
