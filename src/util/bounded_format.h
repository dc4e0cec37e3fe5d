#pragma once

#include <cstddef>
#include <string>

// The size of every buffer that a path or a command is formatted into, terminator included.
constexpr std::size_t bounded_buffer_size = 4096;

// Formats as printf does. Returns the text, cut to the bounded_buffer_size - 1 characters that such
// a buffer holds; nothing tells whether it was cut. An unusable format gives an empty text.
std::string format_bounded(const char *format, ...) __attribute__((format(printf, 1, 2)));
