#include "support.h"
#include "util/directory_walk.h"
#include "util/errno_guard.h"

using DirectoryWalk = InTempDir;

namespace
{

bool walk(const char *path, FinalLink link, const std::function<void()> &visit)
{
    return walk_directory(path, link, 0, [&](const char *, const struct stat &) { return visit(), true; });
}

} // namespace

TEST_F(DirectoryWalk, OneThatCannotBeginLeavesEverythingAsItWas)
{
    ASSERT_EQ(::mkdir("listed", 0444) + ::chmod(".", 0755), 0);
    fs::create_symlink("listed", "link");
    const auto cannot_walk = [](const char *path) {
        const int lowest_free = lowest_free_descriptor();
        EXPECT_FALSE(walk(path, FinalLink::refuse, [] { ADD_FAILURE() << "visited"; }));
        const ErrnoGuard kept;
        EXPECT_TRUE(exists("listed"));
        EXPECT_EQ(lowest_free_descriptor(), lowest_free);
    };
    expect_reports({
        {[&] { cannot_walk("missing"); }, "Unable to open dir missing: %\n", ENOENT},
        {[&] { cannot_walk("link"); }, "Unable to open dir link: %\n", ENOTDIR},
        {as_nobody([&] { cannot_walk("listed"); }), "Unable to change dir listed: %\n", EACCES},
        {[&] { use_up_descriptors(), cannot_walk("listed"); }, "Unable to get file descriptor of current dir: %\n",
         EMFILE},
    });
    EXPECT_TRUE(walk("link", FinalLink::follow, [] {}));
}

TEST_F(DirectoryWalk, AListingThatCannotBeReadFurtherEndsThere)
{
    write_file("listed/file", "");
    const auto walk_over_the_null_device = [] {
        const int listing = lowest_free_descriptor() + 1; // above the working directory's
        EXPECT_TRUE(walk("listed", FinalLink::follow, [&] { ::dup2(::open("/dev/null", O_RDONLY), listing); }));
    };
    expect_reports({{walk_over_the_null_device, "Unable to read dir listed: %\n", ENOTDIR}});
}

TEST(RaisedDescriptorLimit, RaisesAsFarAsTheStackAllowsNeverLowersAndPutsBack)
{
    in_child([] {
        const rlimit stack = {1 << 18, RLIM_INFINITY}; // for 409 levels of two descriptors
        ::setrlimit(RLIMIT_STACK, &stack);
        for (const auto &[soft, raised] : {std::pair(100, 818), {900, 900}}) {
            const rlimit limit = {static_cast<rlim_t>(soft), 1000};
            ::setrlimit(RLIMIT_NOFILE, &limit);
            EXPECT_EQ((RaisedDescriptorLimit(), ::sysconf(_SC_OPEN_MAX)), raised);
            EXPECT_EQ(::sysconf(_SC_OPEN_MAX), soft);
        }
    });
}

TEST_F(DirectoryWalk, LeavesErrnoAloneAndPassesOverAVanishedEntry)
{
    fs::create_directories("listed/sub");
    errno = EDOM;
    EXPECT_TRUE(walk("listed", FinalLink::follow, [] {}));
    EXPECT_EQ(errno, EDOM);
    EXPECT_EQ(reported([] { EXPECT_TRUE(walk("listed", FinalLink::follow, [] { ::rmdir("sub"); })); }), "");
}
