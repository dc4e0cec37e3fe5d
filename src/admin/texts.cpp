#include "admin/texts.h"

#include <cstdio>

std::string time_text(std::time_t time, const char *format)
{
    tm local = {};
    char text[64] = "";
    if (time == 0 || ::localtime_r(&time, &local) == nullptr ||
        std::strftime(text, sizeof text, format, &local) == 0) {
        return "-";
    }
    return text;
}

// "0", "512 B", "1.5 KiB" and so on.
std::string size_text(std::uintmax_t bytes)
{
    const char *const units[] = {"B", "KiB", "MiB", "GiB", "TiB"};
    auto value = static_cast<double>(bytes);
    std::size_t unit = 0;
    for (; value >= 1024 && unit < 4; ++unit) {
        value /= 1024;
    }
    char text[32];
    std::snprintf(text, sizeof text, unit == 0 ? "%.0f %s" : "%.1f %s", value, units[unit]);
    return bytes == 0 ? "0" : text;
}
