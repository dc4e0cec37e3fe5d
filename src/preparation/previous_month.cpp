#include "preparation/previous_month.h"

#include <cstring>

namespace
{

const char *const month_names[12] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                     "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

const char *find(const char *text, const char *end, char character)
{
    const void *const place = std::memchr(text, character, static_cast<std::size_t>(end - text));
    return static_cast<const char *>(place);
}

bool is_at(const char *place, const std::string &text)
{
    return std::memcmp(place, text.data(), text.size()) == 0;
}

} // namespace

PreviousMonth::PreviousMonth(const LogSource &source, std::time_t now) : is_ftp_(source.format == 1)
{
    tm date = {};
    ::localtime_r(&now, &date);
    const bool in_january = date.tm_mon == 0;
    month_ = month_names[in_january ? 11 : date.tm_mon - 1];
    year_ = std::to_string(1900 + date.tm_year - (in_january ? 1 : 0));
}

void PreviousMonth::look(const char *text, std::size_t length)
{
    const char *const end = text + length;
    while (!found_ && text < end) {
        const char *const newline = find(text, end, '\n');
        const char *const line_end = newline == nullptr ? end : newline;
        found_ = is_ftp_ ? isFtp(text, line_end) : isWeb(text, line_end);
        text = line_end + 1;
    }
}

// The first "[dd/" begins the date; one in the name of a user does not.
bool PreviousMonth::isWeb(const char *line, const char *end) const
{
    const std::ptrdiff_t date_length = 13; // [21/Oct/2026:
    for (; (line = find(line, end, '[')) != nullptr && end - line >= date_length; ++line) {
        if (line[3] == '/' && line[7] == '/' && line[12] == ':') {
            return is_at(line + 4, month_) && is_at(line + 8, year_);
        }
    }
    return false;
}

bool PreviousMonth::isFtp(const char *line, const char *end) const
{
    const std::ptrdiff_t date_length = 24; // Wed Oct 21 10:00:00 2026
    return end - line >= date_length && is_at(line + 4, month_) && is_at(line + 20, year_);
}
