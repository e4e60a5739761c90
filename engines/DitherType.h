#pragma once
// The word-length reduction algorithms a project can choose; the raw values are stored in projects and
// shown to the user. Plain values, any thread.

#include <array>
#include <optional>
#include <string_view>

namespace orvane {

enum class DitherType { none, tpdf, highPass, lipshitz, shibata, gesemann };

// Every case, in the order the user sees them.
inline constexpr std::array<DitherType, 6> allDitherTypes = {DitherType::none,     DitherType::tpdf,
                                                             DitherType::highPass, DitherType::lipshitz,
                                                             DitherType::shibata,  DitherType::gesemann};

// "None", "TPDF", "High-Pass", "Lipshitz", "Shibata", "Gesemann".
std::string_view rawValue(DitherType type) noexcept;
// The case whose raw value is exactly raw; absent for anything else.
std::optional<DitherType> ditherTypeFromRaw(std::string_view raw) noexcept;

// The error-feedback coefficients c1 ... c4 of a type; all zero for none and tpdf.
std::array<double, 4> ditherFeedback(DitherType type) noexcept;

} // namespace orvane
