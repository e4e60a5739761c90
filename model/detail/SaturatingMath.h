#pragma once
// 64-bit arithmetic that clamps at the ends of the range instead of overflowing. Layout values come
// from documents, and an absurd length or gap must give an absurd layout, not undefined behaviour.

#include <cstdint>
#include <limits>

namespace orvane::detail {

inline std::int64_t saturatingAdd(std::int64_t a, std::int64_t b) noexcept {
    std::int64_t result = 0;
    if (__builtin_add_overflow(a, b, &result))
        return b > 0 ? std::numeric_limits<std::int64_t>::max() : std::numeric_limits<std::int64_t>::min();
    return result;
}

inline std::int64_t saturatingSub(std::int64_t a, std::int64_t b) noexcept {
    std::int64_t result = 0;
    if (__builtin_sub_overflow(a, b, &result))
        return b < 0 ? std::numeric_limits<std::int64_t>::max() : std::numeric_limits<std::int64_t>::min();
    return result;
}

inline std::int64_t saturatingNegate(std::int64_t a) noexcept {
    return saturatingSub(0, a);
}

} // namespace orvane::detail
