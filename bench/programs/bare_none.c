/* Does with a tree of domains that have no generator what a run does with them: the same looks at
 * the file system, the same removals, the same lines, each in one write.
 *
 * usage: bare_none TREE */
#include "failure.h"

#include <dirent.h>
#include <errno.h>
#include <stdarg.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

enum { text_size = 4096 };

static const char *const logs[] = {"access_log",           "access_ssl_log", "proxy_access_log",
                                   "proxy_access_ssl_log", "xferlog",        "xferlog_regular"};

struct names {
    char **entries;
    size_t count;
    size_t capacity;
};

static void write_line(const char *format, ...) __attribute__((format(printf, 1, 2)));

static void write_line(const char *format, ...)
{
    char line[text_size];
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    if (write(STDERR_FILENO, line, (size_t)length) != length) {
        fail("write");
    }
}

static bool is_there(const char *path)
{
    struct stat status;
    if (stat(path, &status) != 0 && errno != ENOENT) {
        fail(path);
    }
    return errno == 0;
}

static bool exists(const char *format, const char *tree, const char *domain)
{
    char path[text_size];
    snprintf(path, sizeof path, format, tree, domain);
    errno = 0;
    return is_there(path);
}

static void add(struct names *names, const char *name)
{
    if (names->count == names->capacity) {
        names->capacity = names->capacity == 0 ? 1024 : 2 * names->capacity;
        names->entries = realloc(names->entries, names->capacity * sizeof *names->entries);
    }
    char *const copy = strdup(name);
    if (names->entries == NULL || copy == NULL) {
        fail("memory");
    }
    names->entries[names->count++] = copy;
}

static void check_entry(struct names *names, const char *tree, const char *name)
{
    write_line("Check domain %s/vhosts/system/%s\n", tree, name);
    if (!exists("%s/vhosts/system/%s", tree, name) ||
        !exists("%s/vhosts/system/%s/logs/", tree, name)) {
        return;
    }
    if (exists("%s/vhosts/system/%s/conf/webalizer.conf", tree, name) ||
        exists("%s/panel/etc/awstats/awstats.%s-http.conf", tree, name)) {
        errno = EEXIST;
        fail(name);
    }
    add(names, name);
}

static struct names collect(const char *tree)
{
    struct names names = {NULL, 0, 0};
    char path[text_size];
    snprintf(path, sizeof path, "%s/vhosts/system/", tree);
    DIR *const listing = opendir(path);
    if (listing == NULL) {
        fail(path);
    }
    for (const struct dirent *entry = NULL; (entry = readdir(listing)) != NULL;) {
        if (strcmp(entry->d_name, ".") != 0 && strcmp(entry->d_name, "..") != 0) {
            check_entry(&names, tree, entry->d_name);
        }
    }
    closedir(listing);
    return names;
}

static int compare_names(const void *left, const void *right)
{
    return strcmp(*(char *const *)left, *(char *const *)right);
}

static void process(const char *tree, const char *domain)
{
    write_line("\n-----[ %s\n", domain);
    write_line("Webstat: none\n");
    for (size_t i = 0; i < sizeof logs / sizeof logs[0]; ++i) {
        char path[text_size];
        snprintf(path, sizeof path, "%s/vhosts/system/%s/logs/%s.webstat", tree, domain, logs[i]);
        if (unlink(path) != 0 && errno != ENOENT) {
            fail(path);
        }
    }
}

int main(int argc, char **argv)
{
    if (argc != 2) {
        fputs("usage: bare_none TREE\n", stderr);
        return 2;
    }
    const struct names names = collect(argv[1]);
    qsort(names.entries, names.count, sizeof *names.entries, compare_names);
    write_line("Starting...\n");
    write_line("Executing logs preparation... \n");
    for (size_t i = 0; i < names.count; ++i) {
        process(argv[1], names.entries[i]);
    }
    write_line("Finished.\n");
    return 0;
}
