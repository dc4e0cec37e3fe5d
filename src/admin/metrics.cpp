#include "admin/metrics.h"

#include "admin/stored_file.h"
#include "domain/log_position.h"

#include <sys/stat.h>

#include <algorithm>
#include <sstream>

namespace
{

void begin(std::ostream &text, const char *name, const char *help)
{
    text << "# HELP " << name << " " << help << "\n# TYPE " << name << " gauge\n";
}

void add_value(std::ostream &text, const char *name, const char *help, std::uintmax_t value)
{
    begin(text, name, help);
    text << name << " " << value << "\n";
}

void add_problems(std::ostream &text, const Problems &problems)
{
    const char *const name = "statistics_run_problems";
    begin(text, name, "Problems that the last check has found.");
    for (const auto &[kind, kind_name] : problem_kind_names) {
        const auto found = std::count_if(
            problems.begin(), problems.end(),
            [searched = kind](const Problem &problem) { return problem.kind == searched; });
        text << name << "{kind=\"" << kind_name << "\"} " << found << "\n";
    }
}

void add_domains(std::ostream &text, const Totals &totals)
{
    const char *const name = "statistics_run_domains";
    begin(text, name, "Domains by generator.");
    for (const WebstatKind kind : {webstat_awstats, webstat_none, webstat_webalizer}) {
        const auto found = totals.domains.find(kind);
        text << name << "{generator=\"" << generator_name(kind) << "\"} "
             << (found == totals.domains.end() ? 0 : found->second) << "\n";
    }
}

// Log preparation, which begins every run, leaves its time at the directory of its positions.
void add_last_run(std::ostream &text)
{
    struct stat positions = {};
    if (::stat(log_positions_dir().c_str(), &positions) == 0) {
        add_value(text, "statistics_run_last_run_timestamp_seconds",
                  "When logs were last prepared.", static_cast<std::uintmax_t>(positions.st_mtime));
    }
}

} // namespace

void write_metrics(const std::string &path, const Problems &problems, const Totals &totals)
{
    const std::time_t now = std::time(nullptr);
    const std::time_t since = totals.waiting.since == 0 ? now : totals.waiting.since;
    std::ostringstream text;
    add_domains(text, totals);
    add_last_run(text);
    add_problems(text, problems);
    add_value(text, "statistics_run_waiting_bytes", "Records that no run has taken in.",
              totals.waiting.bytes);
    add_value(text, "statistics_run_waiting_seconds",
              "Age of the oldest record that no run has taken in.",
              static_cast<std::uintmax_t>(std::max<std::time_t>(0, now - since)));
    replace_file(path, text.str());
}
