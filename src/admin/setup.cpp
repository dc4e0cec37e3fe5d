#include "admin/changes.h"
#include "admin/command.h"
#include "admin/listing.h"
#include "admin/places.h"
#include "admin/template.h"
#include "config/config_path.h"
#include "domain/domains.h"
#include "domain/log_position.h"

#include <fcntl.h>

#include <iostream>

namespace
{

const Usage setup_usage = {
    "setup", "",
    "Makes what every server needs once, where it is missing: the server configuration\n"
    "file, the directories of log preparation, of AWStats and of Webalizer, and that of\n"
    "the domains. What is there stays as it is."};

void tell(bool made, const std::string &path)
{
    if (look_at(AT_FDCWD, path, 0).st_mode == 0) {
        throw Refusal(path + ": a link that leads to no file; see 'statistics_admin check'");
    }
    std::cout << (made ? "made   " : "found  ") << path << "\n";
}

// Makes the directories of a tree, each of which is told.
void make_dir(Changes &changes, const std::string &path, mode_t mode)
{
    const bool made = changes.make_dir(path, mode);
    changes.keep();
    tell(made, path);
}

void make_configuration(Changes &changes)
{
    const bool made = !is_there(server_config_path);
    if (made) {
        changes.make_dir(configuration_dir(), 0755);
        changes.write_file(server_config_path, filled_template("zut.conf", {}), 0644);
        changes.keep();
    }
    tell(made, server_config_path);
}

void make_log_processor(Changes &changes)
{
    const std::string path = panel_path("admin/sbin/statistics_log_processor");
    const bool made = !is_there(path);
    if (made) {
        changes.make_link(installed_log_processor, path);
        changes.keep();
    }
    tell(made, path);
}

} // namespace

int setup_command(const std::vector<std::string> &words)
{
    if (!parse_words(setup_usage, {}, words)) {
        return 0;
    }
    Changes changes;
    make_configuration(changes);
    require_readable_configuration();
    for (const char *const path : {"admin/sbin", "etc/awstats", "var/awstats", "var/webalizer"}) {
        make_dir(changes, panel_path(path), 0755);
    }
    make_dir(changes, log_positions_dir(), 0700);
    make_dir(changes, domains_dir_path(), 0755);
    make_log_processor(changes);
    return 0;
}
