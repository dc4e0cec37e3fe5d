#include "support.h"

#include <boost/filesystem.hpp>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

namespace fs = boost::filesystem;

namespace
{

constexpr int failed_expectation = 99;
constexpr int escaped_exception = 98;

// Calls the function, in a child process. The exception of a child must not come out of the test.
int call(const std::function<void()> &function)
{
    try {
        function();
        std::fflush(nullptr);
        return testing::Test::HasFailure() ? failed_expectation : 0;
    } catch (...) {
        return escaped_exception;
    }
}

std::string contents(std::FILE *file)
{
    std::string text;
    std::rewind(file);
    for (int character = std::getc(file); character != EOF; character = std::getc(file)) {
        text += static_cast<char>(character);
    }
    std::fclose(file);
    return text;
}

Outcome capture(const std::function<void()> &function)
{
    std::FILE *const out = std::tmpfile();
    std::FILE *const err = std::tmpfile();
    std::fflush(nullptr);
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::dup2(::fileno(out), STDOUT_FILENO);
        ::dup2(::fileno(err), STDERR_FILENO);
        ::_exit(call(function));
    }
    int status = 0;
    ::waitpid(pid, &status, 0);
    return {contents(out), contents(err),
            WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status)};
}

} // namespace

InTempDir::InTempDir() : previous_(fs::current_path().string())
{
    std::string pattern = (fs::temp_directory_path() / "statistics_run.XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("no temporary directory");
    }
    root_ = fs::canonical(pattern).string();
    fs::current_path(root_);
}

InTempDir::~InTempDir()
{
    fs::current_path(previous_);
    fs::remove_all(root_);
}

Outcome in_child(const std::function<void()> &function, int expected_status)
{
    Outcome outcome = capture(function);
    EXPECT_EQ(outcome.status, expected_status) << outcome.out << outcome.err;
    return outcome;
}

Outcome run_program(const std::vector<std::string> &words)
{
    return capture([&] {
        std::vector<char *> argv;
        argv.reserve(words.size() + 1);
        for (const std::string &word : words) {
            argv.push_back(const_cast<char *>(word.c_str()));
        }
        argv.push_back(nullptr);
        ::execvp(argv[0], argv.data());
        ::_exit(127);
    });
}

std::string read_file(const std::string &path)
{
    std::ifstream file(path);
    EXPECT_TRUE(file.good()) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

void write_file(const std::string &path, const std::string &text)
{
    if (fs::path(path).has_parent_path()) {
        fs::create_directories(fs::path(path).parent_path());
    }
    std::ofstream file(path);
    file << text;
}

void write_script(const std::string &path, const std::string &body)
{
    write_file(path, "#!/bin/sh\n" + body);
    fs::permissions(path, fs::perms::owner_all);
}

std::string replace_all(std::string text, const std::string &from, const std::string &to)
{
    for (std::size_t at = text.find(from); at != std::string::npos;
         at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
    return text;
}

bool exists(const std::string &path)
{
    return fs::symlink_status(path).type() != fs::file_not_found;
}
