#pragma once

#include <ctime>
#include <string>

// Months as numbers that can be compared and counted on: year * 12 + (1 to 12) - 1.
using Month = int;
constexpr Month no_month = -1;

// The month of "2026-11" or, for AWStats' data, of "112026"; no_month for anything else.
Month month_of_name(const std::string &name);
Month month_of_data(const std::string &digits);

// The month of the time in the local time zone.
Month month_of_time(std::time_t time);

// "2026-11", and "112026".
std::string month_name(Month month);
std::string month_digits(Month month);
