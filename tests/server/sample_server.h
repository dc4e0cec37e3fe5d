#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

// The generator of a domain.
enum class Kind { none, webalizer, awstats };

// One log that a domain can have. Those of the proxy have no statistics of their own.
struct Log {
    std::string name;
    std::string format;
    std::string directory;
    std::string service;
};
extern const Log all_logs[6];

// What is wrong, a text for each violation.
using Violations = std::vector<std::string>;
void append(Violations &wrong, const Violations &more, const std::string &prefix = "");

// What there is at each path of a tree: its kind, mode and owner, and the content of a file or link.
using Snapshot = std::map<std::string, std::string>;

// "PATH is missing", "is left over" or "has changed", for each path in which the two differ.
Violations differences(const Snapshot &wanted, const Snapshot &found);

// The lines of a file; none where there is no regular file.
std::vector<std::string> lines_of(const std::string &path);

// A server in a directory. Its configuration is etc/zut/zut.conf in it; programs that read that
// below their working directory are run there. The generators and log preparation are stand-ins;
// the file stand_in tells what they do.
//
//   vhosts/system/DOMAIN/{logs,conf,statistics}  the domains
//   panel/, bin/, tools/                         log preparation, the generators, AWStats' tools
//   offered/DOMAIN/LOG                           every record that a log of a generator has ever been given
//   outside/                                     nobody's to touch; links lead there
class SampleServer
{
public:
    // A server that is there, or is to be laid out, at an absolute path.
    explicit SampleServer(std::string root) : root_(std::move(root)) {}

    const std::string &root() const { return root_; }
    std::string domainPath(const std::string &domain) const;
    std::string preparedLog(const std::string &domain, const std::string &log) const;

    // Makes the server anew in its directory, which stays, without domains. Another program can stand in for all others.
    void layOut(const std::string &program = STAND_IN) const;

    // Makes a domain, with a record in each of the prepared logs that are named. One of AWStats has
    // configurations and directories for the web and for regular FTP.
    void addDomain(const std::string &domain, Kind kind, const std::vector<std::string> &logs = {"access_log"}) const;

    // Makes the domains of the trials: b.example of Webalizer, c.example of AWStats, a.example and
    // d.example without a generator. The second has a past, as of May 2024: the months 2024-03, to
    // which "current" leads, and 2023-04, which is due to go, with links to the outside; and word of
    // the previous month, which log preparation will leave as its marker.
    void addSampleDomains() const;

    // Adds two records to each raw log, which log preparation is to move; or one to each prepared log.
    // Those are the logs that a generator had records of before.
    void bringRecords(bool prepared = false) const;

    // What must hold at any time. Each record is still in a log, or a generator has taken it in; the
    // stand-ins were handed nothing down that they should not have; what is outside is as it was.
    Violations judge() const;

    // All that is there, but for what the server and the stand-ins note for themselves.
    Snapshot look() const;

private:
    std::string root_;
};
