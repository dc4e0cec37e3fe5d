#pragma once

#include "support.h"

#include <fstream>

// Log preparation of one domain in the working directory; its log is access_log. `all` holds every line written to it.
class Preparation : public InTempDir
{
protected:
    Preparation() { layOut(); }

    // Begins anew, without logs.
    void layOut() const
    {
        fs::remove_all("v");
        fs::remove_all("p");
        write_file("etc/zut/zut.conf", "HTTPD_VHOSTS_D v\nPRODUCT_ROOT_D p\n");
        write_file("all", "");
        fs::create_directories("p/var");
        fs::create_directories("v/system/d/conf");
        fs::create_directories(logs);
    }

    // Adds to the log, to another one or to none, and to what is to come over.
    void write(const std::string &lines, const std::string &log = "access_log") const
    {
        for (const std::string &path : {logs + log, std::string("all")}) {
            std::ofstream(path, std::ios::app) << lines;
        }
    }

    // The same with a line that is like no other.
    void writeLine(const std::string &log = "access_log") const
    {
        static int number = 0;
        write("192.0.2.1 - - [15/May/2024:12:00:00 +0000] \"GET /" + std::to_string(++number) + "\" 200 1\n", log);
    }

    // Runs a shell script in the directory of the logs, with the log as $l.
    void inLogs(const std::string &script) const
    {
        const Outcome outcome = run_program({"sh", "-ec", "l=access_log; cd " + logs + "\n" + script});
        EXPECT_EQ(outcome.status, 0) << script << outcome.err;
    }

    // Prepares the logs. Returns what it says, which is nothing if it ends with 0.
    std::string prepare(int status = 0, const std::string &time = "2024-05-15 12:00") const
    {
        const Outcome outcome = run_program({"env", "TEST_TIME=" + time, STATISTICS_LOG_PROCESSOR});
        EXPECT_EQ(outcome.status, status) << outcome.err;
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err.empty(), status == 0) << outcome.err;
        return replace_all(outcome.err, "statistics_log_processor: " + logs, "");
    }

    // Every line has come over once, in order.
    void expectAll() const { EXPECT_EQ(read_file(prepared), read_file("all")); }

    const std::string logs = "v/system/d/logs/";
    const std::string prepared = logs + "access_log.webstat";
    const std::string position = "p/var/log_positions/d/access_log";
};
