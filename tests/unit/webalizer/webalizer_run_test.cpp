#include "support.h"
#include "webalizer/webalizer_run.h"

namespace
{

const std::string prepared_log = "v w/system/a/logs/access_log.webstat";

void nothing() {}

// Runs over a log with a record. Returns the output.
std::string run(const std::string &product_root, const std::function<void()> &prepare = nothing)
{
    write_file("etc/zut/zut.conf", "HTTPD_VHOSTS_D v w\nPRODUCT_ROOT_D " + product_root + "\nWEB_STAT sh -c true  \n");
    write_file(prepared_log, "record");
    fs::create_directories("v w/system/a/statistics");
    return in_child([&] { prepare(), webalizer_run("a"); }).out;
}

} // namespace

using WebalizerRunOfOneLog = InTempDir;

TEST_F(WebalizerRunOfOneLog, OnlyACommandThatIsCutKeepsIt)
{
    const std::string start = "sh -c true   -c 'v w/system/a/conf/webalizer.conf' -n a -D ";
    const std::string cache = "/var/webalizer/webalizer.cache";
    const std::string end = " -p -N 0 -o 'v w/system/a/statistics/webstat' -F clf - < '" + prepared_log + "' 2>&1";
    const std::string cut_lines = "\nThe command is longer than 4095 characters and was cut.\n"
                                  "The log will not be truncated because of errors above.\n";
    for (const std::size_t length : {4095U, 4096U, 4100U}) { // the last one can do without the word that it loses
        const std::string padding(length - start.size() - cache.size() - end.size(), '/');
        const std::string out = run(padding);
        EXPECT_TRUE(contains(out, "\n" + (start + padding + cache + end).substr(0, 4095) + "\n"));
        EXPECT_EQ(out.find(cut_lines) != std::string::npos, length > 4095);
        EXPECT_EQ(read_file(prepared_log), length > 4095 ? "record" : "");
    }
    EXPECT_TRUE(contains(run("/p q;'$x"), "\n" + start + "'/p q;'\\''$x" + cache + "'" + end + "\n"));
    EXPECT_EQ(read_file(prepared_log), "");
}

TEST_F(WebalizerRunOfOneLog, IsKeptWhereItsCommandCannotBeStarted)
{
    EXPECT_TRUE(contains(run("/p", [] { use_up_descriptors(), ::close(STDIN_FILENO); }),
                         "popen_exec: failed to execute command: "));
    EXPECT_EQ(read_file(prepared_log), "record");
}
