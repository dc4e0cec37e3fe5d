#include "domain/domain_name.h"
#include "support.h"

TEST(DomainName, Rule)
{
    const std::string label(63, 'a');
    const std::string longest = label + '.' + label + '.' + label + '.' + label;
    for (const std::string &name :
         std::vector<std::string>{"Example.COM", "single", "1.22.333", "a-b.c", "a.com-", longest}) {
        EXPECT_TRUE(is_valid_domain_name(name.c_str())) << name;
    }
    for (const std::string &name :
         std::vector<std::string>{"", "a-.com", "-a.com", "a.-b.com", ".a.com", "a.com.", "a..com", "a_b.com", "a b",
                                  "\xc3\xa9.com", label + "a.com", longest + "a", "a." + longest.substr(0, 254)}) {
        EXPECT_FALSE(is_valid_domain_name(name.c_str())) << name;
    }
    EXPECT_FALSE(is_valid_domain_name(nullptr));
}
