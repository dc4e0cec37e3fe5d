#include "support.h"
#include "util/directories.h"
#include "util/files.h"
#include "util/owned.h"

using SmallFiles = InTempDir;

TEST_F(SmallFiles, FilesAndDirectories)
{
    run_script("mkdir -p dir/sub dirs names; touch names/ReadMe names/README; ln -s dir/sub link; echo text >file");
    EXPECT_TRUE(truncate_or_create_file("file", 0600) == 0 && create_file("new", 0640) == 0);
    EXPECT_EQ(read_file("file") + attributes("new"), "0:0 640");
    EXPECT_TRUE(file_exists("new") && dir_exists("link"));
    EXPECT_FALSE(file_exists("dir") || dir_exists("new") || file_exists("x") || dir_exists("x"));
    EXPECT_TRUE(rename_dir("dirs", "dir3") == 0 && dir_exists("dir3") && !exists("dirs"));
    EXPECT_TRUE(is_dir_inside("link", "dir") == 1 && is_dir_inside("dir", "/") == 1);
    EXPECT_TRUE(is_dir_inside("dir3", "dir") == 0 && is_dir_inside("dir", "dir/sub") == 0);
    EXPECT_STREQ(Malloced<char>(find_entry("names", "README")).get(), "names/README");
    EXPECT_STREQ(Malloced<char>(find_entry("names", "ReadMe")).get(), "names/ReadMe");
    EXPECT_TRUE(file_exists(Malloced<char>(find_entry("names", "readme")).get()));
    EXPECT_TRUE(find_entry("names", "read") == nullptr && errno == ENOENT);
}

TEST_F(SmallFiles, LinesAndStreamsAndTheirFailures)
{
    char buffer[16] = "";
    for (const auto &[text, line] : {std::pair("first\nsecond\n", "first"), {"last", "last"}, {"", ""}}) {
        write_file("line", text);
        EXPECT_EQ(read_line("line", buffer, std::string(line).size() + 1), 0);
        EXPECT_STREQ(buffer, line);
    }
    write_file("large", std::string(100001, 'c'));
    const OwnedFile in(std::fopen("large", "r"));
    const OwnedFile out(std::fopen("copy", "w"));
    EXPECT_EQ(copy_stream(in.get(), out.get()), 0);
    EXPECT_TRUE(read_file("copy") == read_file("large")); // flushed
    const OwnedFile full(std::fopen("/dev/full", "w"));
    std::rewind(in.get());
    expect_reports({
        {[] { EXPECT_EQ(create_file("line", 0600), -1); }, "Unable to create file line: %", EEXIST},
        {[&] { EXPECT_EQ(read_line("large", buffer, 16), -1); }, "The buffer too short\n", ERANGE},
        {[&] { EXPECT_EQ(copy_stream(in.get(), full.get()), -1); }, "Writing to output stream failed.", ENOSPC},
    });
}
