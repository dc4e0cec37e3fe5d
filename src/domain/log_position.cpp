#include "domain/log_position.h"

#include "config/server_config.h"
#include "util/descriptors.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sstream>
#include <stdexcept>

namespace
{

constexpr std::size_t max_position_size = 4096;
const char *const first_line = "statistics_log_processor position 1";

[[noreturn]] void fail(const std::string &path, const std::string &reason)
{
    throw std::runtime_error(path + ": " + reason);
}

// The position's text; none if there is no such file. Empty for what is not a regular file.
std::optional<std::string> read_text(const std::string &path)
{
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!file.is_open()) {
        if (errno == ENOENT) {
            return std::nullopt;
        }
        if (errno == ELOOP) {
            return "";
        }
        fail(path, std::strerror(errno));
    }
    char text[max_position_size];
    const ssize_t length = ::read(file.get(), text, sizeof text);
    if (length < 0 && errno == EISDIR) {
        return "";
    }
    if (length < 0) {
        fail(path, std::strerror(errno));
    }
    return std::string(text, static_cast<std::size_t>(length));
}

// Reads what the text seems to hold; whether it does is told by writing it again.
LogPosition parse(const std::string &text)
{
    LogPosition position;
    std::istringstream lines(text);
    std::string line;
    std::getline(lines, line);
    while (std::getline(lines, line)) {
        std::istringstream words(line);
        std::string word;
        words >> word;
        if (word == "prepared") {
            words >> position.prepared;
        } else if (word == "file") {
            TakenFile file;
            words >> word >> file.inode >> word >> file.size >> word >> file.changed >> word >>
                file.taken >> word >> file.fingerprint >> word;
            if (word == "ending") {
                words >> file.ending >> word;
            }
            std::getline(words.ignore(), file.name);
            position.files.push_back(file);
        }
    }
    return position;
}

bool is_complete(const LogPosition &position)
{
    const std::vector<TakenFile> &files = position.files;
    return !files.empty() && files.size() <= 2 &&
           std::all_of(files.begin(), files.end(), [](const TakenFile &file) {
               return (file.taken == 0) == (file.fingerprint == "-");
           });
}

} // namespace

std::string log_positions_dir()
{
    return std::string(conf_get(PRODUCT_ROOT_D)) + "/var/log_positions";
}

std::string log_position_path(const std::string &domain, const std::string &log)
{
    return log_positions_dir() + "/" + domain + "/" + log;
}

std::string log_position_text(const LogPosition &position)
{
    std::ostringstream text;
    text << first_line << "\nprepared " << position.prepared << '\n';
    for (const TakenFile &file : position.files) {
        text << "file inode " << file.inode << " size " << file.size << " changed " << file.changed
             << " taken " << file.taken << " beginning " << file.fingerprint;
        if (file.ending != 0) {
            text << " ending " << file.ending;
        }
        text << " name " << file.name << '\n';
    }
    text << "end\n";
    return text.str();
}

std::optional<LogPosition> read_log_position(const std::string &path)
{
    const std::optional<std::string> text = read_text(path);
    if (!text) {
        return std::nullopt;
    }
    const LogPosition position = parse(*text);
    if (log_position_text(position) != *text || !is_complete(position)) {
        fail(path, "not a position of this program; the lines of the log wait until it is restored "
                   "or removed");
    }
    return position;
}
