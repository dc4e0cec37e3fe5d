#include "admin/command.h"
#include "admin/places.h"
#include "admin/survey.h"
#include "admin/texts.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <iostream>
#include <set>

namespace po = boost::program_options;
using nlohmann::ordered_json;

namespace
{

const Usage list_usage = {
    "list", "[DOMAIN]...",
    "Lists the domains, or those that are named: the generator and its services, what\n"
    "waits in the prepared logs and since when, when pages were last made, how many\n"
    "months there are, and the space that the pages take on the disk."};

void print_row(const std::vector<std::string> &cells)
{
    std::string line;
    const std::size_t widths[] = {32, 10, 24, 10, 11, 17, 7, 0};
    for (std::size_t i = 0; i < cells.size(); ++i) {
        const std::string cell = on_one_line(cells[i]);
        line += cell;
        line.append(i + 1 == cells.size()
                        ? 0
                        : std::max<std::size_t>(1, widths[i] - std::min(widths[i], cell.size())),
                    ' ');
    }
    std::cout << line + "\n";
}

void print_domain(const Surveyor &surveyor, const DomainSurvey &survey)
{
    std::string services;
    PagesSurvey all;
    for (const ServiceSurvey &service : survey.services) {
        if (service.configured) {
            services += (services.empty() ? "" : ",") + std::string(service.source->service);
        }
        const PagesSurvey pages = surveyor.survey_pages(survey, *service.source);
        all.made = std::max(all.made, pages.made);
        all.bytes += pages.bytes;
        all.months.insert(all.months.end(), pages.months.begin(), pages.months.end());
    }
    const std::set<std::string> months(all.months.begin(), all.months.end());
    const Waiting waiting = survey.waiting();
    print_row({survey.domain, generator_name(survey.kind), services.empty() ? "-" : services,
               size_text(waiting.bytes), time_text(waiting.since, "%Y-%m-%d"), time_text(all.made),
               std::to_string(months.size()), size_text(all.bytes)});
}

ordered_json time_json(std::time_t time)
{
    return time == 0 ? ordered_json() : ordered_json(time);
}

ordered_json domain_json(const Surveyor &surveyor, const DomainSurvey &survey)
{
    ordered_json services = ordered_json::array();
    for (const ServiceSurvey &service : survey.services) {
        const PagesSurvey pages = surveyor.survey_pages(survey, *service.source);
        services.push_back({{"service", service.source->service},
                            {"configured", service.configured},
                            {"waiting_bytes", service.waiting.bytes},
                            {"waiting_since", time_json(service.waiting.since)},
                            {"pages_made", time_json(pages.made)},
                            {"months", pages.months},
                            {"pages_bytes", pages.bytes}});
    }
    return {{"domain", survey.domain},
            {"generator", generator_name(survey.kind)},
            {"services", services}};
}

} // namespace

int list_command(const std::vector<std::string> &words)
{
    po::options_description options("Options");
    options.add_options()("json", "As JSON; times in seconds since 1970, sizes in bytes");
    const auto parsed = parse_words(list_usage, options, words);
    if (!parsed) {
        return 0;
    }
    require_readable_configuration();
    const Surveyor surveyor;
    for (const std::string &domain : parsed->operands) {
        surveyor.survey_named(domain);
    }
    const bool json = parsed->has("json");
    const char *separator = "[";
    if (!json) {
        print_row({"DOMAIN", "GENERATOR", "SERVICES", "WAITING", "SINCE", "PAGES MADE", "MONTHS",
                   "SPACE"});
    }
    for (const std::string &domain :
         parsed->operands.empty() ? surveyor.domains() : parsed->operands) {
        const DomainSurvey survey = surveyor.survey(domain);
        if (!survey.has_logs) {
            continue;
        }
        if (json) {
            std::cout << separator << "\n" << json_text(domain_json(surveyor, survey));
            separator = ",";
        } else {
            print_domain(surveyor, survey);
        }
    }
    if (json) {
        std::cout << (*separator == '[' ? "[]\n" : "\n]\n");
    }
    return 0;
}
