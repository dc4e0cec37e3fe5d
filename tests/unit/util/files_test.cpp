#include "support.h"
#include "util/directories.h"
#include "util/files.h"
#include "util/owned.h"

using SmallFiles = InTempDir;

TEST_F(SmallFiles, FilesAndDirectories)
{
    fs::create_directories("dir/sub");
    fs::create_directory("dirs");
    fs::create_symlink("dir/sub", "link");
    write_file("file", "text");
    EXPECT_TRUE(truncate_or_create_file("file", 0600) == 0 && truncate_or_create_file("new", 0600) == 0);
    EXPECT_EQ(read_file("file"), "");
    EXPECT_EQ(create_file("newer", 0640), 0);
    EXPECT_EQ(attributes("new") + attributes("newer"), "0:0 6000:0 640");
    EXPECT_TRUE(file_exists("new") && dir_exists("link") && dir_exists("dir"));
    EXPECT_FALSE(file_exists("dir") || dir_exists("new") || file_exists("x") || dir_exists("x"));
    EXPECT_TRUE(rename_dir("dirs", "dir3") == 0 && dir_exists("dir3") && !exists("dirs"));
    EXPECT_TRUE(is_dir_inside("link", "dir") == 1 && is_dir_inside("dir", "dir") == 1);
    EXPECT_TRUE(is_dir_inside("dir", "/") == 1 && is_dir_inside(".", "dir/..") == 1);
    EXPECT_TRUE(is_dir_inside("dir3", "dir") == 0 && is_dir_inside("dir", "dir/sub") == 0);
}

TEST_F(SmallFiles, FindEntryIgnoresCase)
{
    write_file("names/ReadMe", "");
    write_file("names/README", "");
    EXPECT_STREQ(Malloced<char>(find_entry("names", "README")).get(), "names/README");
    EXPECT_STREQ(Malloced<char>(find_entry("names", "ReadMe")).get(), "names/ReadMe");
    EXPECT_TRUE(file_exists(Malloced<char>(find_entry("names", "readme")).get()));
    EXPECT_TRUE(find_entry("names", "read") == nullptr && errno == ENOENT);
    EXPECT_TRUE(find_entry("names/README", "read") == nullptr && errno == ENOTDIR);
}

TEST_F(SmallFiles, LinesAndStreams)
{
    const std::tuple<std::string, std::size_t, const char *> cases[] = {
        {"first\nsecond\n", 6, "first"}, {"last", 5, "last"}, {"\n", 1, ""}, {"", 1, ""}};
    char buffer[16] = "";
    for (const auto &[text, size, line] : cases) {
        write_file("line", text);
        EXPECT_EQ(read_line("line", buffer, size), 0);
        EXPECT_STREQ(buffer, line);
    }
    write_file("large", std::string(100001, 'c'));
    const OwnedFile in(std::fopen("large", "r"));
    const OwnedFile out(std::fopen("copy", "w"));
    EXPECT_EQ(copy_stream(in.get(), out.get()), 0);
    EXPECT_TRUE(read_file("copy") == read_file("large")); // flushed
}

TEST_F(SmallFiles, FailuresAreReported)
{
    char buffer[16];
    write_file("file", "first\nsecond\n");
    fs::create_directories("dir");
    fs::create_directory("dirs");
    const OwnedFile in(std::fopen("file", "r"));
    const OwnedFile directory(std::fopen("dir", "r"));
    const OwnedFile full(std::fopen("/dev/full", "w"));
    const OwnedFile out(std::tmpfile());
    const auto fails = [](const std::function<int()> &call) {
        return [=] {
            EXPECT_EQ(call(), -1);
        };
    };
    expect_reports({
        {fails([] { return create_file("file", 0600); }), "Unable to create file file: %", EEXIST},
        {fails([] { return truncate_or_create_file("x/y", 0600); }), "Unable to truncate or create file x/y: %",
         ENOENT},
        {fails([] { return rename_dir("dir", "dirs"); }),
         "Directory rename error: target directory dirs already exists.\n", EEXIST},
        {fails([] { return rename_dir("file", "y"); }), "Remaming file to y failed: %\n", ENOTDIR},
        {fails([] { return is_dir_inside("dir", "file"); }), "Unable to change dir file: %\n", ENOTDIR},
        {fails([&] { return read_line("x", buffer, 16); }), "Unable to open file x: %\n", ENOENT},
        {fails([&] { return read_line("dir", buffer, 16); }), "Unable to read line from file: %\n", EISDIR},
        {fails([&] { return read_line("file", buffer, 5); }), "The buffer too short\n", ERANGE},
        {fails([&] { return copy_stream(directory.get(), out.get()); }), "Input stream error occurred.", EISDIR},
        {fails([&] { return copy_stream(in.get(), full.get()); }), "Writing to output stream failed.", ENOSPC},
    });
}
