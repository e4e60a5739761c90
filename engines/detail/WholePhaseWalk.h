#pragma once
// The phase walk of SRCEngine64 for whole-number phases (every preset's), where a conversion spends
// its time: the outputs of a block, straight from one output to the next. Pure
// functions over caller-owned memory, any thread; nothing allocates.

#include <cstddef>
#include <cstdint>

namespace orvane::detail {

// Where the outputs of a block fall. From a phase of P rows (P >= 0) at position 0, output k takes
// row (P + k M) mod L at position (P + k M) div L, for every k whose position is still inside the
// block; so the walk goes from one output straight to the next (M div L positions and M mod L rows
// on, one position more when the row passes L), and the number of outputs and the phase after the
// block follow in closed form. Output k + L takes the same row as output k, M positions later.
struct WholePhaseWalk {
    const double* rows = nullptr; // the padded bank
    std::size_t rowStride = 0;    // padded taps, a multiple of 16
    std::size_t L = 1;
    std::size_t M = 1;
    std::size_t firstPosition = 0;
    std::size_t firstRow = 0;
    std::size_t count = 0; // outputs in the block
};

// Plans the walk over `positions` windows from a phase (32.32 fixed point, no fraction, not below 0)
// and moves the phase past them. L and M below 2^31 and blocks below 2^32 samples keep every step
// inside 64 bits.
WholePhaseWalk planWholePhaseWalk(const double* rows, std::size_t rowStride, std::int64_t L, std::int64_t M,
                                  std::size_t positions, std::int64_t& phase) noexcept;

// Which build of the walk runs: the fastest the processor allows, or the baseline SSE2 one (for tests:
// both give the same bits).
enum class WalkBuild { fastest, baseline };

// out[k] = the dot product of output k, window i being x[i ... i + rowStride - 1].
void walkWholePhase(const WholePhaseWalk& walk, const double* x, double* out,
                    WalkBuild build = WalkBuild::fastest) noexcept;

} // namespace orvane::detail
