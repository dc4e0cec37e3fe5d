#include "support.h"
#include "util/shell_quote.h"

TEST(ShellQuote, LeavesOrdinaryWordsAsTheyAre)
{
    EXPECT_EQ(shell_quote("/srv/Www/vhosts//a-b_c.d=1,2:3@4+5%6"), "/srv/Www/vhosts//a-b_c.d=1,2:3@4+5%6");
    EXPECT_EQ(shell_quote(""), "''");
    EXPECT_EQ(shell_quote("a;b"), "'a;b'");
}

TEST(ShellQuote, TheShellReadsTheWordBack)
{
    expect_shell_reads_back(shell_quote);
}
