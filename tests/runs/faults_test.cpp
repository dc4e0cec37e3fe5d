#include "server/sweep.h"
#include "server/trial.h"

#include <iostream>

namespace
{

void lay_out(const SampleServer &server)
{
    server.layOut();
    const std::vector<std::string> logs = {"access_log", "proxy_access_log", "xferlog_regular"};
    server.addDomain("a.example", Kind::none);
    server.addDomain("b.example", Kind::webalizer, logs);
    server.addDomain("c.example", Kind::awstats, logs);
    server.addMonths("c.example");
    server.addDomain("d.example", Kind::none);
}

} // namespace

using Faults = InTempDir;

TEST_F(Faults, OfSystemCalls)
{
    Trial trial(SampleServer(root()), lay_out, {STATISTICS_RUN});
    const Sweep sweep = {
        {STATISTICS_RUN},
        [&] { trial.prepare(); },
        [&](const Outcome &outcome, const Fault &fault) { return trial.judge(outcome, fault.count, fault.killed); },
        ACCEPTED};
    const Violations wrong = sweep.run(fault_number("FIRST_FAULT", 0), fault_number("FAULT_STEP", 20));
    std::cout << trial.doubled << " records taken in again\n";
    for (const std::string &text : wrong) {
        ADD_FAILURE() << text;
    }
}
