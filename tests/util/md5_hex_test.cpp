#include "util/md5_hex.h"

#include <gtest/gtest.h>

TEST(Md5Hex, Digests)
{
    const struct {
        const char *first;
        const char *second;
        const char *digest;
    } cases[] = {
        {"", "", "d41d8cd98f00b204e9800998ecf8427e"},
        {"abc", "", "900150983cd24fb0d6963f7d28e17f72"},
        {"a", "bc", "900150983cd24fb0d6963f7d28e17f72"},
        {"message", " digest", "f96b697d7cb7938d525a2f31aaf161d0"},
    };
    for (const auto &row : cases) {
        char digest[md5_hex_length + 1];
        md5_hex(row.first, row.second, digest);
        EXPECT_STREQ(digest, row.digest);
    }
    char digest[md5_hex_length + 1];
    md5_hex("abc", digest);
    EXPECT_STREQ(digest, cases[1].digest);
}
