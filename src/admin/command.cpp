#include "admin/command.h"

#include "domain/domain_name.h"
#include "domain/log_sources.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <iostream>

namespace po = boost::program_options;

namespace
{

// The operands are values of an option that no word can give: a word's name ends at "=".
const char *const operand = "=";

void print_help(const Usage &usage, const po::options_description &options)
{
    std::cout << "Usage: statistics_admin " << usage.name << " [OPTION]... " << usage.operands
              << "\n\n"
              << usage.description << "\n\n"
              << options << std::flush;
}

} // namespace

Refusal refusal_of(const std::string &path, int error_number)
{
    const std::string reason = std::strerror(error_number);
    Refusal refusal(path + ": " + reason);
    return refusal;
}

std::optional<ParsedWords> parse_words(const Usage &usage, po::options_description options,
                                       const std::vector<std::string> &words)
{
    namespace style = po::command_line_style;
    options.add_options()("help,h", "Display this help");
    po::options_description all;
    all.add(options).add_options()(operand, po::value<std::vector<std::string>>());
    po::positional_options_description positions;
    positions.add(operand, *usage.operands == '\0' ? 0 : -1);
    ParsedWords parsed;
    try {
        po::store(po::command_line_parser(words)
                      .options(all)
                      .positional(positions)
                      .style(style::unix_style & ~style::allow_guessing)
                      .run(),
                  parsed.options);
        if (parsed.has("help")) {
            print_help(usage, options);
            return std::nullopt;
        }
        po::notify(parsed.options);
        if (::geteuid() != 0) {
            throw Refusal("only root can do this");
        }
    } catch (const po::error &error) {
        throw Refusal(std::string(error.what()) + "; see 'statistics_admin " + usage.name +
                      " --help'");
    }
    if (parsed.has(operand)) {
        parsed.operands = parsed.options[operand].as<std::vector<std::string>>();
    }
    return parsed;
}

void require_domain_name(const std::string &domain)
{
    if (!is_valid_domain_name(domain.c_str())) {
        throw Refusal("'" + domain + "' is not a domain name");
    }
}

void require_service(const std::string &service)
{
    if (std::none_of(std::begin(log_sources), std::end(log_sources), [&](const LogSource &source) {
            return has_own_statistics(source) && service == source.service;
        })) {
        throw Refusal("'" + service + "' is not a service: http, https, anon_ftp, ftp");
    }
}
