#include "support.h"

#include <boost/algorithm/string/replace.hpp>

#include <linux/close_range.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <utility>

namespace
{

std::string contents(std::FILE *file)
{
    std::string text(static_cast<std::size_t>(::lseek(::fileno(file), 0, SEEK_END)), '\0');
    EXPECT_EQ(::pread(::fileno(file), text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
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
        try {
            errno = 0;
            function();
        } catch (const std::exception &exception) { // it must not come out of the test
            ADD_FAILURE() << exception.what();
        }
        std::fflush(nullptr);
        ::_exit(testing::Test::HasFailure() ? 99 : 0);
    }
    int status = 0;
    ::waitpid(pid, &status, 0);
    return {contents(out), contents(err), WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status)};
}

bool resources_used_up = false;

} // namespace

// Asked by LeakSanitizer, where there is one: its look for leaks takes a process and descriptors.
extern "C" int __lsan_is_turned_off() // NOLINT(clang-diagnostic-reserved-identifier)
{
    return resources_used_up ? 1 : 0;
}

InTempDir::InTempDir() : root_((fs::canonical(fs::temp_directory_path()) / fs::unique_path()).string())
{
    fs::create_directory(root_);
    fs::current_path(root_);
}

InTempDir::~InTempDir()
{
    fs::current_path("..");
    fs::remove_all(root_);
}

void expect_outcome(const Outcome &outcome, const std::string &out, const std::string &err, int status)
{
    EXPECT_EQ(outcome.out, out);
    EXPECT_EQ(outcome.err, err);
    EXPECT_EQ(outcome.status, status);
}

Outcome in_child(const std::function<void()> &function, int expected_status)
{
    Outcome outcome = capture(function);
    EXPECT_EQ(outcome.status, expected_status) << outcome.out << outcome.err;
    return outcome;
}

std::string reported(const std::function<void()> &call, int expected_status)
{
    const Outcome outcome = in_child(call, expected_status);
    EXPECT_EQ(outcome.out, outcome.err);
    return outcome.out;
}

void expect_reports(const std::vector<Report> &reports)
{
    for (const Report &report : reports) {
        const auto call = [&] {
            report.call();
            EXPECT_TRUE(report.error == 0 || errno == report.error) << errno;
        };
        const std::string message = replace_all(report.message, "%", std::strerror(report.error));
        const bool has_reason = !message.empty() && report.error != 0;
        EXPECT_EQ(reported(call, report.status), message + (has_reason ? system_error(report.error) : ""));
    }
}

std::function<void()> as_nobody(const std::function<void()> &call)
{
    return [=] {
        ASSERT_EQ(::setuid(65534), 0);
        call();
    };
}

std::string system_error(int error_number)
{
    return "\nSystem error " + std::to_string(error_number) + ": " + std::strerror(error_number) + "\n";
}

std::string reason(int error_number)
{
    return std::string(": ") + std::strerror(error_number) + "\n" + system_error(error_number);
}

Outcome run_program(const std::vector<std::string> &words)
{
    return capture([&] {
        ::close_range(3, ~0U, CLOSE_RANGE_CLOEXEC);
        ::execvp(words[0].c_str(), Arguments(words).data());
        ::_exit(127);
    });
}

Outcome run_script(const std::string &script, const std::string &argument)
{
    return run_program({"sh", "-ec", script, argument});
}

void use_up_descriptors()
{
    resources_used_up = true;
    rlimit limit = {};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = static_cast<rlim_t>(lowest_free_descriptor());
    EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
}

void forbid_children()
{
    const rlimit none = {0, 0};
    resources_used_up = true;
    EXPECT_EQ(::setuid(65534) + ::setrlimit(RLIMIT_NPROC, &none), 0);
}

std::string after_signals(const std::string &script)
{
    struct sigaction action = {};
    action.sa_handler = [](int) {
    };
    EXPECT_EQ(::sigaction(SIGUSR1, &action, nullptr), 0);
    return "for i in 1 2 3 4 5 6 7 8 9; do kill -USR1 $PPID; (:); done; " + script;
}

int lowest_free_descriptor()
{
    const int descriptor = ::dup(STDIN_FILENO);
    ::close(descriptor);
    return descriptor;
}

std::string read_file(const std::string &path)
{
    std::ifstream file(path);
    EXPECT_TRUE(file.good()) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

void write_file(const std::string &path, const std::string &text)
{
    if (const fs::path directory = fs::path(path).parent_path(); !directory.empty()) {
        fs::create_directories(directory);
    }
    std::ofstream(path) << text;
}

void write_script(const std::string &path, const std::string &body)
{
    write_file(path, "#!/bin/sh\n" + body);
    fs::permissions(path, fs::perms::owner_all);
}

bool exists(const std::string &path)
{
    return fs::symlink_status(path).type() != fs::file_not_found;
}

std::string attributes(const std::string &path)
{
    struct stat status = {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
    char text[64];
    std::snprintf(text, sizeof text, "%u:%u %o", status.st_uid, status.st_gid, status.st_mode & 07777U);
    return text;
}

std::string identity(const std::string &path)
{
    return run_program({"stat", "--format", "%i %y", path}).out;
}

std::string replace_all(const std::string &text, const std::string &from, const std::string &to)
{
    return boost::replace_all_copy(text, from, to);
}

testing::AssertionResult contains(const std::string &text, const std::string &part)
{
    return testing::AssertionResult(text.find(part) != std::string::npos) << part << " in " << text;
}
