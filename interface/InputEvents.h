#pragma once
// The abstract pointer, wheel and key events that the timeline, table and transport bar logic work
// on. The desktop shell turns its toolkit's events into these values and calls the logic with them.
// Plain values; main thread.

#include <cstdint>

namespace orvane {

// The modifier keys. On Linux Ctrl stands where the desktop's shortcuts elsewhere say Command,
// Alt for Option and Meta for Control.
enum class ModifierKey : std::uint8_t { shift = 1, ctrl = 2, alt = 4, meta = 8 };

// A set of modifier keys held during an event.
struct Modifiers {
    std::uint8_t bits = 0;

    constexpr Modifiers() = default;
    constexpr Modifiers(ModifierKey key) : bits(static_cast<std::uint8_t>(key)) {}
    constexpr Modifiers operator|(Modifiers other) const {
        Modifiers m;
        m.bits = static_cast<std::uint8_t>(bits | other.bits);
        return m;
    }
    constexpr bool has(ModifierKey key) const { return (bits & static_cast<std::uint8_t>(key)) != 0; }
    // Only exactly these keys are down.
    constexpr bool isExactly(Modifiers other) const { return bits == other.bits; }
    bool operator==(const Modifiers&) const = default;
};

constexpr Modifiers operator|(ModifierKey a, ModifierKey b) {
    return Modifiers(a) | Modifiers(b);
}

enum class PointerButton { primary, secondary };

// A press, drag or release at a point of the canvas (its own coordinates, y growing downward).
struct PointerEvent {
    double x = 0.0;
    double y = 0.0;
    PointerButton button = PointerButton::primary;
    int clickCount = 1; // 2 is a double press
    Modifiers modifiers;
};

// A wheel or trackpad scroll over the timeline. `x`, `y` are in the canvas; deltas are in the
// toolkit's lines, positive upward / rightward.
struct WheelEvent {
    double x = 0.0;
    double y = 0.0;
    double deltaX = 0.0;
    double deltaY = 0.0;
    Modifiers modifiers;
};

enum class Key { leftArrow, rightArrow, other };

struct KeyEvent {
    Key key = Key::other;
    Modifiers modifiers;
};

} // namespace orvane
