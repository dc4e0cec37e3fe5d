// The clock of the program under test: the time in TEST_TIME, if that is set.

#include <cstdlib>
#include <ctime>

extern "C" time_t time(time_t *result) noexcept
{
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    const char *const set_time = std::getenv("TEST_TIME");
    const time_t value = set_time == nullptr ? now.tv_sec : std::strtoll(set_time, nullptr, 10);
    if (result != nullptr) {
        *result = value;
    }
    return value;
}
