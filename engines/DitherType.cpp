#include "engines/DitherType.h"

namespace orvane {

std::string_view rawValue(DitherType type) noexcept {
    switch (type) {
    case DitherType::none:
        return "None";
    case DitherType::tpdf:
        return "TPDF";
    case DitherType::highPass:
        return "High-Pass";
    case DitherType::lipshitz:
        return "Lipshitz";
    case DitherType::shibata:
        return "Shibata";
    case DitherType::gesemann:
        return "Gesemann";
    }
    return "None";
}

std::optional<DitherType> ditherTypeFromRaw(std::string_view raw) noexcept {
    for (const DitherType type : allDitherTypes) {
        if (rawValue(type) == raw) {
            return type;
        }
    }
    return std::nullopt;
}

std::array<double, 4> ditherFeedback(DitherType type) noexcept {
    switch (type) {
    case DitherType::none:
    case DitherType::tpdf:
        return {0.0, 0.0, 0.0, 0.0};
    case DitherType::highPass:
        return {1.0, 0.0, 0.0, 0.0};
    case DitherType::lipshitz:
        return {2.0, -1.0, 0.0, 0.0};
    case DitherType::shibata:
        return {2.412, -2.064, 0.598, 0.0};
    case DitherType::gesemann:
        return {2.033, -2.165, 1.959, -1.59};
    }
    return {0.0, 0.0, 0.0, 0.0};
}

} // namespace orvane
