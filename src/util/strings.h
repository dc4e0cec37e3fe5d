#pragma once

#include <cstddef>

// Small texts. Letters, digits and blanks are those of the C locale.

// Removes the white space at both ends of the text, in place. Returns the text.
char *trim(char *text);

// Whether the text consists of digits, at least one.
bool is_all_digits(const char *text);

// Whether the text holds no upper-case letter.
bool is_lower_case(const char *text);

// Replaces every occurrence of the pattern in the text, from left to right, in place; what has been
// put in is not searched again. size: the bytes there are for the text, its terminator included.
// Returns 0, or -1 after a report, with errno set and the text as it was: EINVAL for an empty
// pattern or a text that is not terminated within the size, ERANGE if the result does not fit,
// ENOMEM.
int strn_replace(char *text, std::size_t size, const char *pattern, const char *replacement);
