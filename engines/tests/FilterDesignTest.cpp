#include "engines/FilterDesign.h"

#include <gtest/gtest.h>

#include <cmath>

namespace orvane {
namespace {

using namespace FilterDesign;

TEST(FilterDesignI0, matchesKnownValuesAndStaysFiniteForLargeArguments) {
    // The series gives the Bessel function to near double precision and, cut at 50 terms, never
    // runs away for a huge argument.
    EXPECT_DOUBLE_EQ(i0(0.0), 1.0);
    EXPECT_NEAR(i0(1.0), 1.2660658777520082, 1e-15);
    EXPECT_NEAR(i0(5.0), 27.239871823604442, 1e-12);
    EXPECT_NEAR(i0(10.0) / 2815.716628466254, 1.0, 1e-14);
    EXPECT_DOUBLE_EQ(i0(-3.0), i0(3.0));
    const double huge = i0(200.0);
    EXPECT_TRUE(std::isfinite(huge));
    // The true value is about exp(200) / sqrt(2 pi 200), some 1.4e85; fifty terms fall far short.
    EXPECT_LT(huge, 1e84);
    EXPECT_GT(huge, i0(100.0));
}

TEST(FilterDesignKaiserBeta, followsTheThreeAttenuationRegimes) {
    // Above 50 dB the linear rule, from 21 dB the power rule, below it a rectangular window.
    EXPECT_NEAR(kaiserBeta(-160.0), 0.1102 * 151.3, 1e-12);
    EXPECT_NEAR(kaiserBeta(50.0), 0.1102 * 41.3, 1e-12);
    EXPECT_NEAR(kaiserBeta(30.0), 0.5842 * std::pow(9.0, 0.4) + 0.07886 * 9.0, 1e-12);
    EXPECT_DOUBLE_EQ(kaiserBeta(21.0), 0.0);
    EXPECT_DOUBLE_EQ(kaiserBeta(-20.9), 0.0);
    EXPECT_DOUBLE_EQ(kaiserBeta(60.0), kaiserBeta(-60.0));
}

TEST(FilterDesignWindows, areSymmetricAboutTheirCentreWithTheExpectedEdges) {
    // Centred windows mirror about the middle; their edges and peaks are those of their definitions.
    const int N = 101;
    const double c = 50.0;
    const auto kaiser = kaiserWindow(N, 8.0, c);
    const auto bh = blackmanHarrisWindow(N, c);
    const auto nut = nuttallWindow(N, c);
    const auto hann = hannWindow(N, c);
    const auto gauss = gaussianWindow(N, 0.5, c);
    for (const auto* w : {&kaiser, &bh, &nut, &hann, &gauss}) {
        ASSERT_EQ(w->size(), static_cast<std::size_t>(N));
        for (int n = 0; n < N; ++n)
            EXPECT_NEAR((*w)[n], (*w)[N - 1 - n], 1e-14) << n;
        EXPECT_NEAR((*w)[50], 1.0, 1e-12);
    }
    EXPECT_NEAR(kaiser[0], 1.0 / i0(8.0), 1e-15);
    EXPECT_NEAR(hann[0], 0.0, 1e-15);
    EXPECT_NEAR(bh[0], 0.00006, 1e-12);
    EXPECT_NEAR(nut[0], 0.0, 1e-12);
    EXPECT_NEAR(gauss[0], std::exp(-0.5 * 4.0), 1e-15);
}

TEST(FilterDesignWindows, giveOneForASinglePointAndHoldTheEdgeValuePastAShiftedCentre) {
    // N = 1 is the single value 1.0 whatever the parameter; a centre moved off the middle keeps the
    // Kaiser window real, at its edge value 1 / i0(beta), beyond the nominal span.
    EXPECT_EQ(kaiserWindow(1, 30.0, 7.0), std::vector<double>{1.0});
    EXPECT_EQ(hannWindow(1, 0.0), std::vector<double>{1.0});
    EXPECT_EQ(gaussianWindow(1, 2.0, 0.0), std::vector<double>{1.0});
    const auto shifted = kaiserWindow(11, 6.0, 2.0); // span is +-5 around 2: n = 8 ... 10 lie past it
    EXPECT_NEAR(shifted[10], 1.0 / i0(6.0), 1e-15);
    EXPECT_NEAR(shifted[2], 1.0, 1e-15);
    EXPECT_EQ(namedWindow("triangle", 4, std::nullopt, -100.0, 1.5), std::vector<double>(4, 1.0));
    EXPECT_EQ(namedWindow("kaiser", 9, std::nullopt, -100.0, 4.0), kaiserWindow(9, kaiserBeta(-100.0), 4.0));
    EXPECT_EQ(namedWindow("gaussian", 9, std::nullopt, -100.0, 4.0), gaussianWindow(9, 3.5, 4.0));
}

TEST(FilterDesignSinc, peaksAtTwiceTheCutoffAndCrossesZeroAtItsPeriod) {
    // At the centre the value is 2 fc; zeros fall every 1 / (2 fc) samples from it.
    const auto h = sincFilter(41, 0.125, 20.0);
    EXPECT_DOUBLE_EQ(h[20], 0.25);
    for (int k : {4, 8, 12, 16})
        EXPECT_NEAR(h[20 + k], 0.0, 1e-16);
    EXPECT_NEAR(h[22], std::sin(kTwoPi * 0.125 * 2.0) / (kPi * 2.0), 1e-16);
    EXPECT_DOUBLE_EQ(h[19], h[21]);
    // A fractional centre has no sample at 2 fc.
    EXPECT_LT(sincFilter(4, 0.25, 1.5)[1], 0.5);
}

} // namespace
} // namespace orvane
