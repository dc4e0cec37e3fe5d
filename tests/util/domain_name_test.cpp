#include "util/domain_name.h"

#include <gtest/gtest.h>

#include <string>

TEST(DomainName, Rule)
{
    const std::string label(63, 'a');
    const std::string longest = label + '.' + label + '.' + label + '.' + label;
    const struct {
        std::string name;
        bool valid;
    } cases[] = {
        {"example.com", true},
        {"Example.COM", true},
        {"single", true},
        {"1.22.333", true},
        {"a", true},
        {"a-b.com", true},
        {"a.com-", true},
        {label, true},
        {longest, true},
        {"", false},
        {"a-.com", false},
        {"-a.com", false},
        {"a.-b.com", false},
        {".a.com", false},
        {"a.com.", false},
        {"a..com", false},
        {".", false},
        {"a_b.com", false},
        {"a b", false},
        {"\xc3\xa9.com", false},
        {"a/b", false},
        {label + "a.com", false},
        {longest + "a", false},
        {"a." + longest.substr(0, 254), false},
    };
    for (const auto &row : cases) {
        EXPECT_EQ(is_valid_domain_name(row.name.c_str()), row.valid) << row.name;
    }
    EXPECT_FALSE(is_valid_domain_name(nullptr));
}
