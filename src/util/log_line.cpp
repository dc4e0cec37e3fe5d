#include "util/log_line.h"

#include <cstdio>
#include <iostream>

void log_line(const std::string &text)
{
    std::fflush(stdout);
    std::clog << text + '\n' << std::flush;
}
