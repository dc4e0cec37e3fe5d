#include "support.h"
#include "util/directories.h"
#include "util/ownership.h"

using Ownership = InTempDir;

TEST_F(Ownership, TreesAreChangedWholeAndLinksNotFollowed)
{
    run_script("mkdir -p outside tree/sub; touch outside/file tree/sub/file; ln -s outside/file link; "
               "ln -s ../outside tree/link; ln -s ../../outside/file tree/sub/link");
    const std::string outside = attributes("outside") + attributes("outside/file");
    for (const char *const path : {"tree", "link"}) {
        chown_tree(path, 12, 34);
        chmod_tree(path, 0700);
    }
    for (const char *const path : {"tree", "tree/sub", "tree/sub/file", "tree/link", "tree/sub/link", "link"}) {
        EXPECT_EQ(attributes(path), fs::is_symlink(path) ? "12:34 777" : "12:34 700") << path;
    }
    EXPECT_EQ(attributes("outside") + attributes("outside/file"), outside);
    EXPECT_EQ(fs::current_path(), root());
}

TEST_F(Ownership, SingleEntriesAndFailures)
{
    write_file("file", "");
    EXPECT_EQ(set_owner_and_mode("file", 5, 6, 04750), 0);
    EXPECT_EQ(make_user_dir("home", "nobody", 0700), 0);
    EXPECT_EQ(make_dir_with_umask("open", 0777, 0007), 0);
    EXPECT_EQ(attributes("file") + ' ' + attributes("home") + ' ' + attributes("open"),
              "5:6 4750 65534:65534 700 0:0 770");
    write_file("tree/file", "");
    fs::permissions(".", fs::perms::all_all);
    expect_reports({
        {as_nobody([] { chown_tree("tree", 1, 1); }), "Unable to chown directory entry file: %\n", EPERM, 1},
        {[] { chown_tree("missing", 1, 1); }, "Unable to get entry missing: %\n", ENOENT, 1},
        {as_nobody([] { EXPECT_EQ(make_user_dir("dir", "root", 0700), -1); }), "Cannot chown dir: %", EPERM},
    });
    EXPECT_FALSE(exists("dir"));
}
