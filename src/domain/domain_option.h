#pragma once

#include <boost/any.hpp>

#include <string>
#include <utility>
#include <vector>

namespace wsdn
{

// The value of an option that takes a domain name: the name exactly as typed.
class DomainTOpt
{
public:
    explicit DomainTOpt(std::string name) : name_(std::move(name)) {}

    const std::string &name() const { return name_; }

private:
    std::string name_;
};

// Called by the option library to convert the option's only token. Throws std::runtime_error
// "<token> - incorrect domain format" for a token that is not a well-formed domain name, and the
// library's own errors if the option was given before or has not exactly one token.
void validate(boost::any &value, const std::vector<std::string> &tokens, DomainTOpt *type, int);

} // namespace wsdn
