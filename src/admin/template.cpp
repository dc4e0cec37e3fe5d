#include "admin/template.h"

#include "admin/command.h"
#include "admin/places.h"
#include "util/descriptors.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace
{

std::string template_path(const std::string &name)
{
    const std::string own = configuration_dir() + "/templates/" + name;
    struct stat found = {};
    return ::lstat(own.c_str(), &found) != 0 && errno == ENOENT
               ? std::string(installed_templates_dir) + "/" + name
               : own;
}

std::string read_template(const std::string &path)
{
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat found = {};
    if (!file.is_open() || ::fstat(file.get(), &found) != 0) {
        throw refusal_of(path, errno);
    }
    if (!S_ISREG(found.st_mode)) {
        throw Refusal(path + ": not a regular file");
    }
    std::string text;
    char bytes[4096];
    ssize_t length = 0;
    while ((length = ::read(file.get(), bytes, sizeof bytes)) > 0) {
        text.append(bytes, static_cast<std::size_t>(length));
    }
    if (length != 0) {
        throw refusal_of(path, errno);
    }
    return text;
}

} // namespace

std::string filled_template(const std::string &name, const TemplateValues &values)
{
    const std::string path = template_path(name);
    const std::string text = read_template(path);
    std::string filled;
    std::size_t copied = 0; // bytes of the text
    for (std::size_t at = text.find('@'); at != std::string::npos; at = text.find('@', at + 1)) {
        const std::size_t end = text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ_", at + 1);
        if (end == std::string::npos || end == at + 1 || text[end] != '@') {
            continue;
        }
        const auto value = values.find(text.substr(at + 1, end - at - 1));
        if (value == values.end()) {
            const auto line = 1 + std::count(text.data(), text.data() + at, '\n');
            throw Refusal(path + ", line " + std::to_string(line) + ": there is no value for " +
                          text.substr(at, end + 1 - at));
        }
        filled.append(text, copied, at - copied).append(value->second);
        copied = end + 1;
        at = end;
    }
    return filled.append(text, copied);
}
