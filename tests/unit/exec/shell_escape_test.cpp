#include "exec/shell_escape.h"
#include "support.h"

TEST(ShellEscape, Classes)
{
    const std::string copied = "!%{}]^=/-_.:,@+aZ9\x80\xff\r";
    EXPECT_EQ(korvo::shellEscape(copied), copied);
    EXPECT_EQ(korvo::shellEscape("\n\x8d\xa7\xb5\xbf\xc2\xc6\xd5\xdf\xe2\xf0"),
              "'\n''\x8d''\xa7''\xb5''\xbf''\xc2''\xc6''\xd5''\xdf''\xe2''\xf0'");
    EXPECT_EQ(korvo::shellEscape("a \t\"#$&'()*;<>?[\\`|~"),
              "a\\ \\\t\\\"\\#\\$\\&\\'\\(\\)\\*\\;\\<\\>\\?\\[\\\\\\`\\|\\~");
    EXPECT_NO_THROW(korvo::checkEscapeChars(copied.c_str()));
    EXPECT_NO_THROW(korvo::checkEscapeChars(nullptr));
    EXPECT_THROW(korvo::checkEscapeChars("ab\xf0"), std::runtime_error);
}
