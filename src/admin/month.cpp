#include "admin/month.h"

#include <cstdio>

namespace
{

// A number of that many digits.
int number(const std::string &text, std::size_t at, std::size_t digits)
{
    const std::string part = text.substr(at, digits);
    return part.find_first_not_of("0123456789") == std::string::npos ? std::stoi(part) : -1;
}

Month month_of(int year, int month)
{
    return year >= 1 && month >= 1 && month <= 12 ? year * 12 + month - 1 : no_month;
}

std::string format(const char *form, int first, int second)
{
    char text[32];
    std::snprintf(text, sizeof text, form, first, second);
    return text;
}

} // namespace

Month month_of_name(const std::string &name)
{
    return name.size() == 7 && name[4] == '-' ? month_of(number(name, 0, 4), number(name, 5, 2))
                                              : no_month;
}

Month month_of_data(const std::string &digits)
{
    return digits.size() == 6 ? month_of(number(digits, 2, 4), number(digits, 0, 2)) : no_month;
}

Month month_of_time(std::time_t time)
{
    tm local = {};
    return ::localtime_r(&time, &local) == nullptr
               ? no_month
               : month_of(local.tm_year + 1900, local.tm_mon + 1);
}

std::string month_name(Month month)
{
    return format("%04d-%02d", month / 12, month % 12 + 1);
}

std::string month_digits(Month month)
{
    return format("%02d%04d", month % 12 + 1, month / 12);
}
