#include "admin/server_checks.h"

#include "admin/listing.h"
#include "admin/places.h"
#include "admin/texts.h"
#include "config/config_path.h"
#include "config/server_config.h"
#include "domain/log_position.h"
#include "exec/process.h"
#include "util/report.h"
#include "util/unchanged.h"

#include <fcntl.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <new>
#include <utility>
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

// The letters and digits of a name.
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

// The setting that was probably meant by a name that is none: they differ in no more than two letters side
// by side. Null if there is none: the file can hold what others need.
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

// WEB_STAT goes to the shell, and may have options.
std::string first_word(const std::string &command)
{
    return command.substr(0, command.find_first_of(" \t\n"));
}

bool is_adapter(const std::string &path)
{
    std::ifstream file(path);
    std::string line;
    while (std::getline(file, line) && line != "use Adapter;") {
    }
    return line == "use Adapter;";
}

// The packaged adapters tell whether there is the generator that they adapt.
void expect_generator(Checklist &checklist, const std::string &path)
{
    const char *const mend = "install the package of the generator, or name its place in zut.conf";
    checklist.expect_program(path, mend);
    if (is_adapter(path)) {
        std::string name = path;
        std::string question = "--find-stock";
        char *const words[] = {name.data(), question.data(), nullptr};
        std::string output;
        std::string answer;
        if (korvo::forkExecvGetOutErr(output, answer, path, words) != 0) {
            checklist.add(ProblemKind::program, answer.substr(0, answer.find('\n')),
                          "install the package of the generator");
        }
    }
}

// Log preparation, which begins every run, leaves its time at the directory of its positions; so does
// setup. Another's may not.
void check_last_preparation(Checklist &checklist)
{
    constexpr std::time_t hours = 3600;
    const struct stat positions = look_at(AT_FDCWD, log_positions_dir(), 0);
    if (positions.st_mode != 0 && positions.st_mtime < std::time(nullptr) - 36 * hours &&
        is_link_to(panel_path("admin/sbin/statistics_log_processor").c_str(),
                   installed_log_processor)) {
        checklist.add(ProblemKind::waiting,
                      "no run has begun since " + time_text(positions.st_mtime),
                      "systemctl enable --now statistics_run.timer, or see crontab(5)");
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

void check_server(Checklist &checklist, const std::map<WebstatKind, std::size_t> &kinds)
{
    using Written = Checklist::Written;
    checklist.expect_shared_directory(panel_path("admin/sbin"), Written::no);
    checklist.expect_program(panel_path("admin/sbin/statistics_log_processor"),
                             "statistics_admin setup");
    checklist.expect_shared_directory(log_positions_dir(), Written::yes, "700");
    check_last_preparation(checklist);
    checklist.expect_shared_directory(panel_path("var/webalizer"), Written::yes);
    checklist.expect_shared_directory(panel_path("etc/awstats"), Written::no);
    checklist.expect_shared_directory(panel_path("var/awstats"), Written::yes);
    if (kinds.count(webstat_webalizer) != 0) {
        expect_generator(checklist, first_word(conf_get(WEB_STAT)));
    }
    if (kinds.count(webstat_awstats) != 0) {
        expect_generator(checklist, std::string(conf_get(AWSTATS_BIN_D)) + "/awstats.pl");
        expect_generator(checklist,
                         std::string(conf_get(AWSTATS_TOOLS_D)) + "/awstats_buildstaticpages.pl");
    }
}
