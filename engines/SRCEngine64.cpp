#include "engines/SRCEngine64.h"

#include "engines/detail/PolyphaseDot.h"
#include "engines/detail/WholePhaseWalk.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <numeric>

namespace orvane {

namespace {

constexpr double kPhaseFractionScale = 2.3283064365386963e-10; // 2^-32
constexpr std::int64_t kFractionMask = 0xffffffffLL;
constexpr int kInterpolateLongFilterAbove = 256;

// The dot product against the row interpolated between c0 and c1 at fraction f, its sums kept in the
// same lanes as every other dot product of the engine.
inline double dotInterpolated(const double* __restrict x, const double* __restrict c0,
                              const double* __restrict c1, double f, std::size_t taps) {
    constexpr std::size_t kLanes = detail::kDotLanes;
    double acc[kLanes] = {};
    for (std::size_t t = 0; t < taps; t += kLanes)
        for (std::size_t j = 0; j < kLanes; ++j)
            acc[j] += x[t + j] * (c0[t + j] + f * (c1[t + j] - c0[t + j]));
    double s[8];
    for (std::size_t j = 0; j < 8; ++j)
        s[j] = acc[j] + acc[j + 8];
    double r[4];
    for (std::size_t j = 0; j < 4; ++j)
        r[j] = s[j] + s[j + 4];
    return (r[0] + r[2]) + (r[1] + r[3]);
}

// Row of the bank for a phase, wrapping negative phases into 0 ... L - 1.
inline std::int64_t rowOf(std::int64_t phase, std::int64_t L) noexcept {
    const std::int64_t whole = phase >> 32;
    if (phase >= 0)
        return whole;
    const std::int64_t r = whole % L;
    return r < 0 ? r + L : r;
}

struct Walk {
    const double* rows;    // the padded bank
    std::size_t rowStride; // padded taps
    bool longFilter;       // more than 256 real taps: interpolate two dot products, not the rows
    std::int64_t L;
    std::int64_t Lprec;
    std::int64_t Mprec;
};

// The phase walk as written, one input position at a time, over `positions` windows of x, window i
// being x[i ... i + rowStride - 1] with its newest sample last; returns the phase after it. Used for
// fractional phases and for the one position a negative start phase needs before the fast walk.
template <bool Interpolate>
std::int64_t walkPositions(const Walk& w, const double* x, std::size_t positions, std::int64_t phase,
                           std::vector<double>& output) {
    const std::size_t stride = w.rowStride;
    for (std::size_t i = 0; i < positions; ++i, phase -= w.Lprec) {
        const double* window = x + i;
        while (phase < w.Lprec) {
            const double* c0 = w.rows + static_cast<std::size_t>(rowOf(phase, w.L)) * stride;
            double y;
            if constexpr (Interpolate) {
                const double f = static_cast<double>(static_cast<std::uint32_t>(phase & kFractionMask)) *
                                 kPhaseFractionScale;
                if (w.longFilter) {
                    const double a = detail::dot(window, c0, stride);
                    const double b = detail::dot(window, c0 + stride, stride);
                    y = a + f * (b - a);
                } else {
                    y = dotInterpolated(window, c0, c0 + stride, f, stride);
                }
            } else {
                y = detail::dot(window, c0, stride);
            }
            output.push_back(y);
            phase += w.Mprec;
        }
    }
    return phase;
}

detail::WholePhaseWalk planWalk(const SRCEngine64& e, std::size_t positions, std::int64_t& phase) noexcept {
    return detail::planWholePhaseWalk(e.bank().paddedBank(), static_cast<std::size_t>(e.bank().paddedTaps()),
                                      e.L(), e.M(), positions, phase);
}

Walk walkOf(const SRCEngine64& e) noexcept {
    return Walk{e.bank().paddedBank(),
                static_cast<std::size_t>(e.bank().paddedTaps()),
                e.tapsPerPhase() > kInterpolateLongFilterAbove,
                e.L(),
                e.L_prec(),
                e.M_prec()};
}

std::int64_t walkFractionalPhase(const Walk& w, const double* x, std::size_t positions, std::int64_t phase,
                                 std::vector<double>& output) {
    return walkPositions<true>(w, x, positions, phase, output);
}

} // namespace

RateRatio reducedRatio(int fsIn, int fsOut) {
    assert(fsIn > 0 && fsOut > 0);
    const int g = std::gcd(fsIn, fsOut);
    return {fsOut / g, fsIn / g};
}

SRCEngine64::SRCEngine64(int fsIn, int fsOut, std::shared_ptr<const PolyphaseFilterBank64> precomputedBank,
                         double startPhase)
    : fs_in_(fsIn), fs_out_(fsOut), L_(precomputedBank->L()), M_(precomputedBank->M()),
      bank_(std::move(precomputedBank)), L_prec_(static_cast<std::int64_t>(L_) << 32),
      M_prec_(static_cast<std::int64_t>(M_) << 32),
      phase_acc_(static_cast<std::int64_t>(startPhase * 4294967296.0)), tapsPerPhase_(bank_->tapsPerPhase()),
      history_(static_cast<std::size_t>(bank_->paddedTaps() - 1), 0.0), work_(2 * history_.size()),
      zeros_(static_cast<std::size_t>(tapsPerPhase_ >= 2 ? tapsPerPhase_ / 2 : 0), 0.0) {
    assert(fsIn > 0 && fsOut > 0);
    assert(L_ > 0 && M_ > 0 && tapsPerPhase_ > 0);
}

SRCEngine64::SRCEngine64(int fsIn, int fsOut, double stopbandDB, double fcRatio, int tapsPerPhase,
                         const std::string& windowType, std::optional<double> beta, double startPhase,
                         bool alignCenter)
    : SRCEngine64(fsIn, fsOut,
                  std::make_shared<const PolyphaseFilterBank64>(
                      reducedRatio(fsIn, fsOut).L, reducedRatio(fsIn, fsOut).M, stopbandDB, fcRatio,
                      tapsPerPhase, windowType, beta, startPhase, alignCenter),
                  startPhase) {}

std::span<const double> SRCEngine64::history() const noexcept {
    const std::size_t extra = history_.size() - static_cast<std::size_t>(tapsPerPhase_ - 1);
    return std::span<const double>(history_).subspan(extra);
}

std::vector<double> SRCEngine64::processBlock(const std::vector<double>& input) {
    std::vector<double> out;
    process(input, out);
    return out;
}

std::vector<double> SRCEngine64::flush() {
    std::vector<double> out;
    flushInto(out);
    return out;
}

void SRCEngine64::flushInto(std::vector<double>& output) {
    process(zeros_, output);
}

void SRCEngine64::reserveOutput(std::size_t n, std::vector<double>& output) const {
    const double expected = std::trunc(static_cast<double>(n) * L_ / M_) + 100.0;
    const std::size_t needed = output.size() + static_cast<std::size_t>(expected);
    if (output.capacity() < needed) // growing geometrically: callers append block after block
        output.reserve(std::max(needed, 2 * output.capacity()));
}

std::size_t SRCEngine64::walkNegativeStart(const double* x, std::vector<double>& output) {
    if (phase_acc_ >= 0 || (phase_acc_ & kFractionMask) != 0)
        return 0;
    // Only the stream's first position can start below 0, since every position ends on a phase of
    // at least 0; it takes the written walk, with its wrapped rows.
    phase_acc_ = walkPositions<false>(walkOf(*this), x, 1, phase_acc_, output);
    return 1;
}

void SRCEngine64::walkWhole(const double* x, std::size_t positions, std::vector<double>& output) {
    const detail::WholePhaseWalk walk = planWalk(*this, positions, phase_acc_);
    const std::size_t first = output.size();
    output.resize(first + walk.count);
    detail::walkWholePhase(walk, x, output.data() + first);
}

void SRCEngine64::processJoined(std::span<const double> input, std::vector<double>& output) {
    const std::size_t n = input.size();
    const std::size_t keep = history_.size();
    const std::size_t length = keep + n;
    if (work_.size() < length)
        work_.resize(length);
    std::copy(history_.begin(), history_.end(), work_.begin());
    std::copy(input.begin(), input.end(), work_.begin() + static_cast<std::ptrdiff_t>(keep));
    std::copy(work_.begin() + static_cast<std::ptrdiff_t>(length - keep),
              work_.begin() + static_cast<std::ptrdiff_t>(length), history_.begin());
    if ((phase_acc_ & kFractionMask) != 0) {
        phase_acc_ = walkFractionalPhase(walkOf(*this), work_.data(), n, phase_acc_, output);
        return;
    }
    const std::size_t done = walkNegativeStart(work_.data(), output);
    walkWhole(work_.data() + done, n - done, output);
}

void SRCEngine64::process(std::span<const double> input, std::vector<double>& output) {
    const std::size_t n = input.size();
    if (n == 0)
        return; // nothing moves: the window has no new sample to stand on
    reserveOutput(n, output);
    const std::size_t keep = history_.size();
    if (n < keep || (phase_acc_ & kFractionMask) != 0) {
        processJoined(input, output);
        return;
    }
    // A block at least as long as the history needs no joined copy: the first `keep` windows reach
    // back into the history and run on history + the block's head, the rest lie inside the block and
    // run on it where it is.
    std::copy(history_.begin(), history_.end(), work_.begin());
    std::copy_n(input.begin(), keep, work_.begin() + static_cast<std::ptrdiff_t>(keep));
    const std::size_t done = walkNegativeStart(work_.data(), output);
    walkWhole(work_.data() + done, keep - done, output);
    walkWhole(input.data(), n - keep, output);
    std::copy(input.end() - static_cast<std::ptrdiff_t>(keep), input.end(), history_.begin());
}

} // namespace orvane
