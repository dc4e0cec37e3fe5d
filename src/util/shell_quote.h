#pragma once

#include <string>

// Returns the text as one word of a shell command. A text of nothing but letters, digits and the
// characters "%+,-./:=@_" comes back as it is; any other, the empty text included, in single
// quotes, so that no character of it means anything to the shell.
std::string shell_quote(const std::string &text);
