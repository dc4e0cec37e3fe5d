#pragma once

// The length of an MD5 digest in hexadecimal digits.
constexpr int md5_hex_length = 32;

// Writes the MD5 digest of the text, or of the first text followed by the second, as 32 lower-case
// hexadecimal digits and a terminator.
void md5_hex(const char *text, char (&digest)[md5_hex_length + 1]);
void md5_hex(const char *first, const char *second, char (&digest)[md5_hex_length + 1]);
