#pragma once
// Finishes a running OpenSSL digest and spells it the way checksum files do: lower-case hexadecimal.
// Any thread, one context at a time.
#include <openssl/evp.h>

#include <string>

namespace orvane::detail {

inline std::string finishDigestHex(EVP_MD_CTX* context) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_DigestFinal_ex(context, digest, &length);
    static constexpr char hex[] = "0123456789abcdef";
    std::string text;
    text.reserve(2 * length);
    for (unsigned int i = 0; i < length; ++i) {
        text += hex[digest[i] >> 4];
        text += hex[digest[i] & 0x0F];
    }
    return text;
}

} // namespace orvane::detail
