#pragma once

#include <string>

namespace korvo
{

// Escapes the text for display as a shell word: a character that means something to the shell gets
// a backslash; a newline, and ten codes above 127, are wrapped in single quotes; every other
// character is copied. A POSIX shell reads the word back as it was, braces, which some shells
// expand, aside; an empty text stays empty.
std::string shellEscape(const std::string &text);

// Throws std::runtime_error "Internal error: bad escape_chars value" if the text holds a character
// that shellEscape does not copy as it is. Null and empty texts pass.
void checkEscapeChars(const char *text);

} // namespace korvo
