#include "support.h"
#include "webalizer/frame_pages.h"

const std::string foot = "</select>\n\n</form>\n</body>\n</html>\n";

// Where the list begins in its page.
constexpr std::size_t head_size = 820;

using FramePages = InTempDir;

TEST_F(FramePages, AreFixedAndReadByEverybodyAndListTheSubdirectoriesInOrder)
{
    std::string options;
    for (const std::string name : {".hidden", "2024-1", "2024-10", "2024-9", "Z", "a'b<i>", "\xe9"}) {
        fs::create_directories("s/" + name);
        options.append("<option value='" + name + "'>").append(name + "</option>\n");
    }
    fs::create_symlink("2024-10", "s/current");
    write_file("s/file", "");
    const mode_t mask = ::umask(0);
    write_frame_pages("s");
    ::umask(mask);
    EXPECT_EQ(fs::current_path(), root());
    EXPECT_EQ(attributes("s/index.html"), "0:0 644");
    EXPECT_EQ(read_file("s/nav.html").substr(head_size), options + foot);
    EXPECT_EQ(run_script("md5sum <s/index.html; head -c 820 s/nav.html | md5sum").out,
              "00e0e16299d19d1ba51d2e18946d93eb  -\nce3de5aa09039fda4631af79ea847c01  -\n");
}

TEST_F(FramePages, OnlyARegularFileWithExactlyThePageStays)
{
    run_script("for name in d b e a c; do mkdir -p s/$name; done");
    for (const std::string page : {"s/index.html", "s/nav.html"}) {
        write_frame_pages("s");
        fs::last_write_time(page, 1);
        const std::string right = read_file(page);
        const std::string before = identity(page);
        write_frame_pages("s");
        EXPECT_EQ(identity(page), before);
        for (const std::string change :
             {"sed -i s/html/lmth/ $0", "echo >>$0", "truncate -s -1 $0", "mv $0 same; ln -s ../same $0",
              "rm $0; ln -s ../none $0", "rm $0; mkfifo $0"}) {
            run_script(change, page);
            write_frame_pages("s");
            EXPECT_TRUE(fs::symlink_status(page).type() == fs::regular_file && read_file(page) == right) << change;
        }
        EXPECT_FALSE(exists("none"));
    }
}

TEST_F(FramePages, FailuresEndOnlyTheirPage)
{
    const auto write_little = [] {
        const rlimit limit = {400, RLIM_INFINITY};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        const int lowest_free = lowest_free_descriptor();
        write_index_page("index.html");
        EXPECT_EQ(lowest_free_descriptor(), lowest_free + 1); // stays open
    };
    const auto list_many_on_a_full_disk = [&] {
        write_nav_page("many", "/dev/full");
        EXPECT_EQ(fs::current_path(), root() + "/many");
    };
    write_file("file", "");
    fs::create_directories("taken/index.html");
    for (int i = 0; i < 200; ++i) {
        fs::create_directories("many/" + std::string(100, 'n') + std::to_string(i));
    }
    expect_reports({
        {[] { write_index_page("missing/index.html"); }, "Unable to open file missing/index.html: %", ENOENT},
        {[] { write_index_page("/dev/full"); }, "Unable to write to file /dev/full: %", ENOSPC},
        {write_little, "Unable to write 457 bytes to file index.html: 400 bytes written\n"},
        {list_many_on_a_full_disk, "Unable to write to file /dev/full", ENOSPC},
        {[] { write_nav_page("file", "nav"); }, "Unable to open dir file: %\n", ENOTDIR},
        {[] { write_frame_pages("taken"); }, "Unable to open file taken/index.html: %", EISDIR},
    });
    EXPECT_EQ(read_file("nav").size(), head_size);
    EXPECT_EQ(read_file("taken/nav.html").substr(head_size), "<option value='index.html'>index.html</option>\n" + foot);
}

TEST_F(FramePages, NothingIsRemovedWhereAPathIsCut)
{
    const std::string linked = root() + std::string(4094 - root().size(), '/') + "l"; // fills a buffer
    fs::create_directory_symlink("d", "l");
    reported([&] { write_frame_pages(linked); });
    EXPECT_TRUE(fs::is_symlink("l"));
}
