#include "support.h"
#include "webalizer/frame_pages.h"

#include <boost/filesystem.hpp>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace fs = boost::filesystem;

namespace
{

constexpr std::size_t head_size = 820;
const char *const foot = "</select>\n\n</form>\n</body>\n</html>\n";

std::string option(const std::string &name)
{
    return "<option value='" + name + "'>" + name + "</option>\n";
}

} // namespace

class FramePages : public InTempDir
{
protected:
    // What a call reports; nothing is reported differently on the two streams.
    static std::string reported(const std::function<void()> &call)
    {
        const Outcome outcome = in_child([&] {
            errno = 0;
            call();
        });
        EXPECT_EQ(outcome.out, outcome.err);
        EXPECT_EQ(outcome.status, 0);
        return outcome.out;
    }
};

TEST_F(FramePages, TheFramesetIsFixed)
{
    write_file("s/index.html", std::string(2000, 'x'));
    EXPECT_EQ(reported([] { write_frame_pages("s"); }), "");
    const std::string page = read_file("s/index.html");
    EXPECT_EQ(page.size(), 457U);
    EXPECT_NE(page.find("</head>\n\n<frameset rows=\"30,*\" cols=\"*\" framespacing=\"0\" "
                        "frameborder=\"no\" border=\"0\">\n  <frame src=\"nav.html\""),
              std::string::npos);
    EXPECT_NE(page.find("  <frame src=\"current/index.html\" name=\"mainFrame\""),
              std::string::npos);
    EXPECT_EQ(page.substr(429), "</body>\n</noframes>\n</html>\n");
}

TEST_F(FramePages, TheListHoldsTheSubdirectoriesInOrder)
{
    for (const char *const name :
         {"2024-10", "2024-9", "2024-1", "a'b<i>", "Z", ".hidden", "\xe9"}) {
        fs::create_directories(std::string("s/") + name);
    }
    fs::create_symlink("2024-10", "s/current");
    write_file("s/file", "");
    EXPECT_EQ(reported([&] {
                  write_nav_page("s", "s/nav.html");
                  EXPECT_EQ(fs::current_path(), root());
              }),
              "");
    const std::string page = read_file("s/nav.html");
    EXPECT_EQ(page.substr(head_size), option(".hidden") + option("2024-1") + option("2024-10") +
                                          option("2024-9") + option("Z") + option("a'b<i>") +
                                          option("\xe9") + foot);
    EXPECT_EQ(page.substr(head_size - 41, 41), "<option value=\"current\">Current</option>\n");
    EXPECT_NE(page.find("\n    top.mainFrame.location= document.periodForm.periodSelect.value + "
                        "'/index.html';\n}\n"),
              std::string::npos);
    EXPECT_NE(page.find("\nbody {\n\tmargin: 0;\n"), std::string::npos);
}

TEST_F(FramePages, FailuresEndOnlyTheirPage)
{
    write_file("file", "");
    ::mkdir("taken", 0755);
    ::mkdir("taken/index.html", 0755);
    ::symlink("loop", "loop");
    const std::string full = "No space left on device";
    const struct {
        std::function<void()> call;
        std::string message;
    } cases[] = {
        {[] { write_index_page("missing/index.html"); },
         "Unable to open file missing/index.html: No such file or directory\n"
         "System error 2: No such file or directory\n"},
        {[] { write_index_page("/dev/full"); },
         "Unable to write to file /dev/full: " + full + "\nSystem error 28: " + full + "\n"},
        {[] { write_nav_page("taken", "missing/nav.html"); },
         "Unable to open file missing/nav.html\nSystem error 2: No such file or directory\n"},
        {[] { write_nav_page("missing", "nav"); },
         "Unable to get entry missing: No such file or directory\n\n"
         "System error 2: No such file or directory\n"},
        {[] { write_nav_page("file", "nav"); },
         "Unable to open dir file: Not a directory\n\nSystem error 20: Not a directory\n"},
        {[] { write_nav_page("taken", "/dev/full"); },
         "Unable to write to file /dev/full\nSystem error 28: " + full + "\n"},
        {[] { write_frame_pages("taken"); },
         "Unable to open file taken/index.html: Is a directory\nSystem error 21: Is a directory\n"},
    };
    for (const auto &row : cases) {
        EXPECT_EQ(reported(row.call), row.message);
    }
    EXPECT_EQ(read_file("nav").size(), head_size);
    EXPECT_EQ(read_file("taken/nav.html").substr(head_size), option("index.html") + foot);
}

TEST_F(FramePages, AShortWriteIsReportedWithItsCount)
{
    const Outcome outcome = in_child([] {
        ::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {100, 100};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        errno = 0;
        write_index_page("page");
    });
    EXPECT_EQ(read_file("page").size(), 100U);
    EXPECT_EQ(outcome.out, "Unable to write 457 bytes to file page: 100 bytes written\n");
}

TEST_F(FramePages, AFullDiskAmongTheEntriesStopsThePageWhereItIs)
{
    for (int i = 0; i < 200; ++i) {
        ::mkdir((std::string("s") + (i == 0 ? "" : "/" + std::string(100, 'n') + std::to_string(i)))
                    .c_str(),
                0755);
    }
    EXPECT_EQ(reported([&] {
                  const int lowest_free = ::dup(0);
                  ::close(lowest_free);
                  write_nav_page("s", "/dev/full");
                  EXPECT_EQ(fs::current_path(), root() + "/s");
                  // Only the page's own descriptor, the lowest, is closed again.
                  EXPECT_EQ(::dup(0), lowest_free);
                  EXPECT_EQ(::dup(0), lowest_free + 3); // saved directory and listing stay open
              }),
              "Unable to write to file /dev/full\nSystem error 28: No space left on device\n");
}

TEST_F(FramePages, PathsAreCutToTheirBuffers)
{
    const std::string directory = root() + std::string(4096, '/');
    const std::string cut = directory.substr(0, 4095);
    EXPECT_EQ(reported([&] { write_frame_pages(directory); }),
              "Unable to open file " + cut + ": Is a directory\nUnable to open file " + cut + "\n");
}
