#include "support.h"
#include "util/md5_hex.h"

TEST(Md5Hex, Digests)
{
    char digest[md5_hex_length + 1];
    md5_hex("abc", digest);
    EXPECT_STREQ(digest, "900150983cd24fb0d6963f7d28e17f72");
    md5_hex("message", " digest", digest);
    EXPECT_STREQ(digest, "f96b697d7cb7938d525a2f31aaf161d0");
}
