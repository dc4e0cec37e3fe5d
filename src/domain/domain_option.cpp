#include "domain/domain_option.h"

#include "domain/domain_name.h"

#include <boost/program_options.hpp>

#include <stdexcept>

namespace wsdn
{

void validate(boost::any &value, const std::vector<std::string> &tokens, DomainTOpt * /*type*/, int)
{
    namespace validators = boost::program_options::validators;
    validators::check_first_occurrence(value);
    const std::string &token = validators::get_single_string(tokens);
    if (!is_valid_domain_name(token.c_str())) {
        throw std::runtime_error(token + " - incorrect domain format");
    }
    value = DomainTOpt(token);
}

} // namespace wsdn
