#include "support.h"
#include "util/files.h"
#include "util/owned.h"

class SmallFiles : public InTempDir
{
protected:
    SmallFiles()
    {
        fs::create_directory("dir");
        write_file("file", "first\nsecond\n");
    }
};

TEST_F(SmallFiles, AreMadeAndFound)
{
    EXPECT_TRUE(truncate_or_create_file("file", 0600) == 0 && truncate_or_create_file("new", 0600) == 0);
    EXPECT_EQ(read_file("file"), "");
    EXPECT_EQ(create_file("newer", 0640), 0);
    EXPECT_EQ(attributes("new") + attributes("newer"), "0:0 6000:0 640");
    EXPECT_TRUE(file_exists("new"));
    EXPECT_FALSE(file_exists("dir") || file_exists("x"));
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
    const std::string large(100001, 'c');
    write_file("large", large);
    const OwnedFile in(std::fopen("large", "r"));
    const OwnedFile out(std::fopen("copy", "w"));
    EXPECT_EQ(copy_stream(in.get(), out.get()), 0);
    EXPECT_TRUE(read_file("copy") == large); // flushed
}

TEST_F(SmallFiles, FailuresAreReported)
{
    char buffer[16];
    const OwnedFile in(std::fopen("file", "r"));
    const OwnedFile directory(std::fopen("dir", "r"));
    const OwnedFile full(std::fopen("/dev/full", "w"));
    const OwnedFile out(std::tmpfile());
    const std::tuple<std::function<int()>, std::string, int> cases[] = {
        {[] { return create_file("file", 0600); }, "Unable to create file file: %", EEXIST},
        {[] { return truncate_or_create_file("x/y", 0600); }, "Unable to truncate or create file x/y: %", ENOENT},
        {[&] { return read_line("x", buffer, 16); }, "Unable to open file x: %\n", ENOENT},
        {[&] { return read_line("dir", buffer, 16); }, "Unable to read line from file: %\n", EISDIR},
        {[&] { return read_line("file", buffer, 5); }, "The buffer too short\n", ERANGE},
        {[&] { return copy_stream(directory.get(), out.get()); }, "Input stream error occurred.", EISDIR},
        {[&] { return copy_stream(in.get(), full.get()); }, "Writing to output stream failed.", ENOSPC},
    };
    for (const auto &[call, message, error] : cases) {
        expect_reports({{[&call = call] { EXPECT_EQ(call(), -1); }, message, error}});
    }
}
