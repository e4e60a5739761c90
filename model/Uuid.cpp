#include "model/Uuid.h"

#include <cstring>
#include <random>

namespace orvane {

namespace {

int hexValue(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

std::mt19937_64& generator() {
    thread_local std::mt19937_64 gen{[] {
        std::random_device device;
        std::seed_seq seq{device(), device(), device(), device()};
        return std::mt19937_64{seq};
    }()};
    return gen;
}

} // namespace

Uuid Uuid::random() {
    Uuid u;
    auto& gen = generator();
    const std::uint64_t hi = gen();
    const std::uint64_t lo = gen();
    std::memcpy(u.bytes.data(), &hi, 8);
    std::memcpy(u.bytes.data() + 8, &lo, 8);
    u.bytes[6] = static_cast<std::uint8_t>((u.bytes[6] & 0x0F) | 0x40); // version 4
    u.bytes[8] = static_cast<std::uint8_t>((u.bytes[8] & 0x3F) | 0x80); // RFC 4122 variant
    return u;
}

std::optional<Uuid> Uuid::parse(std::string_view text) {
    if (text.size() != 36)
        return std::nullopt;
    Uuid u;
    std::size_t byte = 0;
    for (std::size_t i = 0; i < text.size();) {
        if (i == 8 || i == 13 || i == 18 || i == 23) {
            if (text[i] != '-')
                return std::nullopt;
            ++i;
            continue;
        }
        const int high = hexValue(text[i]);
        const int low = hexValue(text[i + 1]);
        if (high < 0 || low < 0)
            return std::nullopt;
        u.bytes[byte++] = static_cast<std::uint8_t>(high * 16 + low);
        i += 2;
    }
    return u;
}

std::string Uuid::string() const {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(36);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10)
            out.push_back('-');
        out.push_back(digits[bytes[i] >> 4]);
        out.push_back(digits[bytes[i] & 0x0F]);
    }
    return out;
}

} // namespace orvane

std::size_t std::hash<orvane::Uuid>::operator()(const orvane::Uuid& u) const noexcept {
    std::uint64_t a = 0;
    std::uint64_t b = 0;
    std::memcpy(&a, u.bytes.data(), 8);
    std::memcpy(&b, u.bytes.data() + 8, 8);
    return static_cast<std::size_t>(a ^ (b * 0x9E3779B97F4A7C15ULL));
}
