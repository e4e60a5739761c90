#pragma once
// The time the transport display shows instead of the playhead while a locator flag (the pin or a
// loop flag) is being dragged. A plain value; main thread.

#include <variant>

namespace orvane {

struct TimecodeOverride {
    struct Pin {
        double seconds = 0.0;
        bool operator==(const Pin&) const = default;
    };
    struct Loop {
        double seconds = 0.0;
        bool operator==(const Loop&) const = default;
    };
    std::variant<Pin, Loop> value;

    double seconds() const {
        return std::visit([](const auto& v) { return v.seconds; }, value);
    }
    bool operator==(const TimecodeOverride&) const = default;
};

} // namespace orvane
