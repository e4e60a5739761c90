#include "platform/AudioOutput.h"

#include <chrono>

namespace orvane {

double AudioOutput::hostTimeNow() noexcept {
    // The steady clock never jumps with the wall clock, so host times stay comparable across a
    // whole session.
    const auto since = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration<double>(since).count();
}

} // namespace orvane
