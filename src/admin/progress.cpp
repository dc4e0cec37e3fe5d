#include "admin/progress.h"

#include <unistd.h>

#include <iostream>
#include <utility>

Progress::Progress(std::string work, std::size_t total)
    : work_(std::move(work)), total_(total), is_shown_(::isatty(STDERR_FILENO) == 1),
      shown_at_(std::chrono::steady_clock::now())
{
}

void Progress::clear() const
{
    if (is_shown_) {
        std::cerr << "\r\033[K" << std::flush;
    }
}

void Progress::step()
{
    ++done_;
    const auto now = std::chrono::steady_clock::now();
    if (is_shown_ && now - shown_at_ > std::chrono::milliseconds(100)) {
        std::cerr << "\r\033[K" + work_ + " " + std::to_string(done_) + " of " +
                         std::to_string(total_)
                  << std::flush;
        shown_at_ = now;
    }
}
