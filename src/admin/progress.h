#pragma once

#include <chrono>
#include <cstddef>
#include <string>

// Tells on standard error, if that is a terminal, how far a long work has come; the line is taken away
// again at the end of the object's life.
class Progress
{
public:
    Progress(std::string work, std::size_t total);
    ~Progress() { clear(); }
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    // One more is about to be done.
    void step();

    // Takes the line away, so that another can be written there.
    void clear() const;

private:
    const std::string work_;
    const std::size_t total_;
    const bool is_shown_;
    std::size_t done_ = 0;
    std::chrono::steady_clock::time_point shown_at_;
};
