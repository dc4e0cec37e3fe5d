#include "exec/shell_escape.h"
#include "support.h"

TEST(ShellEscape, Classes)
{
    const std::pair<std::string, std::string> cases[] = {
        {"a b", "a\\ b"},
        {"\n", "'\n'"},
        {"", ""},
        {"\t\"#$&'()*;<>?[\\`|~", "\\\t\\\"\\#\\$\\&\\'\\(\\)\\*\\;\\<\\>\\?\\[\\\\\\`\\|\\~"},
        {"!%{}]^=/-_.:,@+aZ9\x80\xff\r", "!%{}]^=/-_.:,@+aZ9\x80\xff\r"},
        {"\x8d\xa7\xb5\xbf\xc2\xc6\xd5\xdf\xe2\xf0", "'\x8d''\xa7''\xb5''\xbf''\xc2''\xc6''\xd5''\xdf''\xe2''\xf0'"},
    };
    for (const auto &[text, escaped] : cases) {
        EXPECT_EQ(korvo::shellEscape(text), escaped);
    }
    EXPECT_NO_THROW(korvo::checkEscapeChars(cases[4].first.c_str()));
    EXPECT_THROW(korvo::checkEscapeChars("ab\xf0"), std::runtime_error);
    EXPECT_NO_THROW(korvo::checkEscapeChars(nullptr));
}

TEST(ShellEscape, TheShellReadsTheWordBack)
{
    expect_shell_reads_back(korvo::shellEscape);
}
