#include "analysis/SpectralCache.h"
#include "analysis/SpectralDifference.h"
#include "analysis/SpectralImprintAnalyzer.h"
#include "analysis/tests/AnalysisTestFiles.h"
#include "platform/DefaultsStore.h"
#include "workspace/WorkspaceState.h"
#include "workspace/tests/FakePlayback.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <numbers>

namespace orvane::testing {
namespace {

// Deterministic white noise in -0.25 ... 0.25, the same for every run.
float noise(std::int64_t n) {
    std::uint32_t x = static_cast<std::uint32_t>(n) * 2654435761u + 12345u;
    x ^= x >> 15;
    x *= 2246822519u;
    x ^= x >> 13;
    return (static_cast<float>(x & 0xFFFF) / 65535.0f - 0.5f) * 0.5f;
}

class SpectralImprints : public TempFolderTest {
  protected:
    SpectralImprint imprintOf(const std::string& name, const Signal& signal, std::int64_t frames,
                              double rate = 44100.0) {
        writeSamples(file(name), 2, frames, signal, rate);
        auto imprint = SpectralImprintAnalyzer::analyze(file(name));
        EXPECT_TRUE(imprint.has_value());
        return imprint.value_or(SpectralImprint{});
    }
};

TEST_F(SpectralImprints, bandsFollowTheRateAndLowBandsWithoutABinAreLeftOut) {
    writeSamples(file("short.wav"), 2, 8191, [](int, std::int64_t n) { return noise(n); });
    EXPECT_FALSE(SpectralImprintAnalyzer::analyze(file("short.wav")).has_value());
    writeNotAudio(file("junk.wav"));
    EXPECT_FALSE(SpectralImprintAnalyzer::analyze(file("junk.wav")).has_value());

    const auto tone = imprintOf(
        "tone.wav",
        [](int, std::int64_t n) {
            return static_cast<float>(
                0.5 * std::sin(2.0 * std::numbers::pi * 1000.0 * static_cast<double>(n) / 44100.0));
        },
        8192 * 4);
    // 12 bands an octave from 20 Hz up to 22050 Hz, every one of them meeting a bin at this rate.
    EXPECT_EQ(tone.frequencies.size(), 122u);
    EXPECT_EQ(tone.frequencies.size(), tone.magnitudesDb.size());
    EXPECT_TRUE(std::is_sorted(tone.frequencies.begin(), tone.frequencies.end()));
    const auto loudest = std::max_element(tone.magnitudesDb.begin(), tone.magnitudesDb.end());
    const double peakHz = tone.frequencies[static_cast<std::size_t>(loudest - tone.magnitudesDb.begin())];
    EXPECT_NEAR(peakHz, 1000.0, 60.0);

    // At a lower rate the bands above its Nyquist frequency hold no bin and are left out, so the two
    // grids cannot be subtracted.
    const auto low = imprintOf(
        "low.wav", [](int, std::int64_t n) { return noise(n); }, 8192 * 2, 22050.0);
    EXPECT_EQ(low.frequencies.size(), 110u);
    EXPECT_LT(low.frequencies.back(), 11025.0 * 1.03); // the last band straddles Nyquist
    EXPECT_FALSE(low.difference(tone).has_value());
    EXPECT_FALSE(SpectralDifference::panel(tone, low, 20.0, 20000.0, false).has_value());
}

TEST_F(SpectralImprints, differenceIsLevelIndependentAndShowsOnlyWhatChanged) {
    const std::int64_t frames = 8192 * 12;
    const auto master = imprintOf(
        "m.wav", [](int, std::int64_t n) { return noise(n); }, frames);
    const auto louder = imprintOf(
        "l.wav", [](int, std::int64_t n) { return 2.0f * noise(n); }, frames);
    auto same = SpectralDifference::panel(master, louder, 20.0, 20000.0, false);
    ASSERT_TRUE(same.has_value());
    ASSERT_FALSE(same->differences.empty());
    for (double d : same->differences)
        EXPECT_NEAR(d, 0.0, 1e-6);
    EXPECT_DOUBLE_EQ(same->half, 0.01); // the scale shrinks to its floor

    // A take with added energy near 20 kHz: flat in the pass band, a rise in the transition panel.
    const auto bright = imprintOf(
        "b.wav",
        [](int, std::int64_t n) {
            return noise(n) + static_cast<float>(0.1 * std::sin(2.0 * std::numbers::pi * 20000.0 *
                                                                static_cast<double>(n) / 44100.0));
        },
        frames);
    const auto passband = SpectralDifference::panel(master, bright, 20.0, 18000.0, false);
    const auto transition = SpectralDifference::panel(master, bright, 18000.0, 22500.0, true);
    ASSERT_TRUE(passband.has_value() && transition.has_value());
    for (double d : passband->differences)
        EXPECT_NEAR(d, 0.0, 0.05);
    const double rise = *std::max_element(transition->differences.begin(), transition->differences.end());
    EXPECT_GT(rise, 3.0);
    EXPECT_NEAR(transition->half, rise * 1.18, 1e-9);
    for (double f : transition->frequencies)
        EXPECT_GE(f, 18000.0);

    SpectralImprint empty;
    EXPECT_TRUE(empty.normalized(0.0).isEmpty());
    const auto shifted = master.normalized(-10.0);
    double mean = 0.0;
    for (double level : shifted.magnitudesDb)
        mean += level;
    EXPECT_NEAR(mean / static_cast<double>(shifted.magnitudesDb.size()), -10.0, 1e-9);
}

TEST_F(SpectralImprints, theWorkspaceCacheFillsOnTheMainLoopAndDropsALateResultAfterInvalidation) {
    writeSamples(file("a.wav"), 2, 8192 * 3, [](int, std::int64_t n) { return noise(n); });
    writeSamples(file("b.wav"), 2, 8192 * 3, [](int, std::int64_t n) { return noise(n + 7); });
    MainLoop loop{std::make_shared<ManualClock>()};
    DefaultsStore defaults(folder / "defaults.json");
    auto engine = std::make_shared<FakePlayback::State>();
    WorkspaceState ws(loop, std::make_unique<FakePlayback>(engine), defaults);
    CDProject p;
    p.tracks = {CDTrack::make("One", std::nullopt, 150, 8192 * 3)};
    p.tracks[0].audioFileURL = FileURL::fromPath(file("a.wav"));
    p.tracks[0].versions = {TrackVersion::make(FileURL::fromPath(file("b.wav")))};
    ws.setProject(p);
    const Uuid track = ws.project().tracks[0].id;
    const Uuid take = ws.project().tracks[0].versions[0].id;

    SpectralCache cache(ws, loop);
    EXPECT_EQ(cache.queue().label(), "orvane.spectral");
    cache.analyzeSpectralImprint(track, track);
    cache.analyzeSpectralImprint(track, take);
    EXPECT_EQ(cache.spectralInFlight().size(), 2u);
    ws.hooks.invalidateSpectral(take); // the take's file changed while it was measured
    cache.queue().waitUntilIdle();
    loop.runUntilIdle();
    EXPECT_TRUE(cache.spectralCache().contains(track));
    EXPECT_FALSE(cache.spectralCache().contains(take));
    EXPECT_TRUE(cache.spectralInFlight().empty());

    cache.analyzeSpectralImprint(track, Uuid::random()); // no such source
    EXPECT_TRUE(cache.spectralInFlight().empty());
    ws.hooks.clearSpectralCache();
    EXPECT_TRUE(cache.spectralCache().empty());
}

} // namespace
} // namespace orvane::testing
