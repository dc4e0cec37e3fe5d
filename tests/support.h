#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

// A test that works in a temporary directory of its own, which is the working directory meanwhile.
class InTempDir : public testing::Test
{
protected:
    InTempDir();
    ~InTempDir() override;

    // The directory's absolute path.
    const std::string &root() const { return root_; }

private:
    std::string previous_;
    std::string root_;
};

// What a process wrote, and its exit status or the negated number of the signal that ended it.
struct Outcome {
    std::string out;
    std::string err;
    int status = 0;
};

// Runs the function in a child process, where returning is status 0. The test fails if an
// expectation in it does, or if it ends in another way than expected.
Outcome in_child(const std::function<void()> &function, int expected_status = 0);

// Runs a program, found on PATH, in the working directory.
Outcome run_program(const std::vector<std::string> &words);

std::string read_file(const std::string &path);

// Writes the file, with the directories above it.
void write_file(const std::string &path, const std::string &text);
void write_script(const std::string &path, const std::string &body);

// The text with every `from` replaced.
std::string replace_all(std::string text, const std::string &from, const std::string &to);

bool exists(const std::string &path);
