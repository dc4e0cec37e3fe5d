#include "admin/changes.h"
#include "admin/command.h"
#include "admin/ending_signals.h"
#include "admin/listing.h"
#include "admin/places.h"
#include "admin/run_lock.h"
#include "admin/survey.h"
#include "admin/template.h"
#include "config/server_config.h"
#include "domain/domains.h"
#include "domain/time_to_live.h"
#include "util/directories.h"
#include "util/files.h"

#include <unistd.h>

#include <boost/filesystem.hpp>

#include <algorithm>
#include <climits>
#include <iostream>
#include <set>

namespace fs = boost::filesystem;
namespace po = boost::program_options;

namespace
{

using Words = std::vector<std::string>;

const Usage add_usage = {
    "add", "DOMAIN",
    "Makes all that a domain needs for its statistics: its directories, the generator's\n"
    "configuration and links to raw logs that lie elsewhere. All of it or nothing.\n"
    "LOG is access_log, access_ssl_log, proxy_access_log, proxy_access_ssl_log, xferlog or\n"
    "xferlog_regular. SERVICE, for AWStats, is http, https, anon_ftp or ftp; http is always\n"
    "among them, and all four are where none is named."};

po::options_description describe_options()
{
    po::options_description options("Options");
    options.add_options()("generator", po::value<std::string>()->required()->value_name("NAME"),
                          "webalizer or awstats")("log", po::value<Words>()->value_name("LOG=PATH"),
                                                  "Take this log from that path")(
        "months", po::value<int>()->value_name("N"),
        "Months of pages to keep (120, or what conf/stat_ttl.conf says)")(
        "service", po::value<Words>()->value_name("SERVICE"), "A service that AWStats serves");
    return options;
}

// A domain's name is part of file names, the longest of which is the page of a plugin.
constexpr std::size_t longest_awstats_domain =
    NAME_MAX - std::char_traits<char>::length("awstats.-anon_ftp.plugin_geoip_region_maxmind.html");

struct LogLink {
    const LogSource *source;
    std::string target;
};

struct NewDomain {
    DomainPaths paths;
    bool webalizer = false;
    int months = 0;                          // 0 if not given
    std::vector<const LogSource *> services; // AWStats'
    std::vector<LogLink> links;
};

std::vector<const LogSource *> services_of(const Words &names)
{
    std::vector<const LogSource *> services;
    std::for_each(names.begin(), names.end(), require_service);
    for (const LogSource &source : log_sources) {
        if (has_own_statistics(source) &&
            (names.empty() || &source == log_sources ||
             std::count(names.begin(), names.end(), source.service) != 0)) {
            services.push_back(&source);
        }
    }
    return services;
}

void require_log(const std::string &path)
{
    if (path.empty() || path[0] != '/') {
        throw Refusal("'" + path + "' is not the absolute path of a log");
    }
    if (!file_exists(path.c_str()) &&
        (is_there(path) || !dir_exists(path.substr(0, path.rfind('/') + 1).c_str()))) {
        throw Refusal(path + ": neither a log nor a place where one could come to be");
    }
}

LogLink link_of(const std::string &word)
{
    const std::size_t equals = word.find('=');
    const auto source =
        std::find_if(std::begin(log_sources), std::end(log_sources),
                     [&](const LogSource &row) { return word.substr(0, equals) == row.log_name; });
    if (equals == std::string::npos || source == std::end(log_sources)) {
        throw Refusal("--log '" + word + "' does not begin with the name of a log and '='");
    }
    require_log(word.substr(equals + 1));
    return {source, word.substr(equals + 1)};
}

// Each log that comes from elsewhere must have a service that takes its records, and one place.
void require_services(const NewDomain &domain)
{
    std::set<const LogSource *> linked;
    for (const LogLink &link : domain.links) {
        if (!linked.insert(link.source).second) {
            throw Refusal(std::string("--log ") + link.source->log_name +
                          " can be given once only");
        }
        const LogSource *const counted =
            link.source->parent == nullptr ? link.source : link.source->parent;
        if (std::find(domain.services.begin(), domain.services.end(), counted) ==
            domain.services.end()) {
            throw Refusal(std::string("--log ") + link.source->log_name + " needs --service " +
                          counted->service);
        }
    }
}

NewDomain read_words(const ParsedWords &words)
{
    if (words.operands.size() != 1) {
        throw Refusal("add takes one domain; see 'statistics_admin add --help'");
    }
    require_domain_name(words.operands[0]);
    const std::string generator = words.options["generator"].as<std::string>();
    if (generator != "webalizer" && generator != "awstats") {
        throw Refusal("'" + generator + "' is not a generator: webalizer, awstats");
    }
    NewDomain domain;
    domain.webalizer = generator == "webalizer";
    if (!domain.webalizer && words.operands[0].size() > longest_awstats_domain) {
        throw Refusal("a name of more than " + std::to_string(longest_awstats_domain) +
                      " characters makes the names of AWStats' files too long");
    }
    if (domain.webalizer && words.has("service")) {
        throw Refusal("--service is for AWStats; Webalizer's configuration serves all logs");
    }
    domain.services =
        services_of(words.has("service") ? words.options["service"].as<Words>() : Words());
    if (words.has("months")) {
        domain.months = words.options["months"].as<int>();
        if (domain.months < 1 || domain.months > 1200) {
            throw Refusal("--months takes a number from 1 to 1200");
        }
    }
    for (const std::string &word : words.has("log") ? words.options["log"].as<Words>() : Words()) {
        domain.links.push_back(link_of(word));
    }
    require_services(domain);
    return domain;
}

void require_setup(const NewDomain &domain)
{
    const Words directories =
        domain.webalizer
            ? Words{domains_dir_path(), panel_path("var/webalizer")}
            : Words{domains_dir_path(), panel_path("etc/awstats"), panel_path("var/awstats")};
    for (const std::string &directory : directories) {
        if (!dir_exists(directory.c_str())) {
            throw Refusal(directory + ": no such directory; run 'statistics_admin setup' first");
        }
        const std::string harm = domain.webalizer ? "" : harm_for_awstats(directory);
        if (!harm.empty()) {
            throw Refusal(std::string(directory)
                              .append(": AWStats does not take ")
                              .append(harm)
                              .append(" in a path; choose another in zut.conf"));
        }
    }
}

std::string stat_ttl_path(const NewDomain &domain)
{
    return domain_conf_path(domain.paths, "stat_ttl.conf");
}

// Nothing of what is to be made is in the way already.
void require_new(const NewDomain &domain)
{
    const Words configurations = generator_confs(domain.paths);
    if (!configurations.empty()) {
        throw Refusal(domain.paths.domain + " has a generator already: " + configurations[0] +
                      "; 'statistics_admin remove' takes it away");
    }
    const std::string stat_ttl = stat_ttl_path(domain);
    if (domain.months != 0 && is_there(stat_ttl) &&
        read_stat_ttl(domain.paths.domain) != domain.months) {
        throw Refusal(stat_ttl +
                      " says something else: leave out --months, or remove that file first");
    }
    for (const LogLink &link : domain.links) {
        boost::system::error_code error;
        if (fs::equivalent(fs::path(link.target).parent_path(), logs_dir_path(domain.paths),
                           error)) {
            throw Refusal(link.target + " is in the domain's own logs: it needs no --log");
        }
    }
}

struct Configuration {
    std::string path;
    std::string text;
};

// The generator's configurations. The one that makes it an AWStats domain comes last.
std::vector<Configuration> fill_templates(const NewDomain &domain)
{
    const std::string &name = domain.paths.domain;
    if (domain.webalizer) {
        return {{webalizer_conf_path(name, domain.paths.vhosts_root),
                 filled_template("webalizer.conf",
                                 {{"DOMAIN", name}, {"MONTHS", std::to_string(domain.months)}})}};
    }
    std::vector<Configuration> configurations;
    for (auto row = domain.services.rbegin(); row != domain.services.rend(); ++row) {
        const LogSource &source = **row;
        const TemplateValues values = {{"DOMAIN", name},
                                       {"SERVICE", source.service},
                                       {"LOG", prepared_log_path(domain.paths, source)},
                                       {"DATA_DIR", panel_path("var/awstats")},
                                       {"ICONS", "../../icon"}};
        configurations.push_back(
            {awstats_conf_path(name, source.service),
             filled_template(source.format == 0 ? "awstats-web.conf" : "awstats-ftp.conf",
                             values)});
    }
    return configurations;
}

// The icons are found beside the pages, wherever a web server shows these.
void make_awstats_dirs(Changes &changes, const NewDomain &domain)
{
    const std::string icons = statistics_dir_path(domain.paths) + "icon";
    if (!is_there(icons)) {
        changes.make_link("/usr/share/awstats/icon", icons);
    }
    for (const LogSource *const source : domain.services) {
        changes.make_dir(statistics_subdir_path(domain.paths, *source), 0755);
    }
}

// The directory of the logs, which makes it a domain, comes after the configuration: a run that
// begins meanwhile never sees a domain without a generator. It comes with the links in it: nobody
// would miss them after a kill.
void make_domain(const NewDomain &domain)
{
    const std::vector<Configuration> configurations = fill_templates(domain);
    const std::string directory = domains_dir_path() + domain.paths.domain + "/";
    const bool has_logs = dir_exists(logs_dir_path(domain.paths).c_str());
    const std::string logs = directory + (has_logs ? "logs" : unfinished_logs_name);
    Changes changes;
    changes.make_dir(domain_conf_path(domain.paths, ""), 0755);
    changes.make_dir(statistics_dir_path(domain.paths), 0755);
    const std::string stat_ttl = stat_ttl_path(domain);
    if (!is_there(stat_ttl)) {
        changes.write_file(stat_ttl, std::to_string(domain.months) + "\n", 0644);
    }
    if (!domain.webalizer) {
        make_awstats_dirs(changes, domain);
    }
    changes.make_dir(logs, 0750);
    for (const LogLink &link : domain.links) {
        changes.make_link(link.target, logs + "/" + link.source->log_name);
    }
    for (const Configuration &configuration : configurations) {
        changes.write_file(configuration.path, configuration.text, 0644);
    }
    if (has_logs) {
        changes.keep();
    } else {
        changes.keep_renamed(logs, directory + "logs");
    }
}

} // namespace

int add_command(const std::vector<std::string> &words)
{
    const auto parsed = parse_words(add_usage, describe_options(), words);
    if (!parsed) {
        return 0;
    }
    require_readable_configuration();
    NewDomain domain = read_words(*parsed);
    domain.paths = domain_paths(parsed->operands[0]);
    require_setup(domain);
    Descriptor lock;
    if (is_there(domains_dir_path() + domain.paths.domain)) {
        lock = take_run_lock(RunLock::refuse);
    }
    require_new(domain);
    if (domain.months == 0) {
        domain.months = months_kept(read_stat_ttl(domain.paths.domain));
    }
    const HeldSignals held; // until the end is told
    make_domain(domain);
    ::unlink(domain_conf_path(domain.paths, no_statistics_name).c_str());
    std::cout << "Added " << domain.paths.domain << ": its logs are in "
              << logs_dir_path(domain.paths) << ", its pages in "
              << statistics_dir_path(domain.paths) << "\n";
    for (const LogLink &link : domain.links) {
        if (!is_there(link.target)) {
            std::cerr << "statistics_admin: " + link.target +
                             " is not there yet: is that the right path?\n";
        }
    }
    return 0;
}
