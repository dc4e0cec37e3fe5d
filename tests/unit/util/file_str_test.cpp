#include "support.h"
#include "util/file_str.h"

#include <sys/resource.h>

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
    const std::string temporary = root() + "/file.tmp";
    const std::tuple<std::string, std::function<void()>, std::string, int> cases[] = {
        {"a\n!\n", [] {}, "", 0},
        {std::string(6000, 'a'), limit_file_size, "cannot write a line to " + temporary, EFBIG},
        {"a\n", [] { EXPECT_EQ(::chmod(".", 0777) + ::setuid(65534), 0); },
         "file_str: Unable to set owner and mode of file " + temporary + ": %\n", EPERM},
    };
    for (const auto &[text, prepare, message, error] : cases) {
        write_file("file", text);
        const auto call = [&prepare = prepare] {
            prepare();
            errno = 0;
            EXPECT_EQ(file_str("file", edit, nullptr), -1);
        };
        expect_reports({{call, message, error}});
        EXPECT_TRUE(read_file("file") == text && !exists("file.tmp"));
    }
}
