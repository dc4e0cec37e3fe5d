#include "support.h"
#include "util/ownership.h"

#include <boost/filesystem.hpp>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace fs = boost::filesystem;

namespace
{

struct stat status_of(const std::string &path)
{
    struct stat status = {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
    return status;
}

} // namespace

class Ownership : public InTempDir
{
};

TEST_F(Ownership, TreesAreChangedWholeAndLinksNotFollowed)
{
    write_file("outside/file", "");
    write_file("tree/sub/file", "");
    fs::create_symlink("../outside", "tree/link");
    fs::create_symlink("../../outside/file", "tree/sub/link");
    fs::create_symlink("outside/file", "link");
    const mode_t mode_outside = status_of("outside/file").st_mode;
    chown_tree("tree", 12, 34);
    chmod_tree("tree", 0700);
    chown_tree("link", 12, 34);
    chmod_tree("link", 0700);
    for (const char *const path : {"tree", "tree/sub", "tree/sub/file", "tree/link", "link"}) {
        EXPECT_EQ(status_of(path).st_uid, 12U) << path;
        EXPECT_EQ(status_of(path).st_gid, 34U) << path;
        EXPECT_EQ(status_of(path).st_mode & 0777U, fs::is_symlink(path) ? 0777U : 0700U) << path;
    }
    for (const char *const path : {"outside", "outside/file"}) {
        EXPECT_EQ(status_of(path).st_uid, 0U);
    }
    EXPECT_EQ(status_of("outside/file").st_mode, mode_outside);
    EXPECT_EQ(fs::current_path(), root());
}

TEST_F(Ownership, FailuresAreReported)
{
    write_file("tree/file", "");
    write_file("file", "");
    fs::permissions(".", fs::perms::all_all);
    const std::string denied =
        "Operation not permitted\n\nSystem error 1: Operation not permitted\n";
    const std::string missing =
        "No such file or directory\n\nSystem error 2: No such file or directory\n";
    const struct {
        std::function<void()> call;
        std::string message;
        int status;
    } cases[] = {
        {[] { chown_tree("tree", 1, 1); }, "Unable to chown directory entry file: " + denied, 1},
        {[] { chmod_tree("tree", 0700); }, "Unable to chmod directory entry file: " + denied, 1},
        {[] { chmod_tree("file", 0700); }, "Unable to chmod entry file: " + denied, 1},
        {[] { chown_tree("missing", 1, 1); }, "Unable to get entry missing: " + missing, 1},
        {[] { EXPECT_EQ(set_owner_and_mode("file", 1, 1, 0700), -1); },
         "ERROR: unable to chown file: " + denied, 0},
        {[] { EXPECT_EQ(make_user_dir("missing/x", "nobody", 0700), -1); },
         "Cannot create directory missing/x: No such file or directory\n"
         "System error 2: No such file or directory\n",
         0},
        {[] {
             EXPECT_EQ(make_user_dir("dir", "root", 0700), -1);
             EXPECT_EQ(errno, EPERM);
             EXPECT_FALSE(exists("dir"));
         },
         "Cannot chown dir: Operation not permitted\nSystem error 1: Operation not permitted\n", 0},
    };
    for (const auto &row : cases) {
        const auto call_as_nobody = [&] {
            ASSERT_EQ(::setuid(65534), 0);
            errno = 0;
            row.call();
        };
        EXPECT_EQ(in_child(call_as_nobody, row.status).out, row.message);
    }
}

TEST_F(Ownership, SingleEntries)
{
    write_file("file", "");
    EXPECT_EQ(set_owner_and_mode("file", 5, 6, 04750), 0);
    EXPECT_EQ(status_of("file").st_mode & 07777U, 04750U);
    EXPECT_EQ(status_of("file").st_gid, 6U);
    EXPECT_EQ(make_user_dir("home", "nobody", 0700), 0);
    EXPECT_EQ(status_of("home").st_uid, 65534U);
    EXPECT_EQ(status_of("home").st_gid, 65534U);
    const mode_t mask = ::umask(022);
    EXPECT_EQ(make_dir_with_umask("open", 0777, 0007), 0);
    EXPECT_EQ(::umask(mask), 022U);
    EXPECT_EQ(status_of("open").st_mode & 0777U, 0770U);
    EXPECT_EQ(make_dir_with_umask("open", 0777, 0), -1);
    EXPECT_EQ(errno, EEXIST);
}
