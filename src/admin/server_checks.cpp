#include "admin/server_checks.h"

#include "admin/listing.h"
#include "admin/places.h"
#include "admin/texts.h"
#include "config/server_config.h"
#include "domain/log_position.h"
#include "exec/process.h"
#include "util/files.h"
#include "util/shell_quote.h"
#include "util/unchanged.h"

#include <fcntl.h>

#include <ctime>
#include <fstream>
#include <string>

namespace
{

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
    if (checklist.expect_program(path, mend) && is_adapter(path)) {
        std::string name = path;
        std::string question = "--find-stock";
        char *const words[] = {name.data(), question.data(), nullptr};
        std::string output;
        std::string answer;
        if (korvo::forkExecvGetOutErr(output, answer, path, words) != 0) {
            const std::string reason = answer.substr(0, answer.find('\n'));
            const bool is_answer = reason.compare(0, path.size(), path) == 0;
            checklist.add(ProblemKind::program,
                          is_answer        ? reason
                          : reason.empty() ? path + " has failed"
                                           : path + ": " + reason,
                          is_answer ? "install the package of the generator"
                                    : "reinstall the package of statistics_run, or that of perl");
        }
    }
}

// Puts the packaged log preparation in its place, where setup would leave what is there.
std::string log_processor_mend(const std::string &path)
{
    if (!file_exists(installed_log_processor)) {
        return "reinstall the package of statistics_run";
    }
    const std::string word = shell_quote(path);
    return (S_ISDIR(look_at(AT_FDCWD, path, AT_SYMLINK_NOFOLLOW).st_mode)
                ? "mv " + word + " " + shell_quote(path + ".old") + " && "
                : "") +
           "ln -sfn " + shell_quote(installed_log_processor) + " " + word;
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

void check_server(Checklist &checklist, const std::map<WebstatKind, std::size_t> &kinds)
{
    using Written = Checklist::Written;
    checklist.expect_shared_directory(panel_path("admin/sbin"), Written::no);
    const std::string log_processor = panel_path("admin/sbin/statistics_log_processor");
    checklist.expect_program(log_processor, log_processor_mend(log_processor));
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
