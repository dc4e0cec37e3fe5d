#include "server/trial.h"

#include <sys/prctl.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <iostream>
#include <set>
#include <sstream>
#include <stdexcept>

namespace
{

// The domains in which something differs; all that is not a domain's counts as one.
std::set<std::string> domains_of(const Violations &different)
{
    const std::string domains = "/vhosts/system/";
    std::set<std::string> found;
    for (const std::string &text : different) {
        const bool inside = text.compare(0, domains.size(), domains) == 0;
        found.insert(inside ? text.substr(0, text.find_first_of("/ ", domains.size())) : "");
    }
    return found;
}

std::multiset<std::string> said(const Outcome &run)
{
    std::multiset<std::string> lines;
    std::istringstream text(run.out + "\n" + run.err);
    for (std::string line; std::getline(text, line);) {
        lines.insert(line);
    }
    return lines;
}

bool says_more(const Outcome &run, const Outcome &usual)
{
    const std::multiset<std::string> lines = said(run);
    const std::multiset<std::string> known = said(usual);
    return !std::includes(known.begin(), known.end(), lines.begin(), lines.end());
}

void append(Violations &wrong, const std::string &when, const Violations &more)
{
    for (const std::string &text : more) {
        wrong.push_back(when + text);
    }
}

} // namespace

Accepted::Accepted(const std::string &path)
{
    std::string reason;
    for (const std::string &line : lines_of(path)) {
        if (line[0] == '#') {
            reason += line.substr(1);
        } else {
            entries_.push_back({std::regex(line), reason, 0});
            reason.clear();
        }
    }
}

Violations Accepted::rest(const std::string &deed, const Violations &wrong)
{
    Violations left;
    for (const std::string &text : wrong) {
        std::string line = deed;
        line.append(": ").append(text);
        const auto entry = std::find_if(entries_.begin(), entries_.end(),
                                        [&](const Entry &one) { return std::regex_search(line, one.expression); });
        entry == entries_.end() ? left.push_back(line) : void(++entry->count);
    }
    return left;
}

void Accepted::print() const
{
    for (const Entry &entry : entries_) {
        std::cout << "  accepted " << entry.count << " times:" << entry.reason << '\n';
    }
}

bool wait_for_all()
{
    bool any = false;
    while (::waitpid(-1, nullptr, 0) > 0) {
        any = true;
    }
    return any;
}

Trial::Trial(SampleServer server, std::vector<std::string> command)
    : server_(std::move(server)), command_(std::move(command))
{
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    ::setenv("TEST_TIME", "2024-05-15 12:00", 1);
    prepare();
    usual_ = runUndisturbed();
    first_ = server_.look();
    Violations wrong = server_.judge(true);
    server_.bringRecords();
    const Outcome next = runUndisturbed();
    second_ = server_.look();
    append(wrong, "", server_.judge(true));
    if (!wrong.empty() || usual_.status != 0 || next.status != 0) {
        throw std::runtime_error("an undisturbed run is wrong: " + (wrong.empty() ? usual_.err + next.err : wrong[0]));
    }
}

Outcome Trial::runUndisturbed() const
{
    return run_program(command_);
}

void Trial::prepare() const
{
    server_.layOut();
    server_.addSampleDomains();
    server_.bringRecords();
}

Violations Trial::judge(const Outcome &run, std::size_t faults, bool killed)
{
    const bool left = wait_for_all();
    Violations wrong;
    append(wrong, "", server_.judge());
    if (!killed) {
        if (run.status != 0 && run.status != 1 && run.status != -SIGABRT) {
            wrong.push_back("the run ended with status " + std::to_string(run.status));
        }
        if (left) {
            wrong.emplace_back("the run left a child");
        }
        const Violations undone = differences(first_, server_.look());
        const std::size_t count = domains_of(undone).size();
        if (count > faults) {
            wrong.push_back(std::to_string(count) + " domains are undone after " + std::to_string(faults) + " faults");
        }
        if (!undone.empty() && run.status == 0 && !says_more(run, usual_)) {
            wrong.push_back("nothing is said, though " + undone[0]);
        }
    }
    fs::remove(server_.root() + "/complaints");
    server_.bringRecords();
    const Outcome next = runUndisturbed();
    append(wrong, "after the next run, ", differences(second_, server_.look()));
    append(wrong, "after the next run, ", server_.judge(true));
    if (next.status != 0) {
        wrong.push_back("the next run ended with status " + std::to_string(next.status));
    }
    doubled += server_.doubled();
    return wrong;
}
