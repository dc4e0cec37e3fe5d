#include "domain/domain_name.h"
#include "support.h"

TEST(DomainName, Rule)
{
    const std::string label(63, 'a');
    const std::string longest = label + '.' + label + '.' + label + '.' + label;
    for (const std::string &name : {std::string("Example.COM"), std::string("single"), std::string("1.22.333"),
                                    std::string("a-b.c"), std::string("a.com-"), longest}) {
        EXPECT_TRUE(is_valid_domain_name(name.c_str())) << name;
    }
    for (const std::string &name :
         {std::string(), std::string("a-.com"), std::string("-a.com"), std::string("a.-b.com"), std::string(".a.com"),
          std::string("a.com."), std::string("a..com"), std::string("a_b.com"), std::string("a b"),
          std::string("\xc3\xa9.com"), label + "a.com", longest + "a", "a." + longest.substr(0, 254)}) {
        EXPECT_FALSE(is_valid_domain_name(name.c_str())) << name;
    }
    EXPECT_FALSE(is_valid_domain_name(nullptr));
}
