#include "engines/detail/WholePhaseWalk.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

namespace orvane::detail {
namespace {

struct Reference {
    std::vector<double> out;
    std::int64_t phaseAfter = 0;
};

// The walk as written, one input position at a time, with each dot product summed in the engine's
// sixteen lanes (tap t into lane t mod 16, lanes folded 8, then 4, then (0 + 2) + (1 + 3)).
Reference referenceWalk(const std::vector<double>& rows, std::size_t stride, std::int64_t L, std::int64_t M,
                        const std::vector<double>& x, std::size_t positions, std::int64_t phaseRows) {
    Reference r;
    std::int64_t phase = phaseRows;
    for (std::size_t i = 0; i < positions; ++i, phase -= L) {
        for (; phase < L; phase += M) {
            const double* c = rows.data() + static_cast<std::size_t>(phase) * stride;
            double acc[16] = {};
            for (std::size_t t = 0; t < stride; t += 16)
                for (std::size_t j = 0; j < 16; ++j)
                    acc[j] += x[i + t + j] * c[t + j];
            double s[8], q[4];
            for (std::size_t j = 0; j < 8; ++j)
                s[j] = acc[j] + acc[j + 8];
            for (std::size_t j = 0; j < 4; ++j)
                q[j] = s[j] + s[j + 4];
            r.out.push_back((q[0] + q[2]) + (q[1] + q[3]));
        }
    }
    r.phaseAfter = phase;
    return r;
}

TEST(WholePhaseWalk, givesTheWrittenWalkBitForBitInEveryBuild) {
    // Whatever order the outputs are worked out in (chunks of periods, several windows per row load)
    // and whichever build runs, every output has the bits of its own dot product summed in the fixed
    // lane order, in its own place, and the count and the phase after the block are the written
    // walk's. Cases: downsampling with a large bank (chunked), upsampling, a start past L, one row
    // (equal rates and 2:1, a long row), a block too short for a whole chunk, a single position, and
    // a start beyond the block.
    struct Case {
        std::int64_t L, M;
        std::size_t stride, positions;
        std::int64_t startRows;
    };
    const Case cases[] = {{147, 320, 128, 20000, 0}, {147, 160, 80, 9000, 3}, {160, 147, 128, 7000, 200},
                          {1, 1, 128, 5000, 0},      {1, 2, 592, 3001, 0},    {441, 320, 128, 100, 5},
                          {3, 7, 16, 1000, 2},       {7, 3, 16, 1, 0},        {5, 4, 32, 10, 1000},
                          {147, 640, 928, 4000, 146}};
    std::mt19937 rng(17);
    std::uniform_real_distribution<double> u(-1.0, 1.0);
    for (const Case& c : cases) {
        std::vector<double> rows(static_cast<std::size_t>(c.L + 1) * c.stride);
        for (double& v : rows)
            v = u(rng);
        std::vector<double> x(c.positions + c.stride - 1);
        for (double& v : x)
            v = u(rng);
        const Reference want = referenceWalk(rows, c.stride, c.L, c.M, x, c.positions, c.startRows);
        for (const WalkBuild build : {WalkBuild::fastest, WalkBuild::baseline}) {
            std::int64_t phase = c.startRows << 32;
            const WholePhaseWalk walk =
                planWholePhaseWalk(rows.data(), c.stride, c.L, c.M, c.positions, phase);
            ASSERT_EQ(walk.count, want.out.size()) << c.L << "/" << c.M;
            EXPECT_EQ(phase, want.phaseAfter << 32) << c.L << "/" << c.M;
            // Guard values around the output catch a write outside it.
            std::vector<double> out(walk.count + 2, 1234.5);
            walkWholePhase(walk, x.data(), out.data() + 1, build);
            EXPECT_EQ(out.front(), 1234.5);
            EXPECT_EQ(out.back(), 1234.5);
            EXPECT_TRUE(walk.count == 0 ||
                        std::memcmp(out.data() + 1, want.out.data(), walk.count * sizeof(double)) == 0)
                << c.L << "/" << c.M << (build == WalkBuild::fastest ? " fastest" : " baseline");
        }
    }
}

} // namespace
} // namespace orvane::detail
