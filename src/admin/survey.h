#pragma once

#include "domain/domains.h"
#include "util/descriptors.h"

#include <sys/stat.h>

#include <cstdint>
#include <ctime>
#include <set>
#include <string>
#include <unordered_set>
#include <vector>

// What lies where, for many domains with few system calls each: paths are taken from the directory of
// all domains, and what all domains share is listed once.

// The file in a domain's conf that tells that it is meant to have no generator.
constexpr const char *no_statistics_name = "no_statistics";

// The directory that add fills with links before it becomes a domain's logs; left by one that was
// killed.
constexpr const char *unfinished_logs_name = "logs.new";

// Records in prepared logs, which no run has taken in.
struct Waiting {
    std::uintmax_t bytes = 0;
    std::time_t since =
        0; // the time of the oldest record, or of the last change of its log where that
           // can't be told; 0 if there is none

    Waiting &operator+=(const Waiting &more);
};

// A log with statistics of its own.
struct ServiceSurvey {
    const LogSource *source = nullptr;
    bool configured = false; // Webalizer serves it, or AWStats has a configuration for it
    bool wrong_type = false; // what lies in the place of the prepared log is no regular file
    Waiting waiting;
};

struct DomainSurvey {
    std::string domain;
    struct stat logs =
        {}; // of the directory or what is in its place; st_mode is 0 if there is nothing
    bool has_logs = false; // it is a directory, or a link to one: a run takes it for a domain
    std::vector<std::string> log_names; // of all that lies in it
    WebstatKind kind = webstat_none;
    struct stat webalizer_conf = {};     // st_mode is 0 if there is none
    std::vector<ServiceSurvey> services; // in the order of the table of logs

    bool has_log(const std::string &name) const;
    Waiting waiting() const; // of all services
};

// The pages of one service, but those that are being made.
struct PagesSurvey {
    std::vector<std::string> months; // "2026-11", in order; those that have their index.html
    std::time_t made = 0;            // when the newest page was made; 0 if there is none
    std::uintmax_t bytes = 0;        // that they take on the disk
};

class Surveyor
{
public:
    // Throws Refusal if the directory of all domains can't be read, or is missing.
    Surveyor();

    // All domains, in byte-wise order.
    const std::vector<std::string> &domains() const { return domains_; }

    // The descriptor of the directory of all domains.
    int directory() const { return directory_.get(); }

    DomainSurvey survey(const std::string &domain) const;

    // The same for a domain that somebody has named: throws Refusal if it is not among
    // them or has no logs. What a run takes for a domain need not be a domain name.
    DomainSurvey survey_named(const std::string &domain) const;

    // When log preparation began last; 0 if it never has.
    std::time_t last_preparation() const { return last_preparation_; }

    // Whether log preparation has positions of the domain's logs.
    bool has_positions(const std::string &domain) const { return positions_.count(domain) != 0; }

    // Whether it can be told which domains have AWStats.
    bool knows_configurations() const { return knows_configurations_; }

    // Whether AWStats has a configuration for the domain's log.
    bool has_awstats_conf(const std::string &domain, const LogSource &source) const;

    // The domains that AWStats has configurations for.
    std::set<std::string> configured_domains() const;

    // The domains that log preparation has positions of, and that are no directories now.
    std::set<std::string> vanished_domains() const;

    PagesSurvey survey_pages(const DomainSurvey &domain, const LogSource &source) const;

private:
    ServiceSurvey survey_service(const DomainSurvey &domain, const LogSource &source) const;

    Descriptor directory_;
    std::vector<std::string> domains_;
    std::time_t last_preparation_ = 0;
    std::unordered_set<std::string> positions_; // domains
    bool knows_configurations_ = false;
    std::unordered_set<std::string> awstats_confs_; // "<domain>-<service>"
};

// The configurations of the domain's generators that there are, also links to nothing.
std::vector<std::string> generator_confs(const DomainPaths &paths);

// "webalizer", "awstats" or "none".
const char *generator_name(WebstatKind kind);
