#include "domain/time_to_live.h"

namespace
{

constexpr int default_months = 120;
constexpr std::time_t month_seconds = 2678400; // 31 days

} // namespace

int months_kept(int stat_ttl)
{
    return stat_ttl <= 0 ? default_months : stat_ttl;
}

std::time_t expiring_time(std::time_t now, int months)
{
    return now - (static_cast<std::time_t>(months) + 1) * month_seconds;
}
