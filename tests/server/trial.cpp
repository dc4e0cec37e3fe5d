#include "server/trial.h"

#include <sys/prctl.h>
#include <sys/wait.h>

#include <algorithm>
#include <iostream>
#include <regex>
#include <set>
#include <sstream>

namespace
{

// In how many domains something differs; all that is not a domain's counts as one.
std::size_t count_domains(const Violations &different)
{
    const std::string domains = "/vhosts/system/";
    std::set<std::string> found;
    for (const std::string &text : different) {
        const bool inside = text.compare(0, domains.size(), domains) == 0;
        found.insert(inside ? text.substr(0, text.find_first_of("/ ", domains.size())) : "");
    }
    return found.size();
}

// The lines of both streams, sorted.
std::vector<std::string> said(const Outcome &run)
{
    std::vector<std::string> lines;
    std::istringstream text(run.out + "\n" + run.err);
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line);
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

// Waits for all that this process has started, and that these have left to it. Returns whether there was anything.
bool wait_for_all()
{
    bool any = false;
    while (::waitpid(-1, nullptr, 0) > 0) {
        any = true;
    }
    return any;
}

} // namespace

Violations Accepted::rest(const std::string &deed, const Violations &wrong)
{
    Violations left;
    for (const std::string &text : wrong) {
        std::size_t i = 1;
        while (i < lines_.size() && !std::regex_search(deed + ": " + text, std::regex(lines_[i]))) {
            i += 2;
        }
        i < lines_.size() ? void(++counts_[i]) : left.push_back(deed + ": " + text);
    }
    return left;
}

void Accepted::print() const
{
    for (std::size_t i = 1; i < lines_.size(); i += 2) {
        std::cout << "  accepted " << counts_[i] << " times: " << lines_[i - 1] << '\n';
    }
}

Trial::Trial(SampleServer server, std::vector<std::string> command)
    : server_(std::move(server)), command_(std::move(command))
{
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    ::setenv("TEST_TIME", "2024-05-15 12:00", 1);
    prepare();
    usual_ = run_program(command_);
    first_ = server_.look();
    server_.bringRecords();
    run_program(command_);
    second_ = server_.look();
}

void Trial::prepare() const
{
    server_.layOut();
    server_.addSampleDomains();
    server_.bringRecords();
}

Violations Trial::judge(const Outcome &run, std::size_t faults, bool killed) const
{
    const bool left = wait_for_all();
    Violations wrong = server_.judge();
    if (!killed) {
        const Violations undone = differences(first_, server_.look());
        const std::vector<std::string> lines = said(run);
        const std::vector<std::string> usual = said(usual_);
        if (run.status != 0 && run.status != 1 && run.status != -SIGABRT) {
            wrong.push_back("the run ended with status " + std::to_string(run.status));
        }
        if (left) {
            wrong.emplace_back("the run left a child");
        }
        if (count_domains(undone) > faults) {
            wrong.push_back(std::to_string(count_domains(undone)) + " domains are undone");
        }
        if (!undone.empty() && run.status == 0 &&
            std::includes(usual.begin(), usual.end(), lines.begin(), lines.end())) {
            wrong.push_back("nothing is said, though " + undone[0]);
        }
    }
    fs::remove(server_.root() + "/complaints");
    server_.bringRecords();
    const Outcome next = run_program(command_);
    append(wrong, differences(second_, server_.look()), "after the next run, ");
    append(wrong, server_.judge(), "after the next run, ");
    if (next.status != 0) {
        wrong.push_back("the next run ended with status " + std::to_string(next.status));
    }
    return wrong;
}
