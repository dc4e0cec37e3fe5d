#include "support.h"
#include "webalizer/webalizer_run.h"

class WebalizerRunOfOneLog : public InTempDir
{
protected:
    WebalizerRunOfOneLog()
    {
        write_script("webalizer", "test \"$1\" = -q");
        fs::create_directories(domain_ + "statistics");
    }

    // Runs over a log with a record; returns the output.
    std::string run(const std::string &product_root, const std::function<void()> &prepare = nullptr) const
    {
        write_file("etc/zut/zut.conf",
                   "HTTPD_VHOSTS_D " + root() + "\nPRODUCT_ROOT_D " + product_root + "\nWEB_STAT ./webalizer -q  \n");
        write_file(log_, "record");
        const auto prepared_run = [&] {
            if (prepare) {
                prepare();
            }
            webalizer_run("a");
        };
        return in_child(prepared_run).out;
    }

    const std::string domain_ = root() + "/system/a/";
    const std::string log_ = domain_ + "logs/access_log.webstat";
    const std::string start_ = "./webalizer -q   -c " + domain_ + "conf/webalizer.conf -n a -D ";
    const std::string end_ = " -p -N 0 -o " + domain_ + "statistics/webstat -F clf - < " + log_ + " 2>&1";
};

TEST_F(WebalizerRunOfOneLog, OnlyACommandThatIsCutKeepsIt)
{
    const std::string cache = "/var/webalizer/webalizer.cache";
    const std::string cut_lines = "\nThe command is longer than 4095 characters and was cut.\n"
                                  "The log will not be truncated because of errors above.\n";
    for (const std::size_t length : {4095U, 4096U, 4100U}) { // the last one can do without the word that it loses
        const std::string padding(length - start_.size() - cache.size() - end_.size(), '/');
        const std::string out = run(padding);
        EXPECT_TRUE(contains(out, "\n" + (start_ + padding + cache + end_).substr(0, 4095) + "\n"));
        EXPECT_EQ(out.find(cut_lines) != std::string::npos, length > 4095);
        EXPECT_EQ(read_file(log_), length > 4095 ? "record" : "");
    }
    EXPECT_TRUE(
        contains(run("/p q;'$x"), "\n" + start_ + "'/p q;'\\''$x/var/webalizer/webalizer.cache'" + end_ + "\n"));
    EXPECT_EQ(read_file(log_), "");
}

TEST_F(WebalizerRunOfOneLog, IsKeptWhereItsCommandCannotBeStarted)
{
    EXPECT_TRUE(contains(run("/p", [] { use_up_descriptors(), ::close(STDIN_FILENO); }),
                         "popen_exec: failed to execute command: "));
    EXPECT_EQ(read_file(log_), "record");
}
