#include "engines/detail/WholePhaseWalk.h"

#include "engines/detail/PolyphaseDot.h"

namespace orvane::detail {

namespace {

// The step from one output to the next, without a branch: whether the row wraps follows no pattern
// the processor could learn.
[[gnu::always_inline]] inline void advance(const WholePhaseWalk& w, std::size_t positionStep,
                                           std::size_t rowStep, std::size_t& position,
                                           std::size_t& row) noexcept {
    row += rowStep;
    const std::size_t wrap = std::size_t{0} - static_cast<std::size_t>(row >= w.L); // all ones or 0
    row -= w.L & wrap;
    position += positionStep - wrap;
}

// About half the first-level data cache, in doubles: room for the input of a chunk.
constexpr std::size_t kCachedInputDoubles = 2048;

// Taken in order, each output needs another row, and a bank of more than a few rows is not in the
// first-level cache, so the time would go to waiting for rows and loading each once per output.
// Instead the outputs go in chunks of a few periods of L outputs: for each row of the period, the
// outputs of every period of the chunk that use it, a few at a time against one load of the row,
// while the chunk's input stays in the first-level cache. Each output is still one dot product of
// its own, written to its own place.
std::size_t periodsPerChunk(const WholePhaseWalk& w, std::size_t inputDoubles) noexcept {
    if (inputDoubles <= w.rowStride)
        return 1;
    const std::size_t periods = (inputDoubles - w.rowStride) / w.M;
    return periods >= 2 ? periods : 1;
}

// Calls compute.group<Count>(first output, output step, first position, position step, row) for
// groups of Group outputs that share a row (single ones where a chunk's periods do not divide
// evenly, and past the last whole chunk), covering every output of the walk once.
template <std::size_t Group, typename Compute>
[[gnu::always_inline]] inline void forEachGroup(const WholePhaseWalk& w, std::size_t inputDoubles,
                                                const Compute& compute) noexcept {
    const std::size_t positionStep = w.M / w.L;
    const std::size_t rowStep = w.M % w.L;
    const std::size_t periods = periodsPerChunk(w, inputDoubles);
    const std::size_t chunk = periods * w.L;
    std::size_t k = 0;
    std::size_t i = w.firstPosition;
    std::size_t p = w.firstRow;
    if (periods >= Group) {
        for (; k + chunk <= w.count; k += chunk, i += periods * w.M) {
            std::size_t position = i;
            std::size_t row = p;
            for (std::size_t r = 0; r < w.L; ++r, advance(w, positionStep, rowStep, position, row)) {
                std::size_t m = 0;
                for (; m + Group <= periods; m += Group)
                    compute.template group<Group>(k + r + m * w.L, w.L, position + m * w.M, w.M, row);
                for (; m < periods; ++m)
                    compute.template group<1>(k + r + m * w.L, w.L, position + m * w.M, w.M, row);
            }
        }
    }
    for (; k < w.count; ++k, advance(w, positionStep, rowStep, i, p))
        compute.template group<1>(k, 1, i, 1, p);
}

// Outputs first, first + outputStep, ... at windows position, position + positionStep, ... of one
// channel, all on one row.
template <bool Keep> struct OneChannel {
    const WholePhaseWalk& w;
    const double* x;
    double* out;

    template <std::size_t Count>
    [[gnu::always_inline]] void group(std::size_t first, std::size_t outputStep, std::size_t position,
                                      std::size_t positionStep, std::size_t row) const noexcept {
        const double* windows[Count];
        for (std::size_t g = 0; g < Count; ++g)
            windows[g] = x + position + g * positionStep;
        double result[Count];
        dotWindows<Count, Keep>(windows, w.rows + row * w.rowStride, w.rowStride, result);
        for (std::size_t g = 0; g < Count; ++g)
            out[first + g * outputStep] = result[g];
    }
};

// Windows per row load: three keeps twelve running sums and a coefficient in the sixteen AVX
// registers. Without AVX the sums are pairs of SSE2 registers and one window at a time is best.
constexpr std::size_t kAvxGroup = 3;

[[gnu::target("avx2")]] void walkAvx2(const WholePhaseWalk& w, const double* x, double* out) noexcept {
    forEachGroup<kAvxGroup>(w, kCachedInputDoubles, OneChannel<true>{w, x, out});
}

void walkBaseline(const WholePhaseWalk& w, const double* x, double* out) noexcept {
    forEachGroup<1>(w, kCachedInputDoubles, OneChannel<false>{w, x, out});
}

bool hasAvx2() noexcept {
    static const bool has = __builtin_cpu_supports("avx2");
    return has;
}

} // namespace

WholePhaseWalk planWholePhaseWalk(const double* rows, std::size_t rowStride, std::int64_t L, std::int64_t M,
                                  std::size_t positions, std::int64_t& phase) noexcept {
    const auto l = static_cast<std::uint64_t>(L);
    const auto m = static_cast<std::uint64_t>(M);
    const auto p = static_cast<std::uint64_t>(phase >> 32);
    const std::uint64_t end = static_cast<std::uint64_t>(positions) * l; // the first phase past the block
    const std::uint64_t count = p >= end ? 0 : (end - p + m - 1) / m;
    phase = static_cast<std::int64_t>(p + count * m - end) << 32;
    return WholePhaseWalk{rows,
                          rowStride,
                          static_cast<std::size_t>(l),
                          static_cast<std::size_t>(m),
                          static_cast<std::size_t>(p / l),
                          static_cast<std::size_t>(p % l),
                          static_cast<std::size_t>(count)};
}

void walkWholePhase(const WholePhaseWalk& walk, const double* x, double* out, WalkBuild build) noexcept {
    if (build == WalkBuild::fastest && hasAvx2())
        walkAvx2(walk, x, out);
    else
        walkBaseline(walk, x, out);
}

} // namespace orvane::detail
