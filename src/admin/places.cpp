#include "admin/places.h"

#include "admin/command.h"
#include "config/config_path.h"
#include "config/server_config.h"

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cerrno>

const char *const program_version = PROGRAM_VERSION;
const char *const installed_templates_dir = TEMPLATES_DIR;
const char *const installed_log_processor = LOG_PROCESSOR;
const char *const run_lock_path = RUN_LOCK_PATH;

std::string configuration_dir()
{
    const std::string path = server_config_path;
    return path.substr(0, path.rfind('/'));
}

void require_configuration_file()
{
    struct stat found = {};
    if (::stat(server_config_path, &found) == 0 && !S_ISREG(found.st_mode) &&
        !S_ISDIR(found.st_mode)) {
        throw Refusal(std::string(server_config_path) + ": not a regular file");
    }
}

void require_readable_configuration()
{
    require_configuration_file();
    if (conf_load() != 0 && errno != ENOENT) {
        throw refusal_of(server_config_path, errno);
    }
    for (const int key : {HTTPD_VHOSTS_D, PRODUCT_ROOT_D}) {
        const std::string root = conf_get(key);
        if (std::any_of(root.begin(), root.end(),
                        [](unsigned char character) { return std::iscntrl(character) != 0; })) {
            throw Refusal(
                std::string(server_config_path)
                    .append(": a path there ends with a blank or has a control character: '")
                    .append(root.substr(0, root.find_first_of("\n\t")))
                    .append("'"));
        }
    }
}

std::string panel_path(const std::string &path)
{
    return std::string(conf_get(PRODUCT_ROOT_D)) + "/" + path;
}

std::string harm_for_awstats(const std::string &path)
{
    const std::size_t at = path.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                                  "abcdefghijklmnopqrstuvwxyz0123456789_./-");
    if (at != std::string::npos) {
        return "the character '" + path.substr(at, 1) + "'";
    }
    return path.find("__") != std::string::npos ? "'__'" : "";
}
