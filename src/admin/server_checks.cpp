#include "admin/server_checks.h"

#include "admin/places.h"
#include "config/config_path.h"
#include "config/server_config.h"
#include "util/report.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>

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

bool ends_with_space(const std::string &text)
{
    return !text.empty() && std::isspace(static_cast<unsigned char>(text.back())) != 0;
}

// WEB_STAT goes to the shell, and may have options.
std::string first_word(const std::string &command)
{
    return command.substr(0, command.find_first_of(" \t\n"));
}

} // namespace

void check_configuration(Checklist &checklist)
{
    const std::string path = server_config_path;
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0) {
        if (errno != ENOENT) { // without one, the defaults count
            checklist.add(ProblemKind::configuration, path + " can't be looked at",
                          "ls -l " + path);
        }
        return;
    }
    checklist.expect_owner(path, status);
    const OwnedConfig config = read_configuration();
    for (const std::string &message : messages) {
        checklist.add(ProblemKind::configuration,
                      std::string(path).append(" is not read as it stands: ").append(message),
                      "write each line as a name, a blank and a value");
    }
    for (unsigned i = 0; i < config->count; ++i) {
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

void check_server(Checklist &checklist, const std::map<WebstatKind, std::size_t> &kinds)
{
    const char *const install =
        "install the package of the generator, or name its place in zut.conf";
    using Written = Checklist::Written;
    checklist.expect_shared_directory(panel_path("admin/sbin"), Written::no);
    checklist.expect_program(panel_path("admin/sbin/statistics_log_processor"),
                             "statistics_admin setup");
    if (kinds.count(webstat_webalizer) != 0) {
        checklist.expect_shared_directory(panel_path("var/webalizer"), Written::yes);
        checklist.expect_program(first_word(conf_get(WEB_STAT)), install);
    }
    if (kinds.count(webstat_awstats) != 0) {
        checklist.expect_shared_directory(panel_path("etc/awstats"), Written::no);
        checklist.expect_shared_directory(panel_path("var/awstats"), Written::yes);
        checklist.expect_program(std::string(conf_get(AWSTATS_BIN_D)) + "/awstats.pl", install);
        checklist.expect_program(
            std::string(conf_get(AWSTATS_TOOLS_D)) + "/awstats_buildstaticpages.pl", install);
    }
}
