#include "support.h"
#include "util/ownership.h"

using Ownership = InTempDir;

TEST_F(Ownership, TreesAreChangedWholeAndLinksNotFollowed)
{
    write_file("outside/file", "");
    write_file("tree/sub/file", "");
    fs::create_symlink("../outside", "tree/link");
    fs::create_symlink("../../outside/file", "tree/sub/link");
    fs::create_symlink("outside/file", "link");
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

TEST_F(Ownership, FailuresAreReported)
{
    write_file("tree/file", "");
    write_file("file", "");
    fs::permissions(".", fs::perms::all_all);
    const std::tuple<std::function<void()>, std::string, int> cases[] = {
        {[] { chown_tree("tree", 1, 1); }, "Unable to chown directory entry file" + reason(EPERM), 1},
        {[] { chmod_tree("tree", 0700); }, "Unable to chmod directory entry file" + reason(EPERM), 1},
        {[] { chmod_tree("file", 0700); }, "Unable to chmod entry file" + reason(EPERM), 1},
        {[] { chown_tree("missing", 1, 1); }, "Unable to get entry missing" + reason(ENOENT), 1},
        {[] { EXPECT_EQ(set_owner_and_mode("file", 1, 1, 0700), -1); }, "ERROR: unable to chown file" + reason(EPERM),
         0},
        {[] { EXPECT_EQ(make_user_dir("missing/x", "nobody", 0700), -1); },
         "Cannot create directory missing/x: No such file or directory" + system_error(ENOENT), 0},
        {[] { EXPECT_TRUE(make_user_dir("dir", "root", 0700) == -1 && errno == EPERM && !exists("dir")); },
         "Cannot chown dir: Operation not permitted" + system_error(EPERM), 0},
    };
    for (const auto &row : cases) {
        const auto call_as_nobody = [&] {
            ASSERT_EQ(::setuid(65534), 0);
            std::get<0>(row)();
        };
        EXPECT_EQ(reported(call_as_nobody, std::get<int>(row)), std::get<1>(row));
    }
}

TEST_F(Ownership, SingleEntries)
{
    write_file("file", "");
    EXPECT_EQ(set_owner_and_mode("file", 5, 6, 04750), 0);
    EXPECT_EQ(attributes("file"), "5:6 4750");
    EXPECT_EQ(make_user_dir("home", "nobody", 0700), 0);
    EXPECT_EQ(attributes("home"), "65534:65534 700");
    const mode_t mask = ::umask(022);
    EXPECT_EQ(make_dir_with_umask("open", 0777, 0007), 0);
    EXPECT_EQ(::umask(mask), 022U);
    EXPECT_EQ(attributes("open"), "0:0 770");
    EXPECT_TRUE(make_dir_with_umask("open", 0777, 0) == -1 && errno == EEXIST);
}
