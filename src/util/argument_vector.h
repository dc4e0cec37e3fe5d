#pragma once

#include <cstdarg>
#include <cstddef>
#include <vector>

// An argument vector for a child process: the path, then the arguments of the list up to its ending
// null entry, at most `most` of them, then a null entry. The texts are not copied and must outlive
// the vector.
std::vector<char *> argument_vector(const char *path, va_list arguments, std::size_t most);

// The same from a vector of arguments that a null entry ends.
std::vector<char *> argument_vector(const char *path, char *const arguments[], std::size_t most);
