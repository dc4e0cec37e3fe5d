#include "webalizer/truncate_log.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

void truncate_log(const std::string &path)
{
    std::FILE *const file = std::fopen(path.c_str(), "r+");
    if (file == nullptr) {
        std::printf("Error: unable to open file %s: %s\n", path.c_str(), std::strerror(errno));
        return;
    }
    if (::ftruncate(::fileno(file), 0) != 0) {
        std::printf("Error during truncating %s: %s\n", path.c_str(), std::strerror(errno));
    }
    std::fclose(file);
}
