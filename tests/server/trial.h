#pragma once

#include "server/sample_server.h"
#include "support.h"

// Violations that are accepted, from a file of expressions; the line before each says why.
class Accepted
{
public:
    explicit Accepted(const std::string &path) : lines_(lines_of(path)), counts_(lines_.size()) {}

    // "DEED: VIOLATION" of each violation in which no expression is found. The others are counted.
    Violations rest(const std::string &deed, const Violations &wrong);

    // Prints how often each reason held.
    void print() const;

private:
    std::vector<std::string> lines_;
    std::vector<std::size_t> counts_;
};

// Trials of a run over a server: a run that is disturbed somehow, and an undisturbed one after it.
// What they leave is compared with what two undisturbed ones leave.
class Trial
{
public:
    // Makes the two undisturbed runs of the command.
    Trial(SampleServer server, std::vector<std::string> command);

    // Lays out the server with its sample domains, and more records for log preparation.
    void prepare() const;

    // What is wrong after the disturbed run. Always: the server's own judgement; what the next run
    // does not mend. If the run was not killed: it has another status than 0, 1 or SIGABRT; it
    // leaves children; it leaves more domains undone than there were faults; it leaves something
    // undone, ends with 0 and says no more than an undisturbed one.
    Violations judge(const Outcome &run, std::size_t faults, bool killed = false) const;

private:
    SampleServer server_;
    std::vector<std::string> command_;
    Outcome usual_;
    Snapshot first_;
    Snapshot second_;
};
