#include "domain/admin_utility.h"
#include "domain/domain_option.h"
#include "domain/domains.h"
#include "driver/domain_loop.h"
#include "util/descriptors.h"
#include "util/log_line.h"

#include <boost/program_options.hpp>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>

namespace po = boost::program_options;

namespace
{

const char *const domain_option = "calculate-domain";

po::options_description describe_options()
{
    const unsigned line_length = po::options_description::m_default_line_length;
    po::options_description description("Allowed commands", line_length, line_length / 2);
    description.add_options()(
        domain_option, po::value<wsdn::DomainTOpt>(),
        "generate web statistics for domain (act on all domains if not specified")("help,h",
                                                                                   "Display help");
    return description;
}

po::variables_map parse(int argc, char **argv, const po::options_description &description)
{
    po::variables_map options;
    po::store(po::parse_command_line(argc, argv, description), options);
    po::notify(options);
    return options;
}

DomainKindMap select_domains(const po::variables_map &options)
{
    DomainKindMap domains;
    if (options.count(domain_option) == 0) {
        collect_all_domains(domains);
    } else {
        check_domain(domains, options[domain_option].as<wsdn::DomainTOpt>().name());
    }
    return domains;
}

std::terminate_handler abort_run = nullptr;

// An abort does not write what is pending on standard output.
[[noreturn]] void flush_and_abort()
{
    std::fflush(stdout);
    abort_run();
    std::abort();
}

} // namespace

// Exceptions are left to the runtime: a run that can't go on ends abnormally, and visibly so.
int main(int argc, char **argv)
{
    open_standard_descriptors();
    abort_run = std::set_terminate(flush_and_abort);
    std::signal(SIGCHLD, SIG_DFL); // where it is ignored, nobody learns how a child ended
    const po::options_description description = describe_options();
    const po::variables_map options = parse(argc, argv, description);
    if (options.count("help") != 0) {
        std::cout << description << std::endl;
        std::exit(0);
    }
    const DomainKindMap domains = select_domains(options);
    log_line("Starting...");
    log_line("Executing logs preparation... ");
    run_admin_utility("statistics_log_processor", nullptr);
    process_domains(domains);
    std::cout << "Finished.\n" << std::flush;
    return 0;
}
