#include "support.h"
#include "util/directories.h"
#include "util/ownership.h"

#include <cstring>

using Directories = InTempDir;

TEST_F(Directories, MakeDirOwnedMakesAndResets)
{
    run_script("touch file; mkfifo fifo; mkdir outside; ln -s outside link; ln -s link2 link2");
    const std::string outside = attributes("outside");
    in_child([&] {
        ::umask(077);
        ASSERT_EQ(::chroot("."), 0); // no /proc
        for (const char *const path : {"made", "made", "file", "fifo", "link", "link2"}) {
            EXPECT_EQ(make_dir_owned(path, 56, 78, 0750), 0) << path;
            EXPECT_EQ(attributes(path), std::strncmp(path, "link", 4) == 0 ? "0:0 777" : "56:78 750");
        }
    });
    EXPECT_EQ(attributes("outside"), outside);
    ::mknod("socket", S_IFSOCK | 0600, 0); // can't be opened
    EXPECT_EQ(make_dir_owned("socket", 56, 78, 0750), 0);
    EXPECT_EQ(attributes("socket"), "56:78 750");
}

TEST_F(Directories, RemoveTreeTakesEverythingInsideAndNothingOutside)
{
    write_file("outside/kept", "x");
    write_file("tree/a b/$c/'d'", "x");
    run_script(
        "touch file; ln -s outside link; ln -s ../outside tree/link; ln -s none tree/dangling; mkfifo tree/fifo");
    for (const char *const path : {"tree", "file", "link", "missing"}) {
        EXPECT_EQ(reported([&] { remove_tree(path, true); }), "");
        EXPECT_FALSE(exists(path));
    }
    EXPECT_EQ(read_file("outside/kept"), "x");
    remove_tree("outside", false);
    EXPECT_TRUE(fs::is_empty("outside"));
    EXPECT_EQ(fs::current_path(), root());
}

TEST_F(Directories, TreesMayBeDeeperThanThereAreDescriptors)
{
    const std::string depth = "deep" + replace_all(std::string(100, '/'), "/", "/d");
    fs::create_directories(depth);
    in_child([&] {
        const rlimit limit = {100, 1000};
        ::setrlimit(RLIMIT_NOFILE, &limit);
        chown_tree("deep", 12, 34);
        EXPECT_EQ(attributes(depth), "12:34 755");
        remove_tree("deep", true);
    });
    EXPECT_FALSE(exists("deep"));
}

TEST_F(Directories, FailuresAreReported)
{
    write_file("tree/sub/kept", "x");
    fs::permissions(".", fs::perms::all_all);
    expect_reports({
        {as_nobody([] { EXPECT_EQ(make_dir_owned("dir", 0, 0, 0755), -1); }), "ERROR: Unable to chown dir: %\n", EPERM},
        {[] { EXPECT_EQ(rename_dir("tree", "tree/sub"), -1); },
         "Directory rename error: target directory tree/sub already exists.\n", EEXIST},
        {[] { EXPECT_EQ(rename_dir("tree/sub/kept", "new"), -1); }, "Remaming tree/sub/kept to new failed: %\n",
         ENOTDIR},
        {as_nobody([] { remove_tree("tree", true); }), "Unable to unlink directory entry kept: %\n", EACCES, 1},
    });
    EXPECT_TRUE(exists("tree/sub/kept"));
}
