#include "support.h"
#include "webalizer/webalizer_run.h"

using WebalizerCommands = InTempDir;

TEST_F(WebalizerCommands, OnlyOneThatIsCutKeepsItsLog)
{
    const std::string domain = root() + "/system/a/";
    const std::string log = domain + "logs/access_log.webstat";
    const std::string start = "./webalizer -q   -c " + domain + "conf/webalizer.conf -n a -D ";
    const std::string end =
        "/var/webalizer/webalizer.cache -p -N 0 -o " + domain + "statistics/webstat -F clf - < " + log + " 2>&1";
    const std::string cut_lines = "\nThe command is longer than 4095 characters and was cut.\n"
                                  "The log will not be truncated because of errors above.\n";
    write_script("webalizer", "test \"$1\" = -q");
    fs::create_directories(domain + "statistics");
    for (const std::size_t length : {4095U, 4100U}) { // the longer one has lost its last word, which it can do without
        const std::string padding(length - start.size() - end.size(), '/');
        write_file("etc/zut/zut.conf",
                   "HTTPD_VHOSTS_D " + root() + "\nPRODUCT_ROOT_D " + padding + "\nWEB_STAT ./webalizer -q  \n");
        write_file(log, "record");
        const std::string out = in_child([] { webalizer_run("a"); }).out;
        EXPECT_TRUE(contains(out, "\n" + (start + padding + end).substr(0, 4095) + "\n"));
        EXPECT_EQ(out.find(cut_lines) != std::string::npos, length > 4095);
        EXPECT_EQ(read_file(log), length > 4095 ? "record" : "");
    }
}
