#include "engines/PolyphaseFilterBank64.h"

#include <gtest/gtest.h>

#include <numeric>

namespace orvane {
namespace {

TEST(PolyphaseFilterBank64, storesEachPhaseTimeReversedWithAnExtraRowOneSampleLater) {
    // Row p, entry T - 1 - t holds h[p + t L]; there are L + 1 rows and row L is row 0 shifted by one
    // input sample, with entry 0 zero.
    std::vector<double> h(3 * 4);
    std::iota(h.begin(), h.end(), 1.0); // h[n] = n + 1
    const PolyphaseFilterBank64 bank(3, 2, h, 4);
    ASSERT_EQ(bank.bank().size(), 4u * 4u);
    EXPECT_EQ(std::vector<double>(bank.row(0), bank.row(0) + 4), (std::vector<double>{10, 7, 4, 1}));
    EXPECT_EQ(std::vector<double>(bank.row(1), bank.row(1) + 4), (std::vector<double>{11, 8, 5, 2}));
    EXPECT_EQ(std::vector<double>(bank.row(2), bank.row(2) + 4), (std::vector<double>{12, 9, 6, 3}));
    EXPECT_EQ(std::vector<double>(bank.row(3), bank.row(3) + 4), (std::vector<double>{0, 10, 7, 4}));
}

TEST(PolyphaseFilterBank64, fillsWithZerosPastAShortPrototypeAndIgnoresALongOne) {
    // Entries whose index lies past the prototype, or at or past L * T, are 0.0.
    const std::vector<double> shortH{1, 2, 3, 4, 5};
    const PolyphaseFilterBank64 a(2, 1, shortH, 3);
    EXPECT_EQ(a.bank(), (std::vector<double>{5, 3, 1, 0, 4, 2, 0, 5, 3}));
    const std::vector<double> longH{1, 2, 3, 4, 5, 6, 7, 8};
    const PolyphaseFilterBank64 b(2, 1, longH, 2);
    EXPECT_EQ(b.bank(), (std::vector<double>{3, 1, 4, 2, 0, 3}));
}

TEST(PolyphaseFilterBank64, paddedRowsHoldTheSameTapsBehindLeadingZeros) {
    // The engine's rows are the bank's rows, zero-led to a whole number of vector steps, 64-byte aligned.
    std::vector<double> h(5 * 21);
    std::iota(h.begin(), h.end(), 1.0);
    const PolyphaseFilterBank64 bank(5, 3, h, 21);
    const int P = bank.paddedTaps();
    ASSERT_EQ(P, 32);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(bank.paddedBank()) % 64, 0u);
    for (int p = 0; p <= 5; ++p) {
        const double* padded = bank.paddedBank() + p * P;
        for (int e = 0; e < P - 21; ++e)
            EXPECT_EQ(padded[e], 0.0);
        EXPECT_EQ(std::vector<double>(padded + P - 21, padded + P),
                  std::vector<double>(bank.row(p), bank.row(p) + 21));
    }
}

TEST(PolyphaseFilterBank64, designedBankGivesEachPhaseUnitDCGain) {
    // The designing constructor normalises the prototype to a sum of L, so every row sums close to 1
    // for every window type (loosely for the nearly rectangular ones, whose images leak into DC).
    for (const char* window : {"kaiser", "blackman-harris", "nuttall", "hann", "gaussian", "rectangle"}) {
        const PolyphaseFilterBank64 bank(4, 5, -120.0, 0.9, 64, window, std::nullopt, 0.0, true);
        const bool nearlyRectangular =
            window == std::string("rectangle") || window == std::string("gaussian");
        const double tolerance = nearlyRectangular ? 0.05 : 1e-3;
        double total = 0.0;
        for (int p = 0; p < 4; ++p) {
            const double rowSum = std::accumulate(bank.row(p), bank.row(p) + 64, 0.0);
            total += rowSum;
            EXPECT_NEAR(rowSum, 1.0, tolerance) << window << " row " << p;
        }
        EXPECT_NEAR(total, 4.0, 1e-12) << window;
    }
}

} // namespace
} // namespace orvane
