#include "support.h"
#include "util/file_str.h"
#include "util/lock_file.h"

#include <sys/resource.h>
#include <sys/wait.h>

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

// Calls the function 25 times in each of four processes.
void call_from_four_processes(const std::function<void()> &function)
{
    for (int process = 0; process < 4; ++process) {
        if (::fork() == 0) {
            for (int i = 0; i < 25; ++i) {
                function();
            }
            ::_exit(0);
        }
    }
    while (::wait(nullptr) > 0) {
    }
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
        ASSERT_EQ(::chown("file", 12, 34), 0);
        ASSERT_EQ(::chmod("file", 04640), 0);
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
    const auto limit_file_size = [] {
        ::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {5000, RLIM_INFINITY};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    };
    const std::string not_created = "file_str: Unable to create file @/file.tmp: ";
    const std::tuple<std::string, std::function<void()>, std::string> cases[] = {
        {"a\n!\n", [] {}, ""},
        {std::string(100000, 'a'), limit_file_size, "cannot write a line to @/file.tmp" + system_error(EFBIG)},
        {std::string(6000, 'a'), limit_file_size, "cannot write a line to @/file.tmp" + system_error(EFBIG)},
        {"a\n", [] { ::mkdir("file.tmp", 0700); }, not_created + "File exists\n" + system_error(EEXIST)},
        {"a\n", [] { EXPECT_EQ(::setuid(65534), 0); }, not_created + "Permission denied\n" + system_error(EACCES)},
        {"a\n", [] { fs::remove("file"); }, "file_str: Unable to stat file file" + reason(ENOENT)},
        {"a\n", [] { EXPECT_EQ(::chmod(".", 0777) + ::setuid(65534), 0); },
         "file_str: Unable to set owner and mode of file @/file.tmp" + reason(EPERM)},
        {"a\n", [] { EXPECT_EQ(::chmod("file", 0) + ::setuid(65534), 0); },
         "file_str: Unable to open file @/file" + reason(EACCES)},
    };
    ::chmod(".", 0755);
    for (const auto &[text, prepare, message] : cases) {
        write_file("file", text);
        const auto call = [&prepare = prepare] {
            int lines = 0;
            prepare();
            errno = 0;
            EXPECT_EQ(file_str("file", edit, &lines), -1);
        };
        EXPECT_EQ(replace_all(reported(call), root(), "@"), message);
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
    EXPECT_EQ(reported([&] { EXPECT_EQ(file_str("file", lose_new_file, nullptr), -1); }),
              "Unable to rename file " + root() + "/file.tmp" + reason(ESTALE));
    EXPECT_EQ(read_file("file") + read_file("file.tmp"), "a\nanother's");
}

TEST_F(FileStr, EditorsOfOneFileWaitForEachOther)
{
    const LineEditor add_one = [](const char *line, std::size_t, std::FILE *new_file, void *) {
        return std::fprintf(new_file, "%d\n", std::stoi(line) + 1) > 0 ? 0 : -1;
    };
    write_file("file", "0\n");
    call_from_four_processes([&] { file_str("file", add_one, nullptr); });
    EXPECT_EQ(read_file("file"), "100\n");
}

class LockFile : public InTempDir
{
protected:
    LockFile() { lock_files_dir = "."; }
};

TEST_F(LockFile, HoldersWaitForEachOther)
{
    write_file("file", "0");
    call_from_four_processes([] {
        const int lock = take_lock_file("name", LockWait::wait);
        write_file("file", std::to_string(std::stoi(read_file("file")) + 1));
        release_lock_file("name", lock);
    });
    EXPECT_EQ(read_file("file"), "100");
}

TEST_F(LockFile, OnlyTheLockOfThatNameIsHeldUntilItsRelease)
{
    const int lock = take_lock_file("name", LockWait::return_at_once);
    EXPECT_TRUE(take_lock_file("name", LockWait::return_at_once) == -1 && errno == EWOULDBLOCK);
    EXPECT_EQ(release_lock_file("other", take_lock_file("other", LockWait::return_at_once)), 0);
    EXPECT_EQ(release_lock_file("name", lock), 0);
    EXPECT_EQ(release_lock_file("name", take_lock_file("name", LockWait::return_at_once)), 0);
}

TEST_F(LockFile, TheLockGoesWithAHolderThatIsKilled)
{
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    const pid_t holder = ::fork();
    if (holder == 0) {
        const int lock = take_lock_file("name", LockWait::return_at_once);
        ::_exit(lock != -1 && ::write(ready[1], "x", 1) == 1 ? ::pause() : 1);
    }
    char byte = 0;
    EXPECT_EQ(::read(ready[0], &byte, 1), 1);
    EXPECT_EQ(take_lock_file("name", LockWait::return_at_once), -1);
    ::kill(holder, SIGKILL);
    EXPECT_EQ(release_lock_file("name", take_lock_file("name", LockWait::wait)), 0);
    ::waitpid(holder, nullptr, 0);
    ::close(ready[0]);
    ::close(ready[1]);
}

TEST_F(LockFile, FailuresAreReported)
{
    const auto calls = [] {
        EXPECT_EQ(take_lock_file("../name", LockWait::wait), -1);
        EXPECT_EQ(release_lock_file("name", -1), -1);
        lock_files_dir = "missing";
        EXPECT_EQ(take_lock_file("name", LockWait::wait), -1);
    };
    EXPECT_EQ(reported(calls), "Unable to open file \"./../name\": Invalid argument." + system_error(EINVAL) +
                                   "An error occured during closing './name' file" + reason(EBADF) +
                                   "Unable to open file \"missing/name\": No such file or directory." +
                                   system_error(ENOENT));
}
