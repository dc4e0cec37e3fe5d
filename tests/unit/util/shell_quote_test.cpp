#include "support.h"
#include "util/shell_quote.h"

TEST(ShellQuote, LeavesOrdinaryWordsAsTheyAre)
{
    EXPECT_EQ(shell_quote("/srv/Www/vhosts//a-b_c.d=1,2:3@4+5%6"), "/srv/Www/vhosts//a-b_c.d=1,2:3@4+5%6");
    EXPECT_EQ(shell_quote("a;b"), "'a;b'");
}

TEST(ShellQuote, TheShellReadsTheWordBack)
{
    std::string script = "printf '<%s>' " + shell_quote("");
    std::string expected = "<>";
    for (int code = 1; code < 256; ++code) {
        const std::string byte(1, static_cast<char>(code));
        for (const std::string &word : {byte, "a" + byte + byte + "b"}) {
            script += " " + shell_quote(word);
            expected += "<" + word + ">";
        }
    }
    expect_outcome(run_program({"sh", "-c", script}), expected, "");
}
