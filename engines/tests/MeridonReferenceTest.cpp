#include "engines/MeridonReference.h"

#include "engines/tests/ConvertStream.h"
#include "testsupport/TempFolder.h"
#include "testsupport/ToneFit.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <random>

namespace orvane {
namespace {

using namespace orvane::testing;

class MeridonTable : public ::testing::Test {
  protected:
    // A table file of byteCount bytes whose doubles are 0.5, 1.5, 2.5 ... in little-endian order.
    std::filesystem::path writeTable(std::size_t byteCount) {
        std::vector<unsigned char> bytes(byteCount, 0xAB);
        for (std::size_t i = 0; i * 8 + 8 <= byteCount; ++i) {
            const double v = static_cast<double>(i) + 0.5;
            std::uint64_t bits;
            std::memcpy(&bits, &v, 8);
            for (int b = 0; b < 8; ++b)
                bytes[i * 8 + static_cast<std::size_t>(b)] = static_cast<unsigned char>(bits >> (8 * b));
        }
        const auto path = dir_.path / ("table-" + std::to_string(byteCount) + ".bin");
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        return path;
    }

    TempFolder dir_{"orvane-meridon-test"};
};

TEST(MeridonReference, buildsTheCalibratedDesignForEachPair) {
    // Without the table, 48 kHz to 44.1 kHz runs 75 taps from start phase -92; 44.1 to 48 runs 116
    // from -109; 96 to 88.2 keeps the whole part 55 of 55.2; an unlisted pair uses 116 taps from 0.
    struct Case {
        int fsIn, fsOut, taps;
        std::int64_t startRows;
    };
    for (const Case c : {Case{48000, 44100, 75, -92}, Case{44100, 48000, 116, -109},
                         Case{96000, 88200, 58, 55}, Case{32000, 44100, 116, 0}}) {
        SCOPED_TRACE(std::to_string(c.fsIn) + " to " + std::to_string(c.fsOut));
        auto e = MeridonReference::makeEngine(c.fsIn, c.fsOut, std::nullopt);
        EXPECT_EQ(e->tapsPerPhase(), c.taps);
        EXPECT_EQ(e->phase_acc(), c.startRows << 32);
    }
    EXPECT_EQ(MeridonReference::makeEngine(48000, 44100, std::nullopt)->bank().bank(),
              PolyphaseFilterBank64(
                  147, 160, MeridonReference::designPrototype(147, 160, 75, 0.99888, 5.88856, true, -0.5), 75)
                  .bank());
}

TEST(MeridonReference, designPrototypeSumsToLAndCentresWhereAsked) {
    // The prototype has L * taps points summing to L; aligned it is symmetric about its rounded
    // centre, and a centre shift of -0.5 moves its peak half a sample earlier.
    const auto h = MeridonReference::designPrototype(3, 4, 9, 1.0, 8.0, true, 0.0);
    ASSERT_EQ(h.size(), 27u);
    EXPECT_NEAR(std::accumulate(h.begin(), h.end(), 0.0), 3.0, 1e-12);
    EXPECT_EQ(std::max_element(h.begin(), h.end()) - h.begin(), 13);
    for (int d = 1; d <= 13; ++d)
        EXPECT_NEAR(h[static_cast<std::size_t>(13 - d)], h[static_cast<std::size_t>(13 + d)], 1e-15);
    const auto even = MeridonReference::designPrototype(2, 3, 4, 1.0, 8.0, true, -0.5); // centre 4 - 0.5
    for (int d = 0; d < 3; ++d)
        EXPECT_NEAR(even[static_cast<std::size_t>(3 - d)], even[static_cast<std::size_t>(4 + d)], 1e-15);
}

TEST_F(MeridonTable, replacesTheDesignFor48To44WhenTheTableHasTheRightSize) {
    // A file of 16170 doubles (a few stray bytes after them are ignored) becomes 148 rows of 110 taps
    // from start phase 8242, its values unscaled.
    for (std::size_t bytes : {std::size_t{129360}, std::size_t{129367}}) {
        const auto table = writeTable(bytes);
        auto e = MeridonReference::makeEngine(48000, 44100, table);
        ASSERT_EQ(e->tapsPerPhase(), 110) << bytes;
        EXPECT_EQ(e->phase_acc(), std::int64_t{8242} << 32);
        EXPECT_EQ(e->bank().bank().size(), 16280u);
        const double* row5 = e->bank().row(5);
        EXPECT_EQ(row5[109], 5.5);                   // prototype[5]
        EXPECT_EQ(row5[109 - 2], 5 + 2 * 147 + 0.5); // prototype[5 + 2 * 147]
        EXPECT_EQ(e->bank().row(147)[0], 0.0);
    }
    // Only 48000 -> 44100 reads the table.
    EXPECT_EQ(MeridonReference::makeEngine(44100, 48000, writeTable(129360))->tapsPerPhase(), 116);
}

TEST_F(MeridonTable, fallsBackSilentlyForAMissingOrMisSizedTable) {
    // One double too many or too few, or no file at all: the calibrated 75-tap design.
    for (const auto& path : {writeTable(129368), writeTable(129352), dir_.path / "absent.bin"})
        EXPECT_EQ(MeridonReference::makeEngine(48000, 44100, path)->tapsPerPhase(), 75) << path;
    EXPECT_FALSE(MeridonReference::loadTable(dir_.path / "absent.bin"));
    EXPECT_EQ(MeridonReference::loadTable(writeTable(129360))->size(), 16170u);
}

TEST(MeridonReference, looksForTheTableInTheInstalledDataFolders) {
    // <prefix>/share/orvane, its engine bundle folder, then a bundle folder beside the program.
    const auto c = MeridonReference::tableCandidates("/opt/orvane/bin");
    ASSERT_EQ(c.size(), 3u);
    EXPECT_EQ(c[0], "/opt/orvane/share/orvane/meridon_reference_48_to_44.bin");
    EXPECT_EQ(c[1], "/opt/orvane/share/orvane/Orvane_VelmontEngine.bundle/meridon_reference_48_to_44.bin");
    EXPECT_EQ(c[2], "/opt/orvane/bin/Orvane_VelmontEngine.bundle/meridon_reference_48_to_44.bin");
}

TEST(MeridonReference, keepsTonesAtLevelWithTheCalibratedSuppression) {
    // Each calibrated pair passes a tone at level; what else comes out stays under that pair's limit
    // (the 48 kHz pair trades stop-band depth for its short filter).
    struct Case {
        int fsIn, fsOut;
        double hz, maxResidualDB;
    };
    const Case cases[] = {{96000, 44100, 997.0, -115.0},  {96000, 44100, 15000.0, -135.0},
                          {48000, 44100, 997.0, -75.0},   {48000, 44100, 15000.0, -72.0},
                          {44100, 48000, 997.0, -170.0},  {44100, 48000, 15000.0, -165.0},
                          {44100, 96000, 15000.0, -93.0}, {192000, 44100, 15000.0, -130.0}};
    for (const Case& c : cases) {
        auto engine = MeridonReference::makeEngine(c.fsIn, c.fsOut, std::nullopt);
        const auto y = convert(*engine, sine(c.fsIn, static_cast<std::size_t>(c.fsIn / 2), c.hz, 0.5));
        const auto fit = fitTone(y, c.fsOut, c.hz, 2000, y.size() - 4000);
        EXPECT_NEAR(dB(fit.amplitude / 0.5), 0.0, 0.01) << c.fsIn << "->" << c.fsOut << " " << c.hz;
        EXPECT_LT(dB(fit.residualRms / (0.5 / std::sqrt(2.0))), c.maxResidualDB)
            << c.fsIn << "->" << c.fsOut << " " << c.hz;
    }
    // Above the new Nyquist frequency: folded back at most at -105 dB (96 kHz), -60 dB (48 kHz).
    for (const auto& [fsIn, hz, maxDB] :
         {std::tuple{96000, 30000.0, -105.0}, std::tuple{48000, 23500.0, -60.0}}) {
        auto engine = MeridonReference::makeEngine(fsIn, 44100, std::nullopt);
        const auto y = convert(*engine, sine(fsIn, static_cast<std::size_t>(fsIn / 2), hz, 0.5));
        EXPECT_LT(levelDB(y, 2000, 0.5), maxDB) << fsIn;
    }
}

TEST(MeridonReference, passesEqualRatesThroughAsAPureDelay) {
    // At 44.1 kHz to 44.1 kHz the aligned sinc is a unit impulse 58 samples in: the output is the input
    // 58 samples later, and the negative start of 48 kHz to 44.1 kHz adds its outputs up front.
    auto same = MeridonReference::makeEngine(44100, 44100, std::nullopt);
    std::mt19937 rng(9);
    std::uniform_real_distribution<double> u(-1.0, 1.0);
    std::vector<double> x(5000);
    for (double& v : x)
        v = u(rng);
    const auto y = convert(*same, x);
    ASSERT_EQ(y.size(), x.size() + 58);
    for (std::size_t k = 0; k < x.size(); ++k)
        ASSERT_NEAR(y[k + 58], x[k], 1e-13) << k;
    for (std::size_t k = 0; k < 58; ++k)
        ASSERT_NEAR(y[k], 0.0, 1e-13);

    auto down = MeridonReference::makeEngine(48000, 44100, std::nullopt);
    const auto z = convert(*down, x);
    const std::int64_t positions = 5000 + 37;
    EXPECT_EQ(static_cast<std::int64_t>(z.size()), (positions * 147 + 92 + 159) / 160);
}

} // namespace
} // namespace orvane
