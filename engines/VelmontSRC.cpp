#include "engines/VelmontSRC.h"

#include "engines/MeridonReference.h"

namespace orvane::VelmontSRC {

std::unique_ptr<SRCEngine64> makeEngine(int fsIn, int fsOut) {
    const RateRatio ratio = reducedRatio(fsIn, fsOut);
    const auto prototype =
        MeridonReference::designPrototype(ratio.L, ratio.M, tapsPerPhase, 1.0, beta, false, 0.0);
    auto bank = std::make_shared<const PolyphaseFilterBank64>(ratio.L, ratio.M, prototype, tapsPerPhase);
    return std::make_unique<SRCEngine64>(fsIn, fsOut, std::move(bank), 0.0);
}

} // namespace orvane::VelmontSRC
