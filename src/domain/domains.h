#pragma once

#include "domain/log_sources.h"

#include <map>
#include <string>

// Where a domain's files lie, which domains there are, and which generator each uses. Paths are
// concatenated as they are: a root that ends in a slash gives a doubled slash.

struct DomainPaths {
    std::string domain;
    std::string vhosts_root; // the virtual-hosts root, HTTPD_VHOSTS_D
};

// The generator of a domain; any other value means none.
using WebstatKind = int;
constexpr WebstatKind webstat_none = 0;
constexpr WebstatKind webstat_webalizer = 1;
constexpr WebstatKind webstat_awstats = 2;

// The domains of a run, in byte-wise order of their names.
using DomainKindMap = std::map<std::string, WebstatKind>;

// <root>/system/ of the configured virtual-hosts root: the directory of all domains.
std::string domains_dir_path();

// The paths of a domain under the configured virtual-hosts root.
DomainPaths domain_paths(const std::string &domain);

// <root>/system/<domain>/logs/
std::string logs_dir_path(const DomainPaths &paths);

// <root>/system/<domain>/logs/<log>.webstat
std::string prepared_log_path(const DomainPaths &paths, const LogSource &source);

// <root>/system/<domain>/conf/<name>
std::string domain_conf_path(const DomainPaths &paths, const std::string &name);

// <root>/system/<domain>/statistics/
std::string statistics_dir_path(const DomainPaths &paths);

// <root>/system/<domain>/statistics/<subdirectory of the log>
std::string statistics_subdir_path(const DomainPaths &paths, const LogSource &source);

// <root>/system/<domain>/conf/webalizer.conf
std::string webalizer_conf_path(const std::string &domain, const std::string &vhosts_root);

// <product root>/etc/awstats/awstats.<domain>-<service>.conf
std::string awstats_conf_path(const std::string &domain, const std::string &service);

// Enters every domain of the domains directory, <root>/system/, into the map; logs a "Check domain"
// line for each entry of it. Throws boost::filesystem::filesystem_error if the directory can't be
// listed or the status of an entry not be queried.
void collect_all_domains(DomainKindMap &map);

// Enters the domain into the map with the generator that it has a configuration for: Webalizer,
// else AWStats, else none. One that is there already stays as it is. A domain without a logs
// directory is logged and not entered. Throws boost::filesystem::filesystem_error if a status can't
// be queried.
void check_domain(DomainKindMap &map, const std::string &domain);

// Deletes the domain's prepared logs. Missing ones are fine; one that can't be deleted is logged
// with the reason.
void remove_prepared_logs(const std::string &domain);

// Makes the statistics subdirectory of the log, owned by root and with mode 0755, or resets owner
// and mode of an existing one; the statistics directory above it must exist. Returns whether that
// succeeded; a failure is printed on standard output, without a line feed.
bool make_statistics_dir(const std::string &domain, const LogSource &source);

// How many months of statistics the domain keeps: the integer that its stat_ttl.conf begins with;
// 0 if there is none. Not range-tested. Throws boost::filesystem::filesystem_error if the file's
// status can't be queried.
int read_stat_ttl(const std::string &domain);
