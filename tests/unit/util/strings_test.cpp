#include "support.h"
#include "util/strings.h"

#include <cstring>

TEST(Strings, TrimAndTests)
{
    for (const auto &[text, trimmed] : {std::pair(" \t a b \r\n", "a b"), {"ab", "ab"}, {"  ", ""}, {"x ", "x"}}) {
        std::string copy = text;
        EXPECT_STREQ(trim(copy.data()), trimmed);
    }
    EXPECT_TRUE(is_all_digits("0123456789"));
    EXPECT_FALSE(is_all_digits("") || is_all_digits("-1") || is_all_digits("1 "));
    EXPECT_TRUE(is_lower_case("a-1 \xc4") && is_lower_case(""));
    EXPECT_FALSE(is_lower_case("aBc"));
}

TEST(Strings, StrnReplaceStaysWithinItsSize)
{
    const std::tuple<const char *, std::size_t, const char *, const char *, const char *, int> cases[] = {
        {"a-b-c", 8, "-", "++", "a++b++c", 0}, {"aa", 8, "a", "aaa", "aaaaaa", 0},
        {"aaa", 4, "aa", "b", "ba", 0},        {"a-b-c", 7, "-", "++", "a-b-c", ERANGE},
        {"abc", 4, "", "x", "abc", EINVAL},    {"abc", 3, "a", "", "abc", EINVAL},
    };
    for (const auto &[text, size, pattern, replacement, result, error] : cases) {
        std::string buffer = std::string(text) + std::string(1, '\0') + "!!!!!!!!";
        const char guard = buffer[size];
        errno = 0;
        EXPECT_EQ(strn_replace(buffer.data(), size, pattern, replacement), error == 0 ? 0 : -1);
        EXPECT_TRUE(std::strcmp(buffer.data(), result) == 0 && buffer[size] == guard && errno == error) << text;
    }
}
