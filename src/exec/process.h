#pragma once

#include <sys/types.h>

#include <map>
#include <string>

// Programs run in a child process with their standard streams on pipes. A failed system call is
// raised as a SystemError, unless a routine says that it ends the process.

namespace korvo
{

// Variables that are set in the child before the program starts, in the order of their names.
using Environment = std::map<std::string, std::string>;

// Runs a program and waits for it: feeds it the input and closes its standard input, and appends
// all it writes to the output and the error text. Both streams are read and the input is written as
// the program is ready for it, so that none of the three can block the others.
// path:   searched on PATH when it holds no slash.
// argv:   the argument vector, ended by a null entry; entry 0 is the program's name.
// user:   see forkExecvPipes.
// Returns the exit status, or -1 if the program was killed by a signal. A program that can't be
// started leaves the reason in both texts and gives 1.
// Throws SystemError, among others if the program closes its input before all of it is written; no
// signal is raised by that. On every path out the pipes are closed and the child has been waited
// for. A pipe that can't be made or set up is reported with exit status 1, which ends the process.
int forkExecvGetOutErr(std::string input, std::string &output, std::string &error,
                       const std::string &path, char *const argv[], const std::string &user,
                       const Environment &environment);

// The same with no input.
int forkExecvGetOutErr(std::string &output, std::string &error, const std::string &path,
                       char *const argv[], const std::string &user, const Environment &environment);

// The same with no input and no variables.
int forkExecvGetOutErr(std::string &output, std::string &error, const std::string &path,
                       char *const argv[], const std::string &user);

// The same with no input, no variables and no change of user.
int forkExecvGetOutErr(std::string &output, std::string &error, const std::string &path,
                       char *const argv[]);

// The same again; what the program writes on standard error is dropped.
int forkExecvGetOutErr(std::string &output, const std::string &path, char *const argv[]);

// Starts a program with the three descriptors as its standard streams (-1 stands for "/dev/null")
// and no other descriptors. They stay open in the parent. Descriptors 0 to 2 must not be free.
// user: the account to run as; empty, root and unknown accounts change nothing.
// Flushes standard output, so that nothing pending comes out of the child. Returns the child's
// process id, for the caller to wait for; throws SystemError if the fork fails.
// A child that can't switch the user or set a variable ends abnormally with the reason on its
// standard error; one that can't become the program reports that and ends with status 1.
pid_t forkExecvPipes(int input, int output, int error, const std::string &path, char *const argv[],
                     const std::string &user, const Environment &environment);

// Makes the target number name what the descriptor names, and closes the descriptor; -1 stands for
// "/dev/null", opened for reading and writing, which must succeed or SystemError is thrown. Returns
// the target, or the result of dup2 if that fails (-1, errno set).
int dup2Custom(int descriptor, int target);

// Appends what can be read from the non-blocking descriptor now. Returns false at end of file.
bool readToString(int descriptor, std::string &text);

// Writes as much of the text as the non-blocking descriptor takes now and erases that much from its
// front. If nobody reads any more that is a SystemError like any other; no SIGPIPE is delivered.
void writeToString(int descriptor, std::string &text);

} // namespace korvo
