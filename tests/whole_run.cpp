#include "whole_run.h"

#include <boost/filesystem.hpp>

#include <cstdlib>

namespace fs = boost::filesystem;

namespace
{

const char *const fail_on_request = R"(
echo said; echo complained >&2
[ -e "$ROOT/fail" ] || exit 0
case "$*" in $(cat "$ROOT/fail")) exit 1;; esac
)";

const char *const webalizer_stub = R"({ echo "args: $*"; cat; } >>"$ROOT/ledger")";

const char *const awstats_stub = R"(
{ echo "$AWSTATS_ENABLE_CONFIG_DIR: $*"; cat "${4#-LogFile=}"; } >>"$ROOT/ledger")";

// The page builder writes the main page of the configuration into the directory.
const char *const pages_stub = R"(
{ printf '%s:' "$AWSTATS_ENABLE_CONFIG_DIR"; printf ' %s' "$@"; echo; } >>"$ROOT/ledger"
[ $# = 4 ] && config=${3#-config=} dir=${4#-dir=} || config=$6 dir=$8
echo "$config" >"$dir/awstats.$config.html")";

} // namespace

WholeRun::WholeRun()
{
    ::setenv("ROOT", root().c_str(), 1);
    write_file("etc/zut/zut.conf", "HTTPD_VHOSTS_D " + root() + "/v\nPRODUCT_ROOT_D " + root() +
                                       "/p\nWEB_STAT " + root() + "/webalizer\nAWSTATS_BIN_D " +
                                       root() + "/bin\nAWSTATS_TOOLS_D " + root() + "/tools\n");
    write_script("webalizer", std::string(webalizer_stub) + fail_on_request);
    write_script("bin/awstats.pl", std::string(awstats_stub) + fail_on_request);
    write_script("tools/awstats_buildstaticpages.pl", std::string(pages_stub) + fail_on_request);
    write_script("p/admin/sbin/statistics_log_processor", "echo \"args: $*\" >>$ROOT/prepared");
    fs::create_directories("v/system");
}

void WholeRun::add_domain(const std::string &domain, bool webalizer,
                          const std::vector<std::string> &logs)
{
    fs::create_directories("v/system/" + domain + "/statistics");
    fs::create_directories("v/system/" + domain + "/logs");
    if (webalizer) {
        write_file("v/system/" + domain + "/conf/webalizer.conf", "");
    }
    for (const std::string &name : logs) {
        write_file(log(domain, name), name + " record\n");
    }
}

Outcome WholeRun::run(const std::vector<std::string> &arguments) const
{
    std::vector<std::string> words = {STATISTICS_RUN};
    words.insert(words.end(), arguments.begin(), arguments.end());
    Outcome outcome = run_program(words);
    outcome.out = replace_all(outcome.out, root(), "@");
    outcome.err = replace_all(outcome.err, root(), "@");
    return outcome;
}
