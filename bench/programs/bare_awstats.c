/* Starts, for each domain of a tree, the two programs that a run starts for a log of an AWStats
 * domain, in the same way and with the same words, and does nothing else.
 *
 * usage: bare_awstats TREE DOMAINS */
#include "child.h"
#include "failure.h"

#include <stdio.h>
#include <stdlib.h>

enum { word_size = 4096 };

static void update(const char *tree, int domain)
{
    static char program[word_size];
    static char config_dir[word_size];
    static char config[word_size];
    static char log[word_size];
    snprintf(program, sizeof program, "%s/generators/awstats.pl", tree);
    snprintf(config_dir, sizeof config_dir, "-configdir=%s/panel/etc/awstats", tree);
    snprintf(config, sizeof config, "-config=d%06d.example-http", domain);
    snprintf(log, sizeof log, "-LogFile=%s/vhosts/system/d%06d.example/logs/access_log.webstat",
             tree, domain);
    char *const argv[] = {program, (char *)"-update", config_dir, config, log, NULL};
    finish_child(start_program(argv));
}

static void build_pages(const char *tree, int domain)
{
    static char command[4 * word_size];
    snprintf(command, sizeof command,
             "%s/generators/awstats_buildstaticpages.pl -awstatsprog=%s/generators/awstats.pl "
             "-configdir=%s/panel/etc/awstats -config=d%06d.example-http "
             "-dir=%s/vhosts/system/d%06d.example/statistics//webstat/current",
             tree, tree, tree, domain, tree, domain);
    finish_child(start_shell_command(command));
}

int main(int argc, char **argv)
{
    if (argc != 3) {
        fputs("usage: bare_awstats TREE DOMAINS\n", stderr);
        return 2;
    }
    if (setenv("AWSTATS_ENABLE_CONFIG_DIR", "yes", 1) != 0) {
        fail("setenv");
    }
    const int domains = atoi(argv[2]);
    for (int domain = 1; domain <= domains; ++domain) {
        update(argv[1], domain);
        build_pages(argv[1], domain);
    }
    return 0;
}
