#include "util/md5_hex.h"

// The MD5 routines are marked as deprecated.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/md5.h>

#include <cstdio>
#include <cstring>

void md5_hex(const char *text, char (&digest)[md5_hex_length + 1])
{
    md5_hex(text, "", digest);
}

void md5_hex(const char *first, const char *second, char (&digest)[md5_hex_length + 1])
{
    MD5_CTX context;
    MD5_Init(&context);
    MD5_Update(&context, first, std::strlen(first));
    MD5_Update(&context, second, std::strlen(second));
    unsigned char bytes[MD5_DIGEST_LENGTH];
    MD5_Final(bytes, &context);
    char *place = digest;
    for (const unsigned char byte : bytes) {
        place += std::snprintf(place, 3, "%02x", byte);
    }
}
