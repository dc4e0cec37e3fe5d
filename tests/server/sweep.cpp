#include "server/sweep.h"

#include <iostream>
#include <map>
#include <optional>
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

// The calls of a trace. One that is broken off while another process' comes in between is two, with
// its arguments and, beginning with "<", with its result.
std::vector<Call> read_trace(const std::string &path)
{
    std::vector<Call> calls;
    for (const std::string &line : lines_of(path)) {
        const std::size_t gap = line.find(' ');
        calls.push_back({line.substr(0, gap), line.substr(line.find_first_not_of(' ', gap))});
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
        if (call.text[0] == '<') {
            continue;
        }
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
    const std::regex used(R"(^close\((\d+)| = (\d\d+|[3-9])<)");
    std::map<std::string, std::string> open;
    std::smatch part;
    for (const Call &call : calls) {
        if (call.process != calls[0].process || !std::regex_search(call.text, part, used)) {
            continue;
        }
        if (part[1].matched) {
            open.erase(part[1]);
        } else {
            open[part[2]] = "left open: " + call.text;
        }
    }
    Violations left;
    for (const auto &entry : open) {
        left.push_back(entry.second);
    }
    return left;
}

// Runs the command under strace, with its options, for 20 seconds at most.
Outcome trace(const Words &command, const Words &options, const std::string &file)
{
    Words words = {"timeout", "-k1", "20", "strace", "-fqq", "-y", "-s200", "-b", "execve"};
    for (const Words &more :
         {{"-e", "signal=none", "-e", "trace=%file,%desc,%process", "-o", file}, options, command}) {
        words.insert(words.end(), more.begin(), more.end());
    }
    Outcome outcome = run_program(words);
    outcome.status = outcome.status > 128 ? 128 - outcome.status : outcome.status; // as timeout tells of signals
    return outcome;
}

// What of a run with the fault is wrong; none if the fault was not met.
std::optional<Violations> attempt(const Sweep &sweep, const Plan &plan, const std::string &file, Accepted &accepted)
{
    const std::string what = plan.call + (plan.error == "KILL" ? ":signal=KILL" : ":error=" + plan.error);
    sweep.prepare();
    const Outcome outcome =
        trace(sweep.command, {"-e", "inject=" + what + ":when=" + std::to_string(plan.number)}, file);
    const std::vector<Call> calls = read_trace(file);
    Fault fault = {plan.deed, 0, plan.error == "KILL" && outcome.status == -SIGKILL};
    for (const Call &call : calls) {
        if (call.text.find("(INJECTED)") != std::string::npos && ++fault.count == 1) {
            fault.deed = call.text[0] == '<' ? plan.deed : call.text;
        }
    }
    if (fault.count == 0 && !fault.killed) {
        return {};
    }
    Violations wrong = sweep.judge(outcome, fault);
    if (outcome.status == 0 && plan.call != "close") {
        append(wrong, left_open(calls));
    }
    return accepted.rest(fault.deed, wrong);
}

std::size_t number(const char *name)
{
    const char *const text = std::getenv(name);
    return text == nullptr ? 1 : std::stoul(text);
}

} // namespace

void Sweep::run(Accepted &accepted)
{
    const std::string file = (fs::temp_directory_path() / fs::unique_path()).string();
    std::size_t tried = 0;
    std::size_t missed = 0;
    prepare();
    const Outcome undisturbed = trace(command, {}, file);
    const std::vector<Plan> plans = plan(read_trace(file));
    Violations wrong = judge(undisturbed, {});
    for (std::size_t i = number("FIRST_FAULT") - 1; i < plans.size(); i += number("FAULT_STEP")) {
        const std::optional<Violations> found = attempt(*this, plans[i], file, accepted);
        ++(found ? tried : missed);
        append(wrong, found.value_or(Violations()));
    }
    fs::remove(file);
    std::cout << tried << " of " << plans.size() << " faults tried, " << missed << " more were not met\n";
    accepted.print();
    EXPECT_TRUE(tried > 20 * missed) << undisturbed.err;
    EXPECT_EQ(wrong, Violations());
}
