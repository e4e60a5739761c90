#include "delivery/detail/Base64.h"

#include <openssl/evp.h>

namespace orvane::detail {

std::string base64(std::string_view bytes) {
    std::string out(4 * ((bytes.size() + 2) / 3), '\0');
    std::size_t written = 0;
    // EVP_EncodeBlock takes an int length; go in blocks well under that limit.
    constexpr std::size_t kBlock = 3 * (1u << 20);
    for (std::size_t at = 0; at < bytes.size(); at += kBlock) {
        const std::size_t n = std::min(kBlock, bytes.size() - at);
        written += static_cast<std::size_t>(
            EVP_EncodeBlock(reinterpret_cast<unsigned char*>(out.data() + written),
                            reinterpret_cast<const unsigned char*>(bytes.data() + at), static_cast<int>(n)));
    }
    out.resize(written);
    return out;
}

} // namespace orvane::detail
