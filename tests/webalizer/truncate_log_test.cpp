#include "support.h"
#include "webalizer/truncate_log.h"

#include <boost/filesystem.hpp>

#include <sys/stat.h>

namespace fs = boost::filesystem;

class TruncateLog : public InTempDir
{
};

TEST_F(TruncateLog, EmptiesTheFileInPlaceAndThroughALink)
{
    write_file("log", "records");
    fs::permissions("log", fs::perms::owner_read);
    fs::create_hard_link("log", "other");
    fs::create_symlink("log", "link");
    const Outcome outcome = in_child([] {
        truncate_log("link");
        truncate_log("log"); // empty already
    });
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(read_file("other"), "");
    EXPECT_EQ(fs::status("log").permissions(), fs::perms::owner_read);
}

TEST_F(TruncateLog, PrintsWhatItCouldNotDo)
{
    ::mkdir("directory", 0755);
    const Outcome outcome = in_child([] {
        truncate_log("missing");
        truncate_log("directory");
        truncate_log("/dev/full");
    });
    EXPECT_EQ(outcome.out, "Error: unable to open file missing: No such file or directory\n"
                           "Error: unable to open file directory: Is a directory\n"
                           "Error during truncating /dev/full: Invalid argument\n");
    EXPECT_FALSE(exists("missing"));
}
