#pragma once

#include <boost/program_options.hpp>

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

// What the subcommands of statistics_admin have in common: how they read their words and how they
// give up.

// Why a command does not do what it was asked for: names the path or the word, and the reason. The
// program writes it on standard error and ends with 2; nothing has been changed.
class Refusal : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// The Refusal "<path>: <text of the error number>".
Refusal refusal_of(const std::string &path, int error_number);

// How a subcommand is called. operands: what its help calls them; empty if it takes none.
struct Usage {
    const char *name;
    const char *operands;
    const char *description;
};

struct ParsedWords {
    boost::program_options::variables_map options;
    std::vector<std::string> operands;

    bool has(const char *option) const { return options.count(option) != 0; }
};

// Reads the words behind a subcommand's name; --help is added to the options. Returns nothing after
// it has printed the help that was asked for. Throws Refusal for words that the options do not
// explain, and to whoever is not root.
std::optional<ParsedWords> parse_words(const Usage &usage,
                                       boost::program_options::options_description options,
                                       const std::vector<std::string> &words);

// Throws Refusal unless the name is one that a domain can have.
void require_domain_name(const std::string &domain);

// Throws Refusal unless the name is that of a service.
void require_service(const std::string &service);

// The subcommands. Each gets the words behind its name and returns the exit status.
int setup_command(const std::vector<std::string> &words);
int add_command(const std::vector<std::string> &words);
int remove_command(const std::vector<std::string> &words);
int list_command(const std::vector<std::string> &words);
int check_command(const std::vector<std::string> &words);
int rebuild_command(const std::vector<std::string> &words);
