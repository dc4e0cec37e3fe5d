#include "server/sweep.h"

#include <iostream>
#include <map>
#include <regex>
#include <set>

namespace
{

using Words = std::vector<std::string>;

// How calls fail, and KILL where they change something. The first row that matches a call holds.
const std::pair<std::regex, Words> ways[] = {
    {std::regex(R"(^(exit|mmap|munmap|lseek|ioctl|fcntl\(.*[GS]ETF[LD]|wait.*WNOHANG|close\(\d+<pipe))"), {}},
    {std::regex("^(clone|fork|vfork)"), {"EAGAIN", "KILL"}},
    {std::regex("^execve"), {"EACCES", "ENOMEM"}},
    {std::regex(R"(^(wait|read\(\d+<pipe))"), {"EINTR"}},
    {std::regex("^(p?poll|p?select)"), {"EINTR", "ENOMEM"}},
    {std::regex("^close_range"), {"ENOSYS"}},
    {std::regex("^close"), {"EIO"}},
    {std::regex("^(pipe|dup|fcntl.*DUPFD)"), {"EMFILE"}},
    {std::regex(R"(^write\([12]<)"), {"EIO", "EINTR"}},
    {std::regex("^p?write"), {"EIO", "ENOSPC", "KILL"}},
    {std::regex("^open.*O_CREAT"), {"EACCES", "ENOSPC", "EMFILE", "KILL"}},
    {std::regex("^open"), {"EACCES", "EIO", "EMFILE"}},
    {std::regex("^(mkdir|symlink|link|rename|f?truncate|f.*sync)"), {"EIO", "ENOSPC", "KILL"}},
    {std::regex("^(unlink|rmdir|[fl]?ch(mod|own))"), {"EACCES", "EIO", "KILL"}},
    {std::regex(""), {"EACCES", "EIO"}},
};

struct Plan {
    std::string call;
    std::size_t number; // of the calls of this name that a process makes
    std::string error;
    std::string deed;
};

struct Call {
    std::string process;
    std::string text;
    std::string name() const { return text.substr(0, text.find('(')); }
};

// The calls of a trace; lines that are broken off while others' come in between are put together.
std::vector<Call> read_trace(const std::string &path)
{
    std::vector<Call> calls;
    std::map<std::string, std::string> begun;
    for (const std::string &line : lines_of(path)) {
        const std::string process = line.substr(0, line.find(' '));
        const std::string text = line.substr(line.find_first_not_of(' ', process.size()));
        const std::size_t resumed = text.find(" resumed>");
        if (text.find(" <unfinished ...>") != std::string::npos) {
            begun[process] = text.substr(0, text.find(" <unfinished"));
        } else {
            calls.push_back({process, resumed == std::string::npos ? text : begun[process] + text.substr(resumed + 9)});
        }
    }
    return calls;
}

// All faults. Those of the command begin with the first file that it opens which is not a library.
std::vector<Plan> plan(const std::vector<Call> &calls)
{
    std::vector<Plan> plans;
    std::map<std::string, std::size_t> counts;
    std::set<std::string> planned;
    bool begun = false;
    const std::regex first(R"(^open(?!.*\.so))");
    for (const Call &call : calls) {
        const bool own = call.process == calls[0].process;
        const std::size_t number = ++counts[call.process + call.name()];
        begun = begun || std::regex_search(call.text, first);
        if (!begun || !planned.insert((own ? "" : "child ") + call.name() + std::to_string(number)).second) {
            continue;
        }
        const auto *const way = std::find_if(std::begin(ways), std::end(ways),
                                             [&](const auto &row) { return std::regex_search(call.text, row.first); });
        for (const std::string &error : way->second) {
            if (own || error != "KILL") {
                plans.push_back({call.name(), number, error, call.text + " " + error});
            }
        }
    }
    return plans;
}

// The descriptors that the command has opened and not closed.
Violations left_open(const std::vector<Call> &calls)
{
    static const std::regex opened(R"(^pipe.*\[(\d+)<.*, (\d+)<.* = 0| = (\d\d+|[3-9])<)");
    std::map<std::string, std::string> open;
    for (const Call &call : calls) {
        std::smatch part;
        if (call.process != calls[0].process) {
            continue;
        }
        if (call.name() == "close") {
            open.erase(call.text.substr(6, call.text.find('<') - 6));
        } else if (std::regex_search(call.text, part, opened)) {
            open[part[1]] = open[part[2]] = open[part[3]] = "left open: " + call.text;
        }
    }
    open.erase("");
    Violations left;
    for (const auto &entry : open) {
        left.push_back(entry.second);
    }
    return left;
}

// Runs the command under strace, with its options, for 20 seconds at most; then, where that is wanted, kills all that
// it has started.
Outcome trace(const Words &command, const std::string &options, const std::string &file, bool kill_all = false)
{
    const std::string strace = "strace -fqq -y -s200 -b execve -e signal=none -e trace=%file,%desc,%process ";
    const std::string script = strace + options + " -o " + file + " \"$@\"";
    Words words = {"timeout", "-k1", "20", "sh", "-c", kill_all ? script + "; kill -KILL 0" : "exec " + script, "sh"};
    words.insert(words.end(), command.begin(), command.end());
    Outcome outcome = run_program(words);
    outcome.status = outcome.status > 128 ? 128 - outcome.status : outcome.status; // as timeout tells of signals
    return outcome;
}

// Runs the command with a fault. Where it is killed, so is all that it has started, at every other place.
std::pair<Outcome, Fault> disturb(const Words &command, const Plan &plan, const std::string &file)
{
    const bool kill = plan.error == "KILL";
    const std::string what = plan.call + (kill ? ":signal=KILL" : ":error=" + plan.error);
    const std::string options = "-e inject=" + what + ":when=" + std::to_string(plan.number);
    const Outcome outcome = trace(command, options, file, kill && plan.number % 2 == 0);
    Fault fault = {plan.deed, 0, kill && outcome.status == -SIGKILL};
    for (const Call &call : read_trace(file)) {
        if (call.text.find("(INJECTED)") != std::string::npos && ++fault.count == 1) {
            fault.deed = call.text;
        }
    }
    return {outcome, fault};
}

} // namespace

std::size_t fault_number(const char *name, std::size_t otherwise)
{
    const char *const text = std::getenv(name);
    return text == nullptr ? otherwise : std::stoul(text);
}

Violations Sweep::run(std::size_t first, std::size_t step)
{
    const std::string file = (fs::temp_directory_path() / fs::unique_path()).string();
    std::size_t tried = 0;
    std::size_t missed = 0;
    Violations found;
    prepare();
    const Outcome undisturbed = trace(command, "", file);
    const std::vector<Plan> plans = plan(read_trace(file));
    for (std::size_t i = first; i < plans.size(); i += step) {
        prepare();
        const auto [outcome, fault] = disturb(command, plans[i], file);
        const bool left_child = wait_for_all() && !fault.killed;
        if (fault.count == 0 && !fault.killed) {
            ++missed;
            continue;
        }
        ++tried;
        Violations wrong = outcome.status == 0 && plans[i].call != "close" ? left_open(read_trace(file)) : Violations();
        if (left_child) {
            wrong.emplace_back("a child was left");
        }
        const Violations more = judge(outcome, fault);
        wrong.insert(wrong.end(), more.begin(), more.end());
        const Violations rest = accepted.rest(fault.deed, wrong);
        found.insert(found.end(), rest.begin(), rest.end());
    }
    fs::remove(file);
    std::cout << tried << " of " << plans.size() << " faults tried, " << missed << " more were not met\n";
    accepted.print();
    if (undisturbed.status != 0 || tried == 0 || missed * 20 > tried) {
        found.push_back("the sweep has failed: " + undisturbed.err);
    }
    return found;
}
