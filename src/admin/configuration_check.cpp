#include "admin/configuration_check.h"

#include "config/config_path.h"
#include "config/server_config.h"
#include "util/report.h"

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <new>
#include <string>
#include <vector>

namespace
{

std::vector<std::string> messages; // of reading the configuration

void keep_message(int /*level*/, const char *format, ...)
{
    char text[4096];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    std::string message = text;
    message.erase(message.find_last_not_of('\n') + 1);
    std::replace(message.begin(), message.end(), '\n', ' ');
    messages.push_back(message);
}

using OwnedConfig = std::unique_ptr<ServerConfig, void (*)(ServerConfig *)>;

// Reads the file as a run does, keeping the messages that it does not show.
OwnedConfig read_configuration()
{
    OwnedConfig config(static_cast<ServerConfig *>(std::calloc(1, sizeof(ServerConfig))),
                       conf_free);
    if (config == nullptr) {
        throw std::bad_alloc();
    }
    messages.clear();
    const auto shown = log_output;
    log_output = keep_message;
    conf_parse_file(server_config_path, config.get());
    log_output = shown;
    return config;
}

// The name in capitals, without its underscores.
std::string bare(const std::string &name)
{
    std::string letters;
    for (const char character : name) {
        if (character != '_') {
            letters += static_cast<char>(std::toupper(static_cast<unsigned char>(character)));
        }
    }
    return letters;
}

// The setting that was probably meant by a name that is none: they differ in no more than two letters
// side by side. Null if there is none: the file can hold what others need.
const char *meant_by(const std::string &name)
{
    const std::string letters = bare(name);
    for (const char *const setting :
         {"AWSTATS_BIN_D", "AWSTATS_TOOLS_D", "HTTPD_VHOSTS_D", "PRODUCT_ROOT_D", "WEB_STAT"}) {
        const std::string wanted = bare(setting);
        const auto [from, to] =
            std::mismatch(letters.begin(), letters.end(), wanted.begin(), wanted.end());
        const auto [last, last_wanted] =
            std::mismatch(letters.rbegin(), std::make_reverse_iterator(from), wanted.rbegin(),
                          std::make_reverse_iterator(to));
        if (last.base() - from <= 2 && last_wanted.base() - to <= 2) {
            return name == setting ? nullptr : setting;
        }
    }
    return nullptr;
}

bool ends_with_space(const std::string &text)
{
    return !text.empty() && std::isspace(static_cast<unsigned char>(text.back())) != 0;
}

} // namespace

void check_configuration(Checklist &checklist)
{
    const std::string path = server_config_path;
    struct stat status = {};
    if (::lstat(path.c_str(), &status) != 0 && errno == ENOENT) {
        return; // the defaults count
    }
    if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) {
        checklist.add(ProblemKind::configuration,
                      path + (S_ISDIR(status.st_mode) ? " is a directory"
                                                      : " is a link that leads to no file"),
                      "mv " + path + " " + path + ".old && statistics_admin setup");
        return;
    }
    checklist.expect_owner(path, status);
    checklist.expect_owner_above(path);
    const OwnedConfig config = read_configuration();
    for (const std::string &message : messages) {
        checklist.add(ProblemKind::configuration,
                      std::string(path).append(" is not read as it stands: ").append(message),
                      "write each line as a name, a blank and a value");
    }
    for (unsigned i = 0; i < config->count; ++i) {
        const char *const setting = meant_by(config->entries[i].name);
        if (setting != nullptr) {
            checklist.add(ProblemKind::configuration,
                          std::string(path)
                              .append(": there is no setting ")
                              .append(config->entries[i].name)
                              .append(", but ")
                              .append(setting),
                          "correct the name, or remove the line");
        }
        if (ends_with_space(config->entries[i].value)) {
            checklist.add(ProblemKind::configuration,
                          std::string(path)
                              .append(": the value of ")
                              .append(config->entries[i].name)
                              .append(" ends with a blank, which counts"),
                          "end the line right after the value");
        }
    }
}
