#include "exec/ExecCmd.h"

#include "exec/shell_escape.h"

#include <boost/format.hpp>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

namespace korvo
{

namespace
{

std::string streamSection(const char *name, const std::string &text)
{
    if (text.empty()) {
        return text;
    }
    const char *const line_end = text.back() == '\n' ? "" : "\n";
    return (boost::format("%1% is\n%2%%3%") % name % text % line_end).str();
}

std::string streamSummary(const std::string &name, const std::string &text)
{
    if (text.empty()) {
        return " \nNo output on " + name + " were performed by the utility";
    }
    return " \nThe output on " + name + " was: \n" + text;
}

} // namespace

CmdLine::~CmdLine() = default;

const ExKind ExecCmd::Failed = {"ExecCmd::ExFailed",
                                "Execution of %1% failed with return code %2%.\n%3%%4%%5%", 30};

ExecCmd::ArgumentVector::ArgumentVector(const std::string &first)
{
    add(first);
}

ExecCmd::ArgumentVector::~ArgumentVector()
{
    for (char *const entry : entries_) {
        std::free(entry);
    }
}

void ExecCmd::ArgumentVector::add(const std::string &argument)
{
    entries_.push_back(nullptr);
    char *&entry = entries_[entries_.size() - 2];
    entry = ::strdup(argument.c_str());
    if (entry == nullptr) {
        entries_.pop_back();
        throw std::bad_alloc();
    }
}

ExecCmd::ExecCmd(const std::string &path) : arguments_(path), path_(path) {}

ExecCmd::~ExecCmd() = default;

ExecCmd &ExecCmd::addArg(const std::string &argument)
{
    arguments_.add(argument);
    return *this;
}

void ExecCmd::setEnv(const std::string &name, const std::string &value)
{
    environment_[name] = value;
}

int ExecCmd::run()
{
    if (execute() != 0) {
        reportError();
    }
    return 0;
}

int ExecCmd::runNoThrow() noexcept // NOLINT(bugprone-exception-escape): it ends the process
{
    return execute();
}

int ExecCmd::execute()
{
    started_ = true;
    return_code_ = forkExecvGetOutErr(input_, output_, error_output_, path_, arguments_.data(),
                                      user_, environment_);
    saved_errno_ = errno;
    finished_ = true;
    return return_code_;
}

void ExecCmd::reportError() const
{
    const std::string error_section = streamSection("Stderr", error_output_);
    const std::string output_section = streamSection("Stdout", output_);
    const std::string input_section = streamSection("Stdin", input_);
    const std::string command_line = commandLine();
    ExFailed failure("void korvo::ExecCmd::reportError() const", "ExecCmd.cpp", 64);
    failure.feed(command_line);
    failure.feed(return_code_);
    failure.feed(input_section);
    failure.feed(output_section);
    failure.feed(error_section);
    throw failure;
}

std::string ExecCmd::commandLine() const
{
    std::string line;
    for (char *const *entry = arguments_.data(); *entry != nullptr; ++entry) {
        line += entry == arguments_.data() ? "" : " ";
        line += **entry == '\0' ? "''" : shellEscape(*entry);
    }
    return line;
}

std::string ExecCmd::outputSummary() const
{
    return "The return code was " + streamSummary("STDOUT", output_) +
           streamSummary("STDERR", error_output_);
}

} // namespace korvo
