// The clock of the program under test: the UTC time in TEST_TIME, if that is set.

#include <cstdlib>
#include <ctime>

extern "C" time_t time(time_t *result) noexcept
{
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    tm fields = {};
    const char *const set_time = std::getenv("TEST_TIME");
    const bool is_set = set_time != nullptr && strptime(set_time, "%Y-%m-%d %H:%M", &fields) != nullptr;
    const time_t value = is_set ? timegm(&fields) : now.tv_sec;
    if (result != nullptr) {
        *result = value;
    }
    return value;
}
