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

}

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

Outcome in_child(const std::function<void()> &function)
{
    std::FILE *const out = std::tmpfile();
    std::FILE *const err = std::tmpfile();
    std::fflush(nullptr);
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::dup2(::fileno(out), 1);
        ::dup2(::fileno(err), 2);
        function();
        std::fflush(nullptr);
        ::_exit(testing::Test::HasFailure() ? failed_expectation : 0);
    }
    int status = 0;
    ::waitpid(pid, &status, 0);
    const auto text_of = [](std::FILE *file) {
        std::string text;
        std::rewind(file);
        for (int c = std::getc(file); c != EOF; c = std::getc(file)) {
            text += static_cast<char>(c);
        }
        std::fclose(file);
        return text;
    };
    Outcome outcome = {text_of(out), text_of(err),
                       WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status)};
    EXPECT_NE(outcome.status, failed_expectation) << outcome.out;
    return outcome;
}

Outcome run_program(const std::vector<std::string> &words)
{
    return in_child([&] {
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
