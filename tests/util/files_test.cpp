#include "support.h"
#include "util/directory_walk.h"
#include "util/files.h"

#include <boost/filesystem.hpp>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace fs = boost::filesystem;

class Files : public InTempDir
{
};

TEST_F(Files, MakeDirOwnedMakesAndResets)
{
    ::mkdir("old", 0700);
    in_child([] {
        ::umask(077);
        EXPECT_EQ(make_dir_owned("fresh", 12, 34, 0755), 0);
        EXPECT_EQ(make_dir_owned("old", 12, 34, 0755), 0);
    });
    for (const char *const path : {"fresh", "old"}) {
        struct stat status = {};
        ASSERT_EQ(::stat(path, &status), 0);
        EXPECT_EQ(status.st_mode, S_IFDIR | 0755U);
        EXPECT_EQ(status.st_uid, 12U);
        EXPECT_EQ(status.st_gid, 34U);
    }
}

TEST_F(Files, MakeDirOwnedReportsAndKeepsErrno)
{
    const Outcome outcome = in_child([] {
        errno = EIO;
        EXPECT_EQ(make_dir_owned("missing/dir", 0, 0, 0755), -1);
        EXPECT_EQ(errno, ENOENT);
    });
    EXPECT_EQ(outcome.out, "ERROR: Unable to mkdir missing/dir: No such file or directory\n\n"
                           "System error 2: No such file or directory\n");
}

TEST_F(Files, RemoveTreeTakesEverythingInsideAndNothingOutside)
{
    write_file("outside/kept", "x");
    write_file("tree/file", "x");
    write_file("tree/a b/$c/'d'", "x");
    fs::create_symlink("../outside", "tree/link");
    fs::create_symlink("missing", "tree/dangling");
    ::mkfifo("tree/fifo", 0600);
    const Outcome outcome = in_child([&] {
        remove_tree("tree", true);
        EXPECT_EQ(fs::current_path(), root());
    });
    EXPECT_EQ(outcome.out + outcome.err, "");
    EXPECT_FALSE(exists("tree"));
    EXPECT_EQ(read_file("outside/kept"), "x");
}

TEST_F(Files, RemoveTreeOfOneEntry)
{
    write_file("outside/kept", "x");
    write_file("file", "x");
    fs::create_symlink("outside", "link");
    for (const char *const path : {"file", "link", "missing"}) {
        remove_tree(path, true);
        EXPECT_FALSE(exists(path));
    }
    remove_tree("outside", false);
    EXPECT_TRUE(fs::is_empty("outside"));
}

TEST_F(Files, RemoveTreeDeeperThanAPathCanName)
{
    ASSERT_EQ(::mkdir("deep", 0755), 0);
    ASSERT_EQ(::chdir("deep"), 0);
    const std::string name(100, 'n');
    for (int depth = 0; depth < 60; ++depth) {
        ASSERT_EQ(::mkdir(name.c_str(), 0755), 0);
        ASSERT_EQ(::chdir(name.c_str()), 0);
    }
    ASSERT_EQ(::chdir(root().c_str()), 0);
    remove_tree("deep", true);
    EXPECT_FALSE(exists("deep"));
}

TEST_F(Files, RemoveTreeEndsTheProgramOnAFailure)
{
    write_file("tree/sub/kept", "x");
    fs::permissions(".", fs::perms::all_all);
    const struct {
        std::function<void()> call;
        const char *printed;
    } cases[] = {
        {[] { remove_tree("tree", true); },
         "Unable to unlink directory entry kept: Permission denied\n\n"
         "System error 13: Permission denied\n"},
        {[] { remove_tree("tree/sub/kept", true); },
         "Unable to unlink entry tree/sub/kept: Permission denied\n\n"
         "System error 13: Permission denied\n"},
        {[] { remove_tree("tree/sub/kept/x", true); },
         "Unable to get entry tree/sub/kept/x: Not a directory\n\n"
         "System error 20: Not a directory\n"},
    };
    for (const auto &row : cases) {
        const auto call_as_nobody = [&] {
            ASSERT_EQ(::setuid(65534), 0);
            row.call();
        };
        const Outcome outcome = in_child(call_as_nobody, 1);
        EXPECT_EQ(outcome.out, row.printed);
        EXPECT_TRUE(exists("tree/sub/kept"));
    }
}

TEST_F(Files, AWalkDoesNotFollowALinkThatItWasToldToRefuse)
{
    write_file("outside/kept", "x");
    fs::create_symlink("outside", "link");
    int entries = 0;
    const EntryVisitor count = [&](const char *, const struct stat &) {
        return ++entries > 0;
    };
    EXPECT_TRUE(walk_directory("link", FinalLink::follow, 0, count));
    EXPECT_EQ(entries, 3);
    const Outcome outcome =
        in_child([&] { EXPECT_FALSE(walk_directory("link", FinalLink::refuse, 0, count)); });
    EXPECT_EQ(outcome.out.rfind("Unable to open dir link: ", 0), 0U);
}
