#include "support.h"
#include "util/directories.h"
#include "util/directory_walk.h"

#include <cstring>

using Files = InTempDir;

TEST_F(Files, MakeDirOwnedMakesAndResets)
{
    const mode_t mask = ::umask(077);
    EXPECT_EQ(make_dir_owned("dir", 12, 34, 0755), 0);
    EXPECT_EQ(attributes("dir"), "12:34 755");
    ::umask(mask);
    write_file("file", "");
    ::mkfifo("fifo", 0600);
    fs::create_directory("outside");
    fs::create_directory_symlink("outside", "link");
    fs::create_symlink("link2", "link2");
    const std::string outside = attributes("outside");
    in_child([&] {
        ASSERT_EQ(::chroot("."), 0); // no /proc
        for (const char *const path : {"dir", "file", "fifo", "link", "link2"}) {
            EXPECT_EQ(make_dir_owned(path, 56, 78, 0750), 0) << path;
            EXPECT_EQ(attributes(path), std::strncmp(path, "link", 4) == 0 ? "0:0 777" : "56:78 750");
        }
    });
    EXPECT_EQ(attributes("outside"), outside);
}

TEST_F(Files, MakeDirOwnedReportsWhatItCouldNotDo)
{
    write_file("file", "");
    fs::permissions(".", fs::perms::all_all);
    const std::pair<const char *, std::string> cases[] = {
        {"x/y", "ERROR: Unable to mkdir x/y" + reason(ENOENT)},
        {"file/x", "ERROR: Unable to mkdir file/x" + reason(ENOTDIR)},
        {"dir", "ERROR: Unable to chown dir" + reason(EPERM)},
    };
    for (const auto &[path, message] : cases) {
        const auto make_as_nobody = [&path = path] {
            ASSERT_EQ(::setuid(65534), 0);
            EXPECT_EQ(make_dir_owned(path, 0, 0, 0755), -1);
        };
        EXPECT_EQ(reported(make_as_nobody), message);
    }
}

TEST_F(Files, RemoveTreeTakesEverythingInsideAndNothingOutside)
{
    write_file("outside/kept", "x");
    write_file("tree/a b/$c/'d'", "x");
    write_file("file", "x");
    fs::create_symlink("../outside", "tree/link");
    fs::create_symlink("missing", "tree/dangling");
    fs::create_symlink("outside", "link");
    ::mkfifo("tree/fifo", 0600);
    for (const char *const path : {"tree", "file", "link", "missing"}) {
        EXPECT_EQ(reported([&] { remove_tree(path, true); }), "");
        EXPECT_FALSE(exists(path));
    }
    EXPECT_EQ(read_file("outside/kept"), "x");
    remove_tree("outside", false);
    EXPECT_TRUE(fs::is_empty("outside"));
    EXPECT_EQ(fs::current_path(), root());
}

TEST_F(Files, RemoveTreeDeeperThanAPathCanName)
{
    const std::string name(100, 'n');
    ASSERT_EQ(::mkdir("deep", 0755) + ::chdir("deep"), 0);
    for (int depth = 0; depth < 60; ++depth) {
        ASSERT_EQ(::mkdir(name.c_str(), 0755) + ::chdir(name.c_str()), 0);
    }
    ASSERT_EQ(::chdir(root().c_str()), 0);
    remove_tree("deep", true);
    EXPECT_FALSE(exists("deep"));
}

TEST_F(Files, RemoveTreeEndsTheProgramOnAFailure)
{
    write_file("tree/sub/kept", "x");
    fs::permissions(".", fs::perms::all_all);
    const std::pair<const char *, std::string> cases[] = {
        {"tree", "Unable to unlink directory entry kept" + reason(EACCES)},
        {"tree/sub/kept", "Unable to unlink entry tree/sub/kept" + reason(EACCES)},
        {"tree/sub/kept/x", "Unable to get entry tree/sub/kept/x" + reason(ENOTDIR)},
    };
    for (const auto &[path, message] : cases) {
        const auto remove_as_nobody = [&path = path] {
            ASSERT_EQ(::setuid(65534), 0);
            remove_tree(path, true);
        };
        EXPECT_EQ(reported(remove_as_nobody, 1), message);
        EXPECT_TRUE(exists("tree/sub/kept"));
    }
}

TEST_F(Files, AWalkThatCannotBeginLeavesEverythingAsItWas)
{
    const EntryVisitor visit = [](const char *, const struct stat &) {
        ADD_FAILURE() << "visited";
        return true;
    };
    fs::create_directory("listed");
    ASSERT_EQ(::chmod("listed", 0444) + ::chmod(".", 0755), 0);
    const std::tuple<void (*)(), const char *, std::string> cases[] = {
        {[] {}, "missing", "Unable to open dir missing" + reason(ENOENT)},
        {[] { EXPECT_EQ(::setuid(65534), 0); }, "listed", "Unable to change dir listed" + reason(EACCES)},
        {use_up_descriptors, "listed", "Unable to get file descriptor of current dir" + reason(EMFILE)},
    };
    for (const auto &[prepare, path, message] : cases) {
        const auto walk = [&visit, &prepare = prepare, &path = path] {
            const int lowest_free = lowest_free_descriptor();
            prepare();
            EXPECT_FALSE(walk_directory(path, FinalLink::follow, 0, visit));
            EXPECT_TRUE(exists("listed"));
            EXPECT_TRUE(prepare == use_up_descriptors || lowest_free_descriptor() == lowest_free);
        };
        EXPECT_EQ(reported(walk), message);
    }
}

TEST_F(Files, AWalkDoesNotFollowALinkThatItWasToldToRefuse)
{
    fs::create_symlink(".", "link");
    const EntryVisitor visit = [](const char *, const struct stat &status) {
        return status.st_nlink > 0;
    };
    EXPECT_TRUE(walk_directory("link", FinalLink::follow, 0, visit));
    EXPECT_TRUE(contains(reported([&] { EXPECT_FALSE(walk_directory("link", FinalLink::refuse, 0, visit)); }),
                         "Unable to open dir link: "));
}
