#include "support.h"
#include "util/file_str.h"

namespace
{

// Drops lines with an "x", abandons at an "!".
int edit(const char *line, std::size_t length, std::FILE *new_file, void * /*context*/)
{
    if (std::string(line, length).find('x') == std::string::npos) {
        std::fwrite(line, 1, length, new_file);
    }
    return *line == '!' ? -1 : 0;
}

} // namespace

using FileStr = InTempDir;

TEST_F(FileStr, EditsLinesOfAnyKind)
{
    const std::string long_or_nul = std::string(20000, 'l') + "\nn" + std::string(1, '\0') + "n\n";
    fs::create_symlink("file", "link");
    for (const auto &[text, edited] : {std::pair(long_or_nul + "x\nlast", long_or_nul + "last"), {"", ""}}) {
        write_file("file", text);
        ASSERT_EQ(::chown("file", 12, 34) + ::chmod("file", 04640), 0);
        write_file("file.tmp", "left by an editor that was killed");
        EXPECT_EQ(file_str("link", edit, nullptr), 0);
        EXPECT_EQ(read_file("file"), edited);
        EXPECT_EQ(attributes("file"), "12:34 4640");
        EXPECT_TRUE(fs::is_symlink("link") && !exists("file.tmp"));
    }
}

TEST_F(FileStr, AFailureLeavesTheOldFileWhole)
{
    const std::string text(6000, 'a'); // fits the buffer
    const auto edit_within_limit = [] {
        const rlimit limit = {5000, RLIM_INFINITY};
        ::signal(SIGXFSZ, SIG_IGN);
        ::setrlimit(RLIMIT_FSIZE, &limit);
        EXPECT_EQ(file_str("file", edit, nullptr), -1);
    };
    write_file("file", text);
    expect_reports({
        {edit_within_limit, "cannot write a line to " + root() + "/file.tmp", EFBIG},
        {[] { EXPECT_EQ(file_str("missing", edit, nullptr), -1); }, "file_str: Unable to stat file missing: %\n",
         ENOENT},
    });
    EXPECT_TRUE(read_file("file") == text && !exists("file.tmp"));
    write_file("file", "a\n!\n");
    EXPECT_EQ(file_str("file", edit, nullptr), -1);
    EXPECT_TRUE(read_file("file") == "a\n!\n" && !exists("file.tmp"));
}
