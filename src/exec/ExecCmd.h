#pragma once

// Which way to start a program is for what:
// - korvo::ExecCmd, here: arguments as they are, without a shell; variables, an account, an input;
//   both outputs captured; a failure is an exception that tells all of it. The first choice.
// - popen_exec (util/shell_command.h): a command line for the shell, with its redirections; what it
//   writes is shown only if it fails.
// - run_admin_utility (domain/admin_utility.h): one of the panel's utilities by its bare name.
// - run_and_report (util/child_process.h): a program by its path, both outputs captured and reported
//   if it fails; below it, the pieces that the others are made of.
// - util/run_program.h: streams inherited, on given descriptors or on "/dev/null".

#include "exec/process.h"
#include "exec/traceable.h"

#include <string>
#include <vector>

namespace korvo
{

class CmdLine
{
public:
    CmdLine() = default;
    virtual ~CmdLine();
    CmdLine(const CmdLine &) = delete;
    CmdLine &operator=(const CmdLine &) = delete;
};

// Runs one external program and captures all that it writes. In this order: construct with the
// program's path; addArg() for each further argument; setEnv() for each variable; setInput() and
// setUser() if wanted; run() or runNoThrow(); then ask for the return code and the outputs.
// A second run of the same object adds its output behind the first one's.
class ExecCmd : public CmdLine
{
public:
    static const ExKind Failed;

    // A run that ended with a return code other than 0. Its message names the command line, the
    // return code, and what the program read and wrote.
    using ExFailed = Exc<&ExecCmd::Failed, ExDefault>;

    // path: searched on PATH when it holds no slash.
    explicit ExecCmd(const std::string &path);
    ~ExecCmd() override;

    // Appends an argument, which may be empty.
    virtual ExecCmd &addArg(const std::string &argument);

    // Sets a variable for the program, besides those of the process itself.
    virtual void setEnv(const std::string &name, const std::string &value);

    // Runs the program as execute() does. Returns 0, or throws ExFailed for any other return code.
    virtual int run();

    // Runs the program as execute() does and returns the return code. What execute() throws ends
    // the process.
    virtual int runNoThrow() noexcept; // NOLINT(bugprone-exception-escape)

    // Runs the program, waits for it and returns its return code. Throws SystemError for a system
    // call that fails; see forkExecvGetOutErr.
    virtual int execute();

    // What the program reads on its standard input; nothing if not set.
    void setInput(const std::string &input) { input_ = input; }

    // The account to run the program as; if not set, that of the process. See forkExecvPipes.
    void setUser(const std::string &user) { user_ = user; }

    // The exit status of the last run; -1 if it did not exit normally, or was not started yet.
    int returnCode() const { return return_code_; }
    // errno right after the last run.
    int savedErrno() const { return saved_errno_; }
    bool isStarted() const { return started_; }
    bool isFinished() const { return finished_; }
    const std::string &output() const { return output_; }
    const std::string &errorOutput() const { return error_output_; }

    // Throws ExFailed with what the last run left.
    [[noreturn]] void reportError() const;

    // The path and the arguments as words of a shell.
    std::string commandLine() const;

    // The outputs, for people; the return code is only announced.
    std::string outputSummary() const;

private:
    // Copies of texts in a vector that execvp takes as it is: a null entry ends it.
    class ArgumentVector
    {
    public:
        explicit ArgumentVector(const std::string &first);
        ~ArgumentVector();
        ArgumentVector(const ArgumentVector &) = delete;
        ArgumentVector &operator=(const ArgumentVector &) = delete;

        void add(const std::string &argument);
        char *const *data() const { return entries_.data(); }

    private:
        std::vector<char *> entries_ = {nullptr};
    };

    ArgumentVector arguments_;
    std::string path_;
    std::string input_;
    Environment environment_;
    std::string output_;
    std::string error_output_;
    bool started_ = false;
    bool finished_ = false;
    int saved_errno_ = 0;
    int return_code_ = -1;
    std::string user_;
};

} // namespace korvo
