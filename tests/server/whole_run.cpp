#include "server/whole_run.h"

namespace
{

const std::string fail_on_request = R"(
echo said; echo complained >&2
[ -e "$ROOT/fail" ] || exit 0
case "$*" in $(cat "$ROOT/fail")) exit 1;; esac
)";

const std::string webalizer_stub = R"(echo "$*" >>"$ROOT/arguments"; cat >>"$ROOT/ledger")";

const std::string awstats_stub =
    R"({ echo "$AWSTATS_ENABLE_CONFIG_DIR: $0 $*"; cat "${4#-LogFile=}"; } >>"$ROOT/ledger")";

// The page builder writes the main page of the configuration into the directory.
const std::string pages_stub = R"(echo "$AWSTATS_ENABLE_CONFIG_DIR: $0 $*" >>"$ROOT/ledger"
[ $# = 4 ] && config=${3#-config=} dir=${4#-dir=} || config=$6 dir=$8
echo "$config" >"$dir/awstats.$config.html")";

} // namespace

const std::string preparation_lines = "Starting...\nExecuting logs preparation... \n";

WholeRun::WholeRun()
{
    ::setenv("ROOT", root().c_str(), 1);
    const std::string configuration = "HTTPD_VHOSTS_D @/v\nPRODUCT_ROOT_D @/p\nWEB_STAT @/webalizer\n"
                                      "AWSTATS_BIN_D @/bin\nAWSTATS_TOOLS_D @/tools\n";
    write_file("etc/zut/zut.conf", replace_all(configuration, "@", root()));
    write_script("webalizer", webalizer_stub + fail_on_request);
    write_script("bin/awstats.pl", awstats_stub + fail_on_request);
    write_script("tools/awstats_buildstaticpages.pl", pages_stub + fail_on_request);
    write_script("p/admin/sbin/statistics_log_processor", "echo \"args: $*\" >>$ROOT/prepared");
    fs::create_directories("v/system");
}

void WholeRun::add_domain(const std::string &domain, bool webalizer, const std::vector<std::string> &names)
{
    fs::create_directories("v/system/" + domain + "/statistics");
    fs::create_directories("v/system/" + domain + "/logs");
    if (webalizer) {
        write_file("v/system/" + domain + "/conf/webalizer.conf", "");
    }
    for (const std::string &name : names) {
        write_file(log_path(name, domain), name + " record\n");
    }
}

Outcome WholeRun::run(const std::vector<std::string> &arguments) const
{
    std::vector<std::string> words = {STATISTICS_RUN};
    words.insert(words.end(), arguments.begin(), arguments.end());
    const Outcome outcome = run_program(words);
    return {replace_all(outcome.out, root(), "@"), replace_all(outcome.err, root(), "@"), outcome.status};
}

std::string parent_line(const Log &log)
{
    return "Skip log `" + log.name + "' because it has parent `" + log.name.substr(sizeof "proxy") + "'\n";
}
