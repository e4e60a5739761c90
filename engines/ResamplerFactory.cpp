#include "engines/ResamplerFactory.h"

#include "engines/MeridonReference.h"
#include "engines/R8BrainSRC.h"
#include "engines/SoxrSRC.h"
#include "engines/SsrcSRC.h"
#include "engines/VelmontSRC.h"

namespace orvane::ResamplerFactory {

tl::expected<std::unique_ptr<StreamingResampler>, RenderError> make(SRCPreset preset, int fsIn, int fsOut,
                                                                    bool minPhase) {
    if (fsIn <= 0 || fsOut <= 0)
        return tl::unexpected(RenderError{"Sample rates must be positive (got " + std::to_string(fsIn) +
                                          " Hz to " + std::to_string(fsOut) + " Hz)."});
    switch (preset) {
    case SRCPreset::velmontSRC:
        return VelmontSRC::makeEngine(fsIn, fsOut);
    case SRCPreset::meridonReference:
        return MeridonReference::makeEngine(fsIn, fsOut);
    case SRCPreset::soxVHQ:
        return std::make_unique<SoxrSRC>(fsIn, fsOut, minPhase);
    case SRCPreset::r8brainFree:
        return std::make_unique<R8BrainSRC>(fsIn, fsOut, r8brainMaxInLen, r8brainTransBandPercent, r8brainRes,
                                            minPhase);
    case SRCPreset::ssrcShibata:
        return std::make_unique<SsrcSRC>(fsIn, fsOut, ssrcLog2Len, ssrcAA, ssrcGuardBand, minPhase);
    }
    return tl::unexpected(RenderError{"Unknown sample-rate converter."});
}

Availability availability(SRCPreset preset) {
    switch (preset) {
    case SRCPreset::velmontSRC:
    case SRCPreset::meridonReference:
    case SRCPreset::soxVHQ:
        return {};
    case SRCPreset::r8brainFree:
        if (r8brainAvailable())
            return {};
        return {false, "r8brain-free-src was not compiled into this build"};
    case SRCPreset::ssrcShibata:
        if (SsrcSRC::ssrcBinaryURL())
            return {};
        return {false, "the ssrc_hp tool was not found"};
    }
    return {false, "unknown converter"};
}

} // namespace orvane::ResamplerFactory
