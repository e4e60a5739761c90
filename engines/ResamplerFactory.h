#pragma once
// Builds the per-channel converter of a preset for a rate pair, with the settings a file conversion
// uses, and says which presets this build can run. Any thread; each call makes a new converter.

#include "engines/SRCPreset.h"
#include "engines/StreamingResampler.h"

#include <memory>
#include <string>
#include <tl/expected.hpp>

namespace orvane::ResamplerFactory {

// Settings handed to the outside converters.
inline constexpr int r8brainMaxInLen = 65536;
inline constexpr double r8brainTransBandPercent = 2.0;
inline constexpr int r8brainRes = 24;
inline constexpr int ssrcLog2Len = 14;
inline constexpr double ssrcAA = 145.0;
inline constexpr double ssrcGuardBand = 2.0;

// One converter for one channel. minPhase is ignored by the linear-only presets. Fails only for rates
// that are not positive, with a message naming them.
tl::expected<std::unique_ptr<StreamingResampler>, RenderError> make(SRCPreset preset, int fsIn, int fsOut,
                                                                    bool minPhase);

struct Availability {
    bool available = true;
    std::string reason; // why not, when not
};
// Whether a conversion with the preset can succeed in this build and installation: r8brain needs the
// library compiled in, SSRC its tool.
Availability availability(SRCPreset preset);

} // namespace orvane::ResamplerFactory
