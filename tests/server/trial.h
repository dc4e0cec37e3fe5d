#pragma once

#include "server/sample_server.h"
#include "support.h"

#include <regex>

// Violations that are accepted, from a file of expressions; the lines before one that begin with "#" say why.
class Accepted
{
public:
    explicit Accepted(const std::string &path);

    // "DEED: VIOLATION" of each violation in which no expression is found. The others are counted.
    Violations rest(const std::string &deed, const Violations &wrong);

    // Prints how often each reason held.
    void print() const;

private:
    struct Entry {
        std::regex expression;
        std::string reason;
        std::size_t count;
    };
    std::vector<Entry> entries_;
};

// Trials of a run over a server: a run that is disturbed somehow, and an undisturbed one after it.
// What they leave is compared with what two undisturbed ones leave.
class Trial
{
public:
    // Makes the two undisturbed runs of the command; throws if anything is wrong with them.
    Trial(SampleServer server, std::vector<std::string> command);

    const SampleServer &server() const { return server_; }
    const std::vector<std::string> &command() const { return command_; }

    // Lays out the server with its sample domains, and more records for log preparation.
    void prepare() const;

    // What is wrong after the disturbed run. Always: the server's own judgement; what the next run
    // does not mend, or loses. If the run was not killed: it has another status than 0, 1 or
    // SIGABRT; it leaves children; it leaves more domains undone than there were faults; it leaves
    // something undone, ends with 0 and says no more than an undisturbed one.
    Violations judge(const Outcome &run, std::size_t faults, bool killed = false);

    // How many records were taken in again in all trials so far.
    std::size_t doubled = 0;

private:
    Outcome runUndisturbed() const;

    SampleServer server_;
    std::vector<std::string> command_;
    Outcome usual_;
    Snapshot first_;
    Snapshot second_;
};

// Waits for all that this process has started, and that these have left to it. Returns whether there was anything.
bool wait_for_all();
