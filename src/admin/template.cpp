#include "admin/template.h"

#include "admin/command.h"
#include "admin/places.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <iterator>
#include <regex>

namespace
{

// The path of the file that was read goes to *path.
std::string read_template(const std::string &name, std::string *path)
{
    for (const std::string &directory :
         {configuration_dir() + "/templates", std::string(installed_templates_dir)}) {
        *path = std::string(directory).append("/").append(name);
        errno = 0;
        std::ifstream file(*path);
        if (file.is_open()) {
            std::string text(std::istreambuf_iterator<char>(file), {});
            if (!file.bad() && errno == 0) {
                return text;
            }
        }
        if (errno != ENOENT) {
            break;
        }
    }
    throw refusal_of(*path, errno);
}

} // namespace

std::string filled_template(const std::string &name, const TemplateValues &values)
{
    std::string path;
    const std::string text = read_template(name, &path);
    const std::regex placeholder("@([A-Z_]+)@");
    std::string filled;
    auto rest = text.cbegin();
    for (std::sregex_iterator match(text.begin(), text.end(), placeholder), end; match != end;
         ++match) {
        const auto value = values.find((*match)[1]);
        if (value == values.end()) {
            const auto line = 1 + std::count(text.cbegin(), (*match)[0].first, '\n');
            throw Refusal(path + ", line " + std::to_string(line) + ": there is no value for " +
                          match->str());
        }
        filled.append(rest, (*match)[0].first).append(value->second);
        rest = (*match)[0].second;
    }
    return filled.append(rest, text.cend());
}
