#include "support.h"
#include "util/shell_quote.h"

#include <random>

TEST(ShellQuote, LeavesOrdinaryWordsAsTheyAre)
{
    for (const char *const word : {"example.com", "/srv/www/vhosts//a-b_c", "-x=1,2:3@4+5%6"}) {
        EXPECT_EQ(shell_quote(word), word);
    }
    EXPECT_EQ(shell_quote(""), "''");
    EXPECT_EQ(shell_quote("a;b"), "'a;b'");
}

TEST(ShellQuote, TheShellReadsTheWordBack)
{
    std::mt19937 random(1);
    std::string words;
    std::string expected;
    for (int count = 0; count < 300; ++count) {
        std::string word;
        for (auto length = random() % 12; length > 0; --length) {
            word += static_cast<char>(1 + random() % 255);
        }
        words += "printf '<%s>' " + shell_quote(word) + "\n";
        expected += '<' + word + '>';
    }
    const Outcome outcome = run_program({"/bin/sh", "-c", words});
    EXPECT_EQ(outcome.out, expected);
    EXPECT_EQ(outcome.err, "");
}
