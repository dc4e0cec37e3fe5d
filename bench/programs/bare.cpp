// Does what the lines of a file say, with the least that it takes:
//   start PROGRAM WORD...   runs the program with a pipe for each stream, and drops what it writes
//   shell COMMAND           runs the command with a pipe for its output, and drops that
//   empty LOG               empties the file
//
// usage: bare FILE
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace
{

void require(bool ok, const std::string &what)
{
    if (!ok) {
        std::perror(what.c_str());
        std::exit(1);
    }
}

void drop_output(int descriptor)
{
    char buffer[4096];
    ssize_t count = 0;
    while ((count = ::read(descriptor, buffer, sizeof buffer)) > 0) {
    }
    require(count == 0, "read");
}

void start(std::string words)
{
    std::vector<char *> argv;
    for (char *next = words.data(); char *const word = ::strsep(&next, " ");) {
        argv.push_back(word);
    }
    argv.push_back(nullptr);
    int pipes[3][2];
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    for (int stream = 0; stream < 3; ++stream) {
        require(::pipe2(pipes[stream], O_CLOEXEC) == 0, "pipe");
        ::posix_spawn_file_actions_adddup2(&actions, pipes[stream][stream == 0 ? 0 : 1], stream);
    }
    pid_t pid = -1;
    require(::posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ) == 0, argv[0]);
    ::posix_spawn_file_actions_destroy(&actions);
    ::close(pipes[0][0]);
    ::close(pipes[0][1]);
    for (int stream = 1; stream < 3; ++stream) {
        ::close(pipes[stream][1]);
        drop_output(pipes[stream][0]);
        ::close(pipes[stream][0]);
    }
    int status = -1;
    require(::waitpid(pid, &status, 0) == pid && status == 0, argv[0]);
}

void run_in_shell(const std::string &command)
{
    std::FILE *const output = ::popen(command.c_str(), "re");
    require(output != nullptr, command);
    drop_output(::fileno(output));
    require(::pclose(output) == 0, command);
}

void empty(const std::string &log)
{
    const int file = ::open(log.c_str(), O_RDWR);
    require(file != -1 && ::ftruncate(file, 0) == 0 && ::close(file) == 0, log);
}

} // namespace

int main(int argc, char **argv)
{
    std::ifstream file(argc == 2 ? argv[1] : "");
    require(file.good(), "usage: bare FILE");
    for (std::string verb, rest; file >> verb >> std::ws && std::getline(file, rest);) {
        verb == "start" ? start(rest) : verb == "shell" ? run_in_shell(rest) : empty(rest);
    }
}
