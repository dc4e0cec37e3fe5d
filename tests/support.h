#pragma once

// What nearly every test needs.
#include <boost/filesystem.hpp>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

namespace fs = boost::filesystem;

// A test that works in a temporary directory of its own, which is the working directory meanwhile.
class InTempDir : public testing::Test
{
protected:
    InTempDir();
    ~InTempDir() override;

    // The directory's absolute path.
    const std::string &root() const { return root_; }

private:
    std::string root_;
};

// What a process wrote, and its exit status or the negated number of the signal that ended it.
struct Outcome {
    std::string out;
    std::string err;
    int status = 0;
};

void expect_outcome(const Outcome &outcome, const std::string &out, const std::string &err, int status = 0);

// Runs the function in a child process, with errno 0 at its beginning; returning is status 0. The test fails if an
// expectation in it does, or if it ends in another way than expected.
Outcome in_child(const std::function<void()> &function, int expected_status = 0);

// What a call in a child process reports, which is the same on both streams.
std::string reported(const std::function<void()> &call, int expected_status = 0);

// A call and what it reports: in the message "%" stands for the text of the error number; the line that tells errno
// follows, and the call leaves errno at that number, unless it is 0 or the report ends the process.
struct Report {
    std::function<void()> call;
    std::string message;
    int error = 0;
    int status = 0;
};
void expect_reports(const std::vector<Report> &reports);

// The call, as a user without rights.
std::function<void()> as_nobody(const std::function<void()> &call);

// The line of a report that tells errno.
std::string system_error(int error_number);

// ": ", the text of the error number and the line of the report that tells errno, after a blank one.
std::string reason(int error_number);

// An argument vector as the routines that start programs take it.
struct Arguments {
    explicit Arguments(std::vector<std::string> all) : words(std::move(all))
    {
        for (std::string &word : words) {
            pointers.push_back(word.data());
        }
        pointers.push_back(nullptr);
    }
    Arguments(const Arguments &) = delete;

    char *const *data() const { return pointers.data(); }

    std::vector<std::string> words;
    std::vector<char *> pointers;
};

inline Arguments shell_arguments(const std::string &script)
{
    return Arguments({"/bin/sh", "-c", script});
}

// Runs a program, found on PATH, in the working directory. It gets the standard streams only.
Outcome run_program(const std::vector<std::string> &words);

// Runs a shell script, up to its first command that fails, with the argument as $0.
Outcome run_script(const std::string &script, const std::string &argument = "");

// Leaves this process no free descriptor; makes it nobody's, and one that may not fork.
void use_up_descriptors();
void forbid_children();

// Has a shell script begin with many signals to who has started it, which interrupt this process's system calls.
std::string after_signals(const std::string &script);

// The lowest free descriptor: it tells whether one has been left open below it.
int lowest_free_descriptor();

std::string read_file(const std::string &path);

// Writes the file, with the directories above it.
void write_file(const std::string &path, const std::string &text);
void write_script(const std::string &path, const std::string &body);

// Whether there is anything at the path; links are not followed.
bool exists(const std::string &path);

// "<owner>:<group> <mode in octal>"; links are not followed.
std::string attributes(const std::string &path);

// What changes when something at the path is written or replaced; links are not followed.
std::string identity(const std::string &path);

// The text with every `from` replaced.
std::string replace_all(const std::string &text, const std::string &from, const std::string &to);

testing::AssertionResult contains(const std::string &text, const std::string &part);
