#pragma once
// The "Velmont SRC" converter, the default of a new project: one fixed design for every rate pair,
// 128 taps a phase, Kaiser beta 12.81626, cut-off at the lower Nyquist frequency, start phase 0 (so
// the filter's delay of about 64 input samples stays in the output). Any thread.

#include "engines/SRCEngine64.h"

#include <memory>

namespace orvane::VelmontSRC {

inline constexpr int tapsPerPhase = 128;
inline constexpr double beta = 12.81626;

// A new engine for the pair; designs its bank from nothing.
std::unique_ptr<SRCEngine64> makeEngine(int fsIn, int fsOut);

} // namespace orvane::VelmontSRC
