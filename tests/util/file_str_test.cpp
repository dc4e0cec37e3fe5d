#include "support.h"
#include "util/file_str.h"
#include "util/lock_file.h"

#include <boost/filesystem.hpp>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace fs = boost::filesystem;

namespace
{

// Doubles lines with a "d", drops those with an "x", abandons at an "!"; counts the lines.
int edit(const char *line, std::size_t length, std::FILE *new_file, void *context)
{
    const std::string text(line, length);
    ++*static_cast<int *>(context);
    const int copies =
        text.find('d') != std::string::npos ? 2 : text.find('x') == std::string::npos;
    for (int i = 0; i < copies; ++i) {
        std::fwrite(line, 1, length, new_file);
    }
    return text.find('!') == std::string::npos ? 0 : -1;
}

int add_one(const char *line, std::size_t, std::FILE *new_file, void *)
{
    std::fprintf(new_file, "%d\n", std::atoi(line) + 1);
    return 0;
}

} // namespace

class FileStr : public InTempDir
{
};

TEST_F(FileStr, EditsLinesOfAnyKind)
{
    const std::string nul("n\0d\n", 4);
    const struct {
        std::string text;
        std::string edited;
        int lines;
    } cases[] = {
        {"a\nd\nx\n", "a\nd\nd\n", 3},
        {"x\nlast", "last", 2},
        {"", "", 0},
        {std::string(20000, 'l') + "\nx", std::string(20000, 'l') + "\n", 2},
        {nul, nul + nul, 1},
    };
    fs::create_symlink("file", "link");
    for (const auto &row : cases) {
        write_file("file", row.text);
        ASSERT_EQ(::chown("file", 12, 34), 0);
        ASSERT_EQ(::chmod("file", 04640), 0);
        write_file("file.tmp", "left by an editor that was killed");
        int lines = 0;
        EXPECT_EQ(file_str("link", edit, &lines), 0);
        EXPECT_EQ(lines, row.lines);
        EXPECT_EQ(read_file("file"), row.edited);
        struct stat status = {};
        EXPECT_EQ(::lstat("file", &status), 0);
        EXPECT_EQ(status.st_mode, S_IFREG | 04640U);
        EXPECT_EQ(status.st_uid, 12U);
        EXPECT_EQ(status.st_gid, 34U);
        EXPECT_FALSE(exists("file.tmp"));
        EXPECT_TRUE(fs::is_symlink("link"));
    }
}

TEST_F(FileStr, AFailureLeavesTheOldFileWhole)
{
    const std::string large(100000, 'a');
    const auto limit_file_size = [] {
        ::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {5000, 5000};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    };
    const struct {
        std::string text;
        std::function<void()> prepare;
        std::string message;
    } cases[] = {
        {"a\n!\n", [] {}, ""},
        {large, limit_file_size,
         "cannot write a line to R/file.tmp\nSystem error 27: File too large\n"},
        {"a\n", [] { ::mkdir("file.tmp", 0700); },
         "file_str: Unable to create file R/file.tmp: File exists\n\nSystem error 17: File "
         "exists\n"},
        {"a\n", [] { EXPECT_EQ(::setuid(65534), 0); },
         "file_str: Unable to create file R/file.tmp: Permission denied\n\n"
         "System error 13: Permission denied\n"},
    };
    for (const auto &row : cases) {
        write_file("file", row.text);
        ::chmod(".", 0755);
        const Outcome outcome = in_child([&] {
            row.prepare();
            errno = 0;
            int lines = 0;
            EXPECT_EQ(file_str("file", edit, &lines), -1);
        });
        EXPECT_EQ(replace_all(outcome.out, root(), "R"), row.message);
        EXPECT_TRUE(read_file("file") == row.text);
        EXPECT_FALSE(fs::is_regular_file("file.tmp"));
        fs::remove("file.tmp");
    }
    const Outcome outcome = in_child([] { EXPECT_EQ(file_str("missing", edit, nullptr), -1); });
    EXPECT_EQ(outcome.out.rfind("file_str: Unable to stat file missing: No such file", 0), 0U);
}

TEST_F(FileStr, EditorsOfOneFileWaitForEachOther)
{
    write_file("file", "0\n");
    for (int i = 0; i < 4; ++i) {
        if (::fork() == 0) {
            for (int j = 0; j < 25; ++j) {
                file_str("file", add_one, nullptr);
            }
            ::_exit(0);
        }
    }
    while (::wait(nullptr) > 0) {
    }
    EXPECT_EQ(read_file("file"), "100\n");
}

class LockFile : public FileStr
{
protected:
    LockFile() { lock_files_dir = root().c_str(); }
};

TEST_F(LockFile, ExcludesOthersUntilItsHolderIsGone)
{
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    const pid_t holder = ::fork();
    if (holder == 0) {
        const int lock = take_lock_file("name", LockWait::wait);
        if (lock != -1 && ::write(ready[1], "x", 1) == 1) {
            ::pause();
        }
        ::_exit(1);
    }
    char byte = 0;
    ASSERT_EQ(::read(ready[0], &byte, 1), 1);
    EXPECT_EQ(take_lock_file("name", LockWait::return_at_once), -1);
    EXPECT_EQ(errno, EWOULDBLOCK);
    const int other = take_lock_file("other", LockWait::return_at_once);
    EXPECT_NE(other, -1);
    ::kill(holder, SIGKILL);
    const int lock = take_lock_file("name", LockWait::wait);
    EXPECT_NE(lock, -1);
    EXPECT_EQ(take_lock_file("name", LockWait::return_at_once), -1);
    EXPECT_EQ(release_lock_file("name", lock), 0);
    EXPECT_EQ(release_lock_file("name", take_lock_file("name", LockWait::return_at_once)), 0);
    release_lock_file("other", other);
    ::waitpid(holder, nullptr, 0);
    ::close(ready[0]);
    ::close(ready[1]);
}

TEST_F(LockFile, FailuresAreReported)
{
    const Outcome outcome = in_child([] {
        EXPECT_EQ(take_lock_file("../name", LockWait::wait), -1);
        EXPECT_EQ(errno, EINVAL);
        EXPECT_EQ(release_lock_file("name", -1), -1);
        lock_files_dir = "missing";
        EXPECT_EQ(take_lock_file("name", LockWait::wait), -1);
    });
    EXPECT_EQ(
        replace_all(outcome.out, root(), "R"),
        "Unable to open file \"R/../name\": Invalid argument.\nSystem error 22: Invalid "
        "argument\n"
        "An error occured during closing 'R/name' file: Bad file descriptor\n\nSystem error 9: "
        "Bad file descriptor\n"
        "Unable to open file \"missing/name\": No such file or directory.\nSystem error 2: No "
        "such file or directory\n");
}
