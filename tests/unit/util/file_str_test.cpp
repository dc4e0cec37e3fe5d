#include "support.h"
#include "util/file_str.h"

#include <sys/resource.h>

namespace
{

// Drops lines with an "x", abandons at an "!"; counts the lines.
int edit(const char *line, std::size_t length, std::FILE *new_file, void *lines)
{
    ++*static_cast<int *>(lines);
    if (std::string(line, length).find('x') == std::string::npos) {
        std::fwrite(line, 1, length, new_file);
    }
    return *line == '!' ? -1 : 0;
}

void limit_file_size()
{
    const rlimit limit = {5000, RLIM_INFINITY};
    ::signal(SIGXFSZ, SIG_IGN);
    ::setrlimit(RLIMIT_FSIZE, &limit);
}

} // namespace

using FileStr = InTempDir;

TEST_F(FileStr, EditsLinesOfAnyKind)
{
    const std::string nul("n\0n\n", 4);
    const std::tuple<std::string, std::string, int> cases[] = {
        {"a\nx\nb\n", "a\nb\n", 3},
        {"x\nlast", "last", 2},
        {"", "", 0},
        {std::string(20000, 'l') + "\nx", std::string(20000, 'l') + "\n", 2},
        {nul, nul, 1},
    };
    fs::create_symlink("file", "link");
    for (const auto &[text, edited, line_count] : cases) {
        write_file("file", text);
        ASSERT_EQ(::chown("file", 12, 34) + ::chmod("file", 04640), 0);
        write_file("file.tmp", "left by an editor that was killed");
        int lines = 0;
        EXPECT_EQ(file_str("link", edit, &lines), 0);
        EXPECT_EQ(lines, line_count);
        EXPECT_EQ(read_file("file"), edited);
        EXPECT_EQ(attributes("file"), "12:34 4640");
        EXPECT_TRUE(fs::is_symlink("link") && !exists("file.tmp"));
    }
}

TEST_F(FileStr, AFailureLeavesTheOldFileWhole)
{
    const std::string temporary = root() + "/file.tmp";
    const std::tuple<std::string, std::function<void()>, std::string, int> cases[] = {
        {"a\n!\n", [] {}, "", 0},
        {std::string(100000, 'a'), limit_file_size, "cannot write a line to " + temporary, EFBIG},
        {std::string(6000, 'a'), limit_file_size, "cannot write a line to " + temporary, EFBIG}, // in the buffer
        {"a\n", [] { ::mkdir("file.tmp", 0700); }, "file_str: Unable to create file " + temporary + ": %\n", EEXIST},
        {"a\n", [] { fs::remove("file"); }, "file_str: Unable to stat file file: %\n", ENOENT},
        {"a\n", [] { EXPECT_EQ(::chmod(".", 0777) + ::setuid(65534), 0); },
         "file_str: Unable to set owner and mode of file " + temporary + ": %\n", EPERM},
        {"a\n", [] { EXPECT_EQ(::chmod("file", 0) + ::setuid(65534), 0); },
         "file_str: Unable to open file " + root() + "/file: %\n", EACCES},
    };
    for (const auto &[text, prepare, message, error] : cases) {
        write_file("file", text);
        const auto call = [&prepare = prepare] {
            int lines = 0;
            prepare();
            errno = 0;
            EXPECT_EQ(file_str("file", edit, &lines), -1);
        };
        expect_reports({{call, message, error}});
        EXPECT_TRUE(!exists("file") || read_file("file") == text);
        EXPECT_FALSE(fs::is_regular_file("file.tmp"));
        fs::remove("file.tmp");
    }
}

TEST_F(FileStr, ANewFileOfAnotherEditorIsLeftToIt)
{
    const LineEditor lose_new_file = [](const char *, std::size_t, std::FILE *, void *) {
        fs::remove("file.tmp");
        write_file("file.tmp", "another's");
        return 0;
    };
    write_file("file", "a\n");
    expect_reports({{[&] { EXPECT_EQ(file_str("file", lose_new_file, nullptr), -1); },
                     "Unable to rename file " + root() + "/file.tmp: %\n", ESTALE}});
    EXPECT_EQ(read_file("file") + read_file("file.tmp"), "a\nanother's");
}
