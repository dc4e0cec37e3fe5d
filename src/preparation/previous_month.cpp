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

// The first "[dd/Mon/yyyy:" of the text.
const char *find_date(const char *text, const char *end)
{
    const std::ptrdiff_t length = 13;
    for (; (text = find(text, end, '[')) != nullptr && end - text >= length; ++text) {
        if (text[3] == '/' && text[7] == '/' && text[12] == ':') {
            return text;
        }
    }
    return nullptr;
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
    if (!found_) {
        found_ = is_ftp_ ? isInFtpLines(text, text + length) : isInWebLines(text, text + length);
    }
}

// Most lines have one bracket before their date: it is quicker to go from one to the next than from
// line to line.
bool PreviousMonth::isInWebLines(const char *text, const char *end) const
{
    for (const char *place = text; (place = find_date(place, end)) != nullptr; ++place) {
        if (is_at(place + 4, month_) && is_at(place + 8, year_)) {
            const void *const newline =
                ::memrchr(text, '\n', static_cast<std::size_t>(place - text));
            const char *const line = newline == nullptr ? text : static_cast<const char *>(newline);
            if (find_date(line, end) == place) { // what follows in the line can look like a date
                return true;
            }
        }
    }
    return false;
}

bool PreviousMonth::isInFtpLines(const char *text, const char *end) const
{
    const std::ptrdiff_t date_length = 24; // Wed Oct 21 10:00:00 2026
    while (text != nullptr && end - text >= date_length) {
        const char *const newline = find(text, end, '\n');
        const char *const line_end = newline == nullptr ? end : newline;
        if (line_end - text >= date_length && is_at(text + 4, month_) && is_at(text + 20, year_)) {
            return true;
        }
        text = newline == nullptr ? nullptr : newline + 1;
    }
    return false;
}
