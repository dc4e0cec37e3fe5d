#include "support.h"
#include "webalizer/truncate_log.h"

using TruncateLog = InTempDir;

TEST_F(TruncateLog, EmptiesTheFileInPlaceOrSaysWhyNot)
{
    write_file("log", "records");
    fs::create_hard_link("log", "other");
    fs::create_symlink("log", "link");
    const Outcome outcome = in_child([] {
        const int lowest_free = lowest_free_descriptor();
        for (const char *const path : {"link", "missing", ".", "/dev/full"}) {
            truncate_log(path);
        }
        EXPECT_EQ(lowest_free_descriptor(), lowest_free);
    });
    EXPECT_EQ(outcome.out, "Error: unable to open file missing: No such file or directory\n"
                           "Error: unable to open file .: Is a directory\n"
                           "Error during truncating /dev/full: Invalid argument\n");
    EXPECT_EQ(read_file("other"), "");
    EXPECT_FALSE(exists("missing"));
}
