#include "exec/shell_escape.h"
#include "support.h"

#include <random>

TEST(ShellEscape, Classes)
{
    const struct {
        std::string text;
        std::string escaped;
    } cases[] = {
        {"a b", "a\\ b"},
        {"\n", "'\n'"},
        {"", ""},
        {"\t\"#$&'()*;<>?[\\`|~", "\\\t\\\"\\#\\$\\&\\'\\(\\)\\*\\;\\<\\>\\?\\[\\\\\\`\\|\\~"},
        {"!%{}]^=/-_.:,@+aZ9\x80\xff\r", "!%{}]^=/-_.:,@+aZ9\x80\xff\r"},
        {"\x8d\xa7\xb5\xbf\xc2\xc6\xd5\xdf\xe2\xf0",
         "'\x8d''\xa7''\xb5''\xbf''\xc2''\xc6''\xd5''\xdf''\xe2''\xf0'"},
    };
    for (const auto &row : cases) {
        EXPECT_EQ(korvo::shellEscape(row.text), row.escaped);
        if (row.text == row.escaped) {
            EXPECT_NO_THROW(korvo::checkEscapeChars(row.text.c_str()));
        }
    }
    EXPECT_NO_THROW(korvo::checkEscapeChars(nullptr));
    EXPECT_THROW(korvo::checkEscapeChars("ab\xf0"), std::runtime_error);
}

TEST(ShellEscape, TheShellReadsTheWordBack)
{
    std::mt19937 random(2);
    std::vector<std::string> words;
    for (int code = 1; code < 256; ++code) {
        words.push_back("x" + std::string(1, static_cast<char>(code)));
        words.emplace_back();
        for (auto length = 1 + random() % 20; length > 0; --length) {
            words.back() += static_cast<char>(1 + random() % 255);
        }
    }
    std::string script;
    std::string expected;
    for (const std::string &word : words) {
        script += "printf '<%s>' " + korvo::shellEscape(word) + "\n";
        expected += '<' + word + '>';
    }
    EXPECT_EQ(run_program({"/bin/sh", "-c", script}).out, expected);
}
