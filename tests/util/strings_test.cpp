#include "support.h"
#include "util/strings.h"

#include <cerrno>
#include <cstring>

TEST(Strings, TrimAndTests)
{
    const struct {
        const char *text;
        const char *trimmed;
    } cases[] = {{" \t a b \r\n", "a b"}, {"ab", "ab"}, {"", ""}, {"  ", ""}, {"x ", "x"}};
    for (const auto &row : cases) {
        std::string text = row.text;
        EXPECT_STREQ(trim(text.data()), row.trimmed);
    }
    EXPECT_TRUE(is_all_digits("0123456789"));
    EXPECT_FALSE(is_all_digits("") || is_all_digits("-1") || is_all_digits("1 "));
    EXPECT_TRUE(is_lower_case("a-1 \xc4") && is_lower_case(""));
    EXPECT_FALSE(is_lower_case("aBc"));
}

TEST(Strings, StrnReplaceStaysWithinItsSize)
{
    const struct {
        const char *text;
        std::size_t size;
        const char *pattern;
        const char *replacement;
        const char *result;
        const char *message;
    } cases[] = {
        {"a-b-c", 8, "-", "", "abc", ""},
        {"a-b-c", 8, "-", "++", "a++b++c", ""},
        {"a-b-c", 7, "-", "++", "a-b-c", "Numerical result out of range"},
        {"aa", 8, "a", "aaa", "aaaaaa", ""},
        {"aaa", 4, "aa", "b", "ba", ""},
        {"abc", 4, "abc", "xyz", "xyz", ""},
        {"abc", 4, "d", "long replacement", "abc", ""},
        {"abc", 4, "", "x", "abc", "Invalid argument"},
        {"abc", 3, "a", "b", "abc", "Invalid argument"},
    };
    for (const auto &row : cases) {
        const Outcome outcome = in_child([&] {
            char buffer[16];
            std::memset(buffer, '!', sizeof buffer);
            std::memcpy(buffer, row.text, std::strlen(row.text) + 1);
            const char guard = buffer[row.size];
            EXPECT_EQ(strn_replace(buffer, row.size, row.pattern, row.replacement),
                      *row.message == '\0' ? 0 : -1);
            EXPECT_STREQ(buffer, row.result);
            EXPECT_EQ(buffer[row.size], guard);
        });
        const std::string start =
            std::string("strn_replace(): ") + row.message + "\n\nSystem error ";
        EXPECT_EQ(outcome.out.rfind(*row.message == '\0' ? "" : start, 0), 0U) << outcome.out;
        EXPECT_EQ(outcome.out.empty(), *row.message == '\0');
    }
}
