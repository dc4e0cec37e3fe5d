#include "admin/records.h"

#include "util/descriptors.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iterator>

namespace
{

// The time of a record as web servers (in brackets) or FTP servers (at its beginning, local time)
// write it; -1 if it has none.
std::time_t record_time(const std::string &record)
{
    tm fields = {};
    const std::size_t bracket = record.find('[');
    const std::size_t line_end = record.find('\n');
    if (bracket < line_end &&
        ::strptime(record.c_str() + bracket + 1, "%d/%b/%Y:%H:%M:%S %z", &fields) != nullptr) {
        const long offset = fields.tm_gmtoff;
        return ::timegm(&fields) - offset;
    }
    fields = {};
    fields.tm_isdst = -1;
    return ::strptime(record.c_str(), "%a %b %d %H:%M:%S %Y", &fields) == nullptr
               ? -1
               : std::mktime(&fields);
}

} // namespace

std::time_t first_record_time(int at, const std::string &path, off_t offset)
{
    const Descriptor log(::openat(at, path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    char text[4096];
    const ssize_t length = log.is_open() ? ::pread(log.get(), text, sizeof text, offset) : 0;
    return length > 0 ? record_time({text, static_cast<std::size_t>(length)}) : -1;
}

std::uintmax_t count_records(const std::string &path)
{
    std::ifstream log(path, std::ios::binary);
    return static_cast<std::uintmax_t>(std::count(std::istreambuf_iterator<char>(log), {}, '\n'));
}
