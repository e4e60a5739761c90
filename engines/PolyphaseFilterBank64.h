#pragma once
// The coefficient rows of a rational L/M polyphase converter: L + 1 rows of tapsPerPhase doubles,
// each row time-reversed so that its first entry meets the oldest sample of a window. Immutable after
// construction, so one bank may be read by several engines on several threads.

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace orvane {

class PolyphaseFilterBank64 final {
  public:
    // Splits a ready prototype (normally L * tapsPerPhase long) into rows: row p, entry
    // tapsPerPhase - 1 - t is prototype[p + t * L], or 0.0 where that index is at or past
    // L * tapsPerPhase or the prototype's end. Row L is row 0 one input sample later.
    PolyphaseFilterBank64(int L, int M, std::span<const double> prototype, int tapsPerPhase);

    // Designs a windowed sinc of L * tapsPerPhase points, cut off at fcRatio times the lower of the
    // two Nyquist frequencies, normalised to a DC gain of 1 per row, and splits it. beta is the Kaiser
    // beta (from stopbandDB when absent) or the Gaussian alpha (3.5 when absent). startPhase belongs to
    // the engine, not the bank, and is ignored here.
    PolyphaseFilterBank64(int L, int M, double stopbandDB, double fcRatio, int tapsPerPhase,
                          const std::string& windowType, std::optional<double> beta, double startPhase,
                          bool alignCenter);

    PolyphaseFilterBank64(const PolyphaseFilterBank64&) = delete;
    PolyphaseFilterBank64& operator=(const PolyphaseFilterBank64&) = delete;

    int L() const noexcept { return L_; }
    int M() const noexcept { return M_; }
    int tapsPerPhase() const noexcept { return tapsPerPhase_; }
    // All (L + 1) * tapsPerPhase coefficients, row after row.
    const std::vector<double>& bank() const noexcept { return bank_; }
    // Row p in 0 ... L, tapsPerPhase entries.
    const double* row(int p) const noexcept {
        return bank_.data() + static_cast<std::size_t>(p) * static_cast<std::size_t>(tapsPerPhase_);
    }

    // The rows again, each led by zeros up to a multiple of paddedTapStep entries, so that the engine's
    // dot products run in whole vector steps without a ragged end. Same L + 1 rows, same order.
    static constexpr int paddedTapStep = 16;
    int paddedTaps() const noexcept { return paddedTaps_; }
    // (L + 1) * paddedTaps() coefficients, starting on a 64-byte boundary.
    const double* paddedBank() const noexcept { return padded_.data() + paddedOffset_; }

  private:
    void fillRows(std::span<const double> prototype);

    int L_;
    int M_;
    int tapsPerPhase_;
    int paddedTaps_;
    std::vector<double> bank_;
    std::vector<double> padded_; // a little longer than needed, for the alignment
    std::size_t paddedOffset_ = 0;
};

} // namespace orvane
