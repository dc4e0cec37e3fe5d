#include "util/argument_vector.h"

std::vector<char *> argument_vector(const char *path, va_list arguments, std::size_t most)
{
    std::vector<char *> vector = {const_cast<char *>(path)};
    while (char *const argument = va_arg(arguments, char *)) {
        if (vector.size() > most) {
            break;
        }
        vector.push_back(argument);
    }
    vector.push_back(nullptr);
    return vector;
}

std::vector<char *> argument_vector(const char *path, char *const arguments[], std::size_t most)
{
    std::vector<char *> vector = {const_cast<char *>(path)};
    for (; *arguments != nullptr && vector.size() <= most; ++arguments) {
        vector.push_back(*arguments);
    }
    vector.push_back(nullptr);
    return vector;
}
