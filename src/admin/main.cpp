#include "admin/command.h"
#include "admin/places.h"
#include "util/descriptors.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <iostream>

namespace
{

struct Subcommand {
    const char *name;
    const char *summary;
    int (*run)(const std::vector<std::string> &words);
};

const Subcommand subcommands[] = {
    {"setup", "Prepare this server for its first domain", setup_command},
    {"add", "Give a domain statistics", add_command},
    {"remove", "Take a domain's statistics out of the runs", remove_command},
    {"list", "List domains with what they have", list_command},
    {"check", "Look for what keeps statistics from being made", check_command},
    {"rebuild", "Make the pages of AWStats domains again", rebuild_command},
};

void print_help()
{
    std::cout << "Usage: statistics_admin COMMAND [OPTION]... [ARGUMENT]...\n\n"
                 "Sets up and looks after the domains that statistics_run works on.\n\n";
    for (const Subcommand &command : subcommands) {
        const std::string name = command.name;
        std::cout << "  " << name << std::string(10 - name.size(), ' ') << command.summary << "\n";
    }
    std::cout << "\n'statistics_admin COMMAND --help' tells more; so does statistics_admin(8).\n";
}

int run(const std::vector<std::string> &words)
{
    if (words.empty()) {
        throw Refusal("no command; see 'statistics_admin --help'");
    }
    if (words[0] == "--help" || words[0] == "-h") {
        print_help();
        return 0;
    }
    if (words[0] == "--version") {
        std::cout << "statistics_admin " << program_version << "\n";
        return 0;
    }
    for (const Subcommand &command : subcommands) {
        if (words[0] == command.name) {
            return command.run({words.begin() + 1, words.end()});
        }
    }
    throw Refusal("'" + words[0] + "' is not a command; see 'statistics_admin --help'");
}

} // namespace

int main(int argc, char **argv)
{
    open_standard_descriptors();
    std::signal(SIGCHLD, SIG_DFL); // where it is ignored, nobody learns how a child ended
    try {
        const int status = run({argv + 1, argv + argc});
        std::cout.flush();
        if (!std::cout) {
            std::fflush(stdout); // tells the reason again
            throw refusal_of("standard output", errno);
        }
        return status;
    } catch (const std::exception &error) {
        std::cout.flush();
        std::cerr << "statistics_admin: " + std::string(error.what()) + "\n";
        return 2;
    }
}
