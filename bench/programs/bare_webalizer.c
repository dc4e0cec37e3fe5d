/* Starts, for each domain of a tree, the two shell commands that a run starts for a log of a
 * Webalizer domain, in the same way, and does nothing else.
 *
 * usage: bare_webalizer TREE DOMAINS */
#include "child.h"

#include <stdio.h>
#include <stdlib.h>

enum { word_size = 4096 };

static void run_webalizer(const char *tree, int domain, const char *options,
                          const char *redirections)
{
    static char command[4 * word_size];
    snprintf(command, sizeof command,
             "%s/generators/webalizer -c %s/vhosts/system/d%06d.example/conf/webalizer.conf "
             "-n d%06d.example -D %s/panel/var/webalizer/webalizer.cache %s -F clf - "
             "< %s/vhosts/system/d%06d.example/logs/access_log.webstat%s",
             tree, tree, domain, domain, tree, options, tree, domain, redirections);
    finish_child(start_shell_command(command));
}

int main(int argc, char **argv)
{
    if (argc != 3) {
        fputs("usage: bare_webalizer TREE DOMAINS\n", stderr);
        return 2;
    }
    const int domains = atoi(argv[2]);
    for (int domain = 1; domain <= domains; ++domain) {
        static char options[word_size];
        snprintf(options, sizeof options,
                 "-p -N 0 -o %s/vhosts/system/d%06d.example/statistics/webstat", argv[1], domain);
        run_webalizer(argv[1], domain, "-N 15", "");
        run_webalizer(argv[1], domain, options, " 2>&1");
    }
    return 0;
}
