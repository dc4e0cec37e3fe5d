#include "support.h"
#include "util/malloced.h"
#include "util/owned_streams.h"
#include "util/small_files.h"

#include <boost/filesystem.hpp>

#include <cerrno>

namespace fs = boost::filesystem;

class SmallFiles : public InTempDir
{
protected:
    SmallFiles()
    {
        fs::create_directories("dir/sub");
        fs::create_directories("dir2");
        write_file("file", "first\nsecond\n");
        fs::create_symlink("dir/sub", "link");
    }
};

TEST_F(SmallFiles, FilesAndDirectories)
{
    EXPECT_EQ(truncate_or_create_file("file", 0600), 0);
    EXPECT_EQ(read_file("file"), "");
    EXPECT_EQ(truncate_or_create_file("new", 0600), 0);
    EXPECT_EQ(create_file("newer", 0640), 0);
    EXPECT_EQ(fs::status("newer").permissions(), fs::perms(0640));
    EXPECT_TRUE(file_exists("new") && dir_exists("link") && dir_exists("dir"));
    EXPECT_FALSE(file_exists("dir") || dir_exists("new") || file_exists("x") || dir_exists("x"));
    const struct {
        const char *inner;
        const char *outer;
        int result;
    } cases[] = {{"dir/sub", "dir", 1}, {"link", "dir", 1}, {"dir", "dir", 1}, {"dir2", "dir", 0},
                 {"dir", "dir/sub", 0}, {"dir", "/", 1},    {".", "dir/..", 1}};
    for (const auto &row : cases) {
        EXPECT_EQ(is_dir_inside(row.inner, row.outer), row.result) << row.inner << ' ' << row.outer;
    }
    EXPECT_EQ(rename_dir("dir2", "dir3"), 0);
    EXPECT_TRUE(dir_exists("dir3") && !dir_exists("dir2"));
}

TEST_F(SmallFiles, FindEntryIgnoresCase)
{
    write_file("names/ReadMe", "");
    write_file("names/README", "");
    const struct {
        const char *name;
        std::string found; // "-": either of the two
    } cases[] = {{"README", "names/README"}, {"ReadMe", "names/ReadMe"}, {"readme", "-"}};
    for (const auto &row : cases) {
        const Malloced<char> found(find_entry("names", row.name));
        ASSERT_NE(found, nullptr);
        EXPECT_TRUE(file_exists(found.get()));
        EXPECT_TRUE(row.found == "-" || row.found == found.get()) << found.get();
    }
    EXPECT_EQ(find_entry("names", "read"), nullptr);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(find_entry("file", "read"), nullptr);
    EXPECT_EQ(errno, ENOTDIR);
}

TEST_F(SmallFiles, ReadLine)
{
    const struct {
        const char *text;
        std::size_t size;
        int result;
        const char *line;
    } cases[] = {{"first\nsecond\n", 6, 0, "first"},
                 {"first\n", 5, -1, ""},
                 {"last", 5, 0, "last"},
                 {"last", 4, -1, ""},
                 {"\n", 1, 0, ""},
                 {"", 1, 0, ""}};
    for (const auto &row : cases) {
        write_file("line", row.text);
        const Outcome outcome = in_child([&] {
            char buffer[16] = "";
            EXPECT_EQ(read_line("line", buffer, row.size), row.result) << row.text;
            if (row.result == 0) {
                EXPECT_STREQ(buffer, row.line);
            }
        });
        EXPECT_EQ(outcome.out.rfind("The buffer too short\n", 0) == 0, row.result == -1);
    }
}

TEST_F(SmallFiles, FailuresAreReported)
{
    char buffer[16];
    const OwnedFile in(std::fopen("file", "r"));
    const OwnedFile directory(std::fopen("dir", "r"));
    const OwnedFile full(std::fopen("/dev/full", "w"));
    const OwnedFile out(std::tmpfile());
    const std::string missing = "No such file or directory";
    const struct {
        std::function<int()> call;
        std::string message;
        int error_number;
    } cases[] = {
        {[] { return create_file("file", 0600); }, "Unable to create file file: File exists\n",
         EEXIST},
        {[] { return truncate_or_create_file("x/y", 0600); },
         "Unable to truncate or create file x/y: " + missing + "\n", ENOENT},
        {[] { return rename_dir("dir", "dir2"); },
         "Directory rename error: target directory dir2 already exists.\n", EEXIST},
        {[] { return rename_dir("x", "y"); }, "Remaming x to y failed: " + missing + "\n", ENOENT},
        {[] { return is_dir_inside("dir", "file"); },
         "Unable to change dir file: Not a directory\n", ENOTDIR},
        {[&] { return read_line("x", buffer, 16); }, "Unable to open file x: " + missing + "\n",
         ENOENT},
        {[&] { return read_line("dir", buffer, 16); },
         "Unable to read line from file: Is a directory\n", EISDIR},
        {[&] { return copy_stream(directory.get(), out.get()); }, "Input stream error occurred.",
         EISDIR},
        {[&] { return copy_stream(in.get(), full.get()); }, "Writing to output stream failed.",
         ENOSPC},
        {[&] {
             std::fputc('x', full.get());
             std::fflush(full.get());
             return copy_stream(in.get(), full.get());
         },
         "Output stream error occurred.", ENOSPC},
    };
    for (const auto &row : cases) {
        const Outcome outcome = in_child([&] {
            errno = 0;
            EXPECT_EQ(row.call(), -1);
            EXPECT_EQ(errno, row.error_number);
        });
        EXPECT_EQ(outcome.out.rfind(row.message, 0), 0U) << outcome.out;
    }
    EXPECT_TRUE(exists("dir2") && exists("dir"));
}

TEST_F(SmallFiles, CopyStreamCopiesEverything)
{
    const std::string text(100001, 'c');
    write_file("large", text);
    {
        const OwnedFile in(std::fopen("large", "r"));
        const OwnedFile out(std::fopen("copy", "w"));
        EXPECT_EQ(copy_stream(in.get(), out.get()), 0);
        EXPECT_TRUE(read_file("copy") == text); // flushed
    }
}
