#include "admin/texts.h"

#include <nlohmann/json.hpp>

#include <cctype>
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

std::string on_one_line(const std::string &text)
{
    std::string line;
    for (const char character : text) {
        char number[8] = {character};
        if (std::iscntrl(static_cast<unsigned char>(character)) != 0) {
            std::snprintf(number, sizeof number, "\\%03o", static_cast<unsigned>(character) & 0xff);
        }
        line += number;
    }
    return line;
}

std::string json_text(const nlohmann::ordered_json &value)
{
    return value.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}
