#pragma once
// The filter ssrc_hp converts with: a linear-phase Kaiser-windowed sinc for the in-house polyphase engine,
// -160 dB in the stop band, flat to 0.91 of the lower Nyquist frequency and stopping at that Nyquist, with
// the engine started at the filter's centre so that the output has no delay. Any thread.

#include "engines/SRCEngine64.h"

#include <memory>
#include <string>
#include <tl/expected.hpp>

namespace orvane::ssrc {

struct HighQualityDesign {
    int L = 1;
    int M = 1;
    int tapsPerPhase = 2;
    double fcRatio = 0.955; // the -6 dB point, as a ratio of the lower Nyquist frequency
    double beta = 0.0;      // Kaiser beta for the stop band
    double startPhase = 0;  // the prototype's centre, in units of 1/L input sample
};

inline constexpr double kStopbandDB = -160.0;
inline constexpr double kPassbandEdge = 0.91; // of the lower Nyquist frequency
inline constexpr double kStopbandEdge = 1.0;

// The design for a rate pair: taps per phase from Kaiser's length estimate, even, and scaled up by the
// decimation ratio when the rate goes down.
HighQualityDesign highQualityDesign(int fsIn, int fsOut);

// A ready engine; an error text when the ratio needs a bank too large to hold.
tl::expected<std::unique_ptr<SRCEngine64>, std::string> makeHighQualityEngine(int fsIn, int fsOut);

} // namespace orvane::ssrc
