#include "util/log_line.h"

#include <cstdio>
#include <iostream>

void log_line(const std::string &text)
{
    std::fflush(stdout);
    std::clog.clear(); // a line that could not be written must not keep the next ones back
    std::clog << text + '\n' << std::flush;
}
