#include "webalizer/truncate_log.h"

#include "util/owned.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

void truncate_log(const std::string &path)
{
    const OwnedFile file(std::fopen(path.c_str(), "r+"));
    if (file == nullptr) {
        std::printf("Error: unable to open file %s: %s\n", path.c_str(), std::strerror(errno));
        return;
    }
    if (::ftruncate(::fileno(file.get()), 0) != 0) {
        std::printf("Error during truncating %s: %s\n", path.c_str(), std::strerror(errno));
    }
}
