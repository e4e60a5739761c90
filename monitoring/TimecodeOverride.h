#pragma once
// The time the transport display shows instead of the playhead while a locator flag (the pin or a
// loop flag) is being dragged, as a disc sample at 44.1 kHz. A plain value; main thread.

#include <cstdint>
#include <variant>

namespace orvane {

struct TimecodeOverride {
    struct Pin {
        std::int64_t sample = 0;
        bool operator==(const Pin&) const = default;
    };
    struct Loop {
        std::int64_t sample = 0;
        bool operator==(const Loop&) const = default;
    };
    std::variant<Pin, Loop> value;

    std::int64_t sample() const {
        return std::visit([](const auto& v) { return v.sample; }, value);
    }
    bool operator==(const TimecodeOverride&) const = default;
};

} // namespace orvane
