#include "support.h"
#include "util/shell_quote.h"

TEST(ShellQuote, TheShellReadsTheWordBack)
{
    std::string script = "printf '<%s>' " + shell_quote("");
    std::string expected = "<>";
    for (int code = 1; code < 256; ++code) {
        const std::string word = std::string(1, static_cast<char>(code)) + static_cast<char>(code) + "b";
        script += " " + shell_quote(word);
        expected += "<" + word + ">";
    }
    expect_outcome(run_script(script), expected, "");
    EXPECT_EQ(shell_quote("/srv/Www/vhosts//a-b_c.d=1,2:3@4+5%6"), "/srv/Www/vhosts//a-b_c.d=1,2:3@4+5%6");
}
