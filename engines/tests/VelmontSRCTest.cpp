#include "engines/VelmontSRC.h"

#include "engines/tests/ConvertStream.h"
#include "testsupport/ToneFit.h"

#include <gtest/gtest.h>

namespace orvane {
namespace {

using namespace orvane::testing;

TEST(VelmontSRC, usesOneFixedDesignForEveryRatePair) {
    // 128 taps a phase, the reduced ratio, and start phase 0 whatever the rates.
    auto e = VelmontSRC::makeEngine(96000, 44100);
    EXPECT_EQ(e->tapsPerPhase(), 128);
    EXPECT_EQ(e->L(), 147);
    EXPECT_EQ(e->M(), 320);
    EXPECT_EQ(e->phase_acc(), 0);
    auto up = VelmontSRC::makeEngine(44100, 192000);
    EXPECT_EQ(up->tapsPerPhase(), 128);
    EXPECT_EQ(up->L(), 640);
    EXPECT_EQ(up->M(), 147);
}

TEST(VelmontSRC, keepsTonesCleanAndAtLevelAcrossCommonRatePairs) {
    // A tone comes out at its own frequency, level within 0.001 dB, and everything else (images,
    // aliases, rounding) at least 130 dB down.
    const int pairs[][2] = {{96000, 44100}, {48000, 44100}, {44100, 48000}, {44100, 96000}, {192000, 44100}};
    for (const auto& pair : pairs) {
        for (double hz : {997.0, 15000.0}) {
            auto engine = VelmontSRC::makeEngine(pair[0], pair[1]);
            const auto y = convert(*engine, sine(pair[0], static_cast<std::size_t>(pair[0] / 2), hz, 0.5));
            const auto fit = fitTone(y, pair[1], hz, 2000, y.size() - 4000);
            EXPECT_NEAR(dB(fit.amplitude / 0.5), 0.0, 0.001) << pair[0] << "->" << pair[1] << " " << hz;
            EXPECT_LT(dB(fit.residualRms / (0.5 / std::sqrt(2.0))), -130.0)
                << pair[0] << "->" << pair[1] << " " << hz;
        }
    }
}

TEST(VelmontSRC, suppressesTonesAboveTheTargetNyquist) {
    // Content past the new Nyquist frequency and the filter's transition is removed, not folded back.
    struct Case {
        int fsIn;
        double hz;
        double maxDB;
    };
    for (const Case c :
         {Case{96000, 30000.0, -125.0}, Case{88200, 30000.0, -125.0}, Case{48000, 23500.0, -90.0}}) {
        auto engine = VelmontSRC::makeEngine(c.fsIn, 44100);
        const auto y = convert(*engine, sine(c.fsIn, static_cast<std::size_t>(c.fsIn / 2), c.hz, 0.5));
        EXPECT_LT(levelDB(y, 2000, 0.5), c.maxDB) << c.fsIn << " " << c.hz;
    }
}

TEST(VelmontSRC, keepsTheWholeFilterDelayEvenAtEqualRates) {
    // Start phase 0 leaves the delay of (L T - 1) / 2 / L input samples in the output: about 64 at
    // 48 kHz to 44.1 kHz, and 63.5 at 44.1 kHz to 44.1 kHz, which is no shortcut: full level, and the
    // flush's 64 extra samples.
    struct Case {
        int fsIn;
        double hz;
        double delaySamples, tolerance;
    };
    for (const Case c :
         {Case{48000, 100.0, (147.0 * 128.0 - 1.0) / 2.0 / 147.0, 0.01}, Case{44100, 50.0, 63.5, 1e-6}}) {
        auto engine = VelmontSRC::makeEngine(c.fsIn, 44100);
        const auto y = convert(*engine, sine(c.fsIn, static_cast<std::size_t>(c.fsIn), c.hz, 0.5));
        const auto fit = fitTone(y, 44100, c.hz, 2000, 40000);
        EXPECT_NEAR(-fit.phase / (kTwoPi * c.hz) * c.fsIn, c.delaySamples, c.tolerance) << c.fsIn;
    }
    auto same = VelmontSRC::makeEngine(44100, 44100);
    EXPECT_EQ(same->L(), 1);
    EXPECT_EQ(same->M(), 1);
    const auto y = convert(*same, sine(44100, 44100, 997.0, 0.5));
    EXPECT_EQ(y.size(), 44100u + 64);
    EXPECT_NEAR(dB(fitTone(y, 44100, 997.0, 1000, 40000).amplitude / 0.5), 0.0, 1e-6);
}

} // namespace
} // namespace orvane
