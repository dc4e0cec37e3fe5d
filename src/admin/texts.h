#pragma once

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <ctime>
#include <string>

// The time in the local time zone, as strftime formats it; "-" for 0.
std::string time_text(std::time_t time, const char *format = "%Y-%m-%d %H:%M");

// "0", "512 B", "1.5 KiB" and so on.
std::string size_text(std::uintmax_t bytes);

// The text as one line, control characters by their octal numbers.
std::string on_one_line(const std::string &text);

// The value as JSON on several lines; what is no UTF-8 in it is replaced.
std::string json_text(const nlohmann::ordered_json &value);
