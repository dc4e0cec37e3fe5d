#include "admin/server_checks.h"

#include "admin/places.h"
#include "config/config_path.h"
#include "config/server_config.h"
#include "domain/log_position.h"
#include "util/report.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <new>
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

bool is_known(const char *name)
{
    const auto shown = log_output;
    log_output = keep_message;
    const bool known = conf_get_by_name(name) != nullptr;
    log_output = shown;
    return known;
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

// What the packaged adapters look for, and where.
struct Stock {
    const char *variable; // of the environment, which goes first
    std::vector<std::string> places;
};

const Stock stock_webalizer = {
    "STOCK_WEBALIZER",
    {"/usr/bin/webalizer", "/usr/local/bin/webalizer", "/opt/webalizer/bin/webalizer"}};
const Stock stock_awstats = {
    "AWSTATS_STOCK_PROGRAM",
    {"/usr/lib/cgi-bin/awstats.pl", "/usr/share/awstats/wwwroot/cgi-bin/awstats.pl",
     "/usr/local/awstats/wwwroot/cgi-bin/awstats.pl", "/usr/lib/awstats/awstats.pl",
     "/srv/www/cgi-bin/awstats/awstats.pl"}};
const Stock stock_builder = {"AWSTATS_STOCK_BUILDER",
                             {"/usr/share/awstats/tools/awstats_buildstaticpages.pl",
                              "/usr/local/awstats/tools/awstats_buildstaticpages.pl",
                              "/usr/lib/awstats/tools/awstats_buildstaticpages.pl",
                              "/usr/local/www/awstats/tools/awstats_buildstaticpages.pl",
                              "/usr/share/doc/awstats/examples/awstats_buildstaticpages.pl"}};

bool is_adapter(const std::string &path)
{
    std::ifstream file(path);
    std::string line;
    while (std::getline(file, line) && line != "use Adapter;") {
    }
    return line == "use Adapter;";
}

void expect_generator(Checklist &checklist, const std::string &path, const Stock &stock)
{
    const std::string install = "install the package of the generator, or name its place in ";
    checklist.expect_program(path, install + "zut.conf");
    if (!is_adapter(path)) {
        return;
    }
    const char *const named = std::getenv(stock.variable);
    const std::vector<std::string> places =
        named != nullptr && *named != '\0' ? std::vector<std::string>{named} : stock.places;
    struct stat status = {};
    if (std::none_of(places.begin(), places.end(), [&](const std::string &place) {
            return ::stat(place.c_str(), &status) == 0 && S_ISREG(status.st_mode);
        })) {
        checklist.add(ProblemKind::program, path + ": its generator is not at " + places[0],
                      install + stock.variable);
    }
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
                      path + (S_ISLNK(status.st_mode)   ? " is a link that leads to no file"
                              : S_ISDIR(status.st_mode) ? " is a directory"
                                                        : " is no regular file"),
                      "mv " + path + " " + path + ".old && statistics_admin setup");
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
        if (!is_known(config->entries[i].name)) {
            checklist.add(
                ProblemKind::configuration,
                std::string(path).append(": there is no setting ").append(config->entries[i].name),
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

void check_server(Checklist &checklist, const std::map<WebstatKind, std::size_t> &kinds)
{
    using Written = Checklist::Written;
    checklist.expect_shared_directory(panel_path("admin/sbin"), Written::no);
    checklist.expect_program(panel_path("admin/sbin/statistics_log_processor"),
                             "statistics_admin setup");
    checklist.expect_shared_directory(log_positions_dir(), Written::yes, "700");
    checklist.expect_shared_directory(panel_path("var/webalizer"), Written::yes);
    checklist.expect_shared_directory(panel_path("etc/awstats"), Written::no);
    checklist.expect_shared_directory(panel_path("var/awstats"), Written::yes);
    if (kinds.count(webstat_webalizer) != 0) {
        expect_generator(checklist, first_word(conf_get(WEB_STAT)), stock_webalizer);
    }
    if (kinds.count(webstat_awstats) != 0) {
        expect_generator(checklist, std::string(conf_get(AWSTATS_BIN_D)) + "/awstats.pl",
                         stock_awstats);
        expect_generator(checklist,
                         std::string(conf_get(AWSTATS_TOOLS_D)) + "/awstats_buildstaticpages.pl",
                         stock_builder);
    }
}
