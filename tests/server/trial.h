#pragma once

#include "server/sample_server.h"
#include "support.h"

// Trials of a run over a server: a run that is disturbed somehow, and an undisturbed one after it.
// What they leave is compared with what two undisturbed ones leave.
class Trial
{
public:
    // The function lays out the server. Makes the two undisturbed runs; throws if they are not right.
    Trial(SampleServer server, std::function<void(const SampleServer &)> lay_out, std::vector<std::string> command);

    const SampleServer &server() const { return server_; }
    const std::vector<std::string> &command() const { return command_; }

    // Lays out the server, with records for log preparation, for a run that is then to be disturbed.
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
    std::function<void(const SampleServer &)> lay_out_;
    std::vector<std::string> command_;
    Outcome usual_;
    Snapshot first_;
    Snapshot second_;
};

// Waits for all that this process has started, and that these have left to it. Returns whether there was anything.
bool wait_for_all();
