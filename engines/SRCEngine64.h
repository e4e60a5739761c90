#pragma once
// The in-house streaming sample-rate converter: a rational L/M polyphase FIR in 64-bit floating point,
// walked by a 32.32 fixed-point phase accumulator, one dot product per output sample. Mono; one engine
// per channel and stream, used by one thread at a time. Its bank is shared and never changed.

#include "engines/PolyphaseFilterBank64.h"
#include "engines/StreamingResampler.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace orvane {

class SRCEngine64 final : public StreamingResampler {
  public:
    // Takes L, M and tapsPerPhase from the bank. startPhase is in units of 1/L input sample: positive
    // skips that much of the filter's delay, negative adds outputs from wrapped rows at the start.
    // Rates must be positive and the bank's L and M below 2^31.
    SRCEngine64(int fsIn, int fsOut, std::shared_ptr<const PolyphaseFilterBank64> precomputedBank,
                double startPhase);
    // Reduces fsOut/fsIn to L/M and designs its own bank (see PolyphaseFilterBank64).
    SRCEngine64(int fsIn, int fsOut, double stopbandDB, double fcRatio, int tapsPerPhase,
                const std::string& windowType, std::optional<double> beta, double startPhase,
                bool alignCenter);

    SRCEngine64(const SRCEngine64&) = delete;
    SRCEngine64& operator=(const SRCEngine64&) = delete;

    // Any block size, also 0. The output does not depend on how the stream is cut into blocks.
    std::vector<double> processBlock(const std::vector<double>& input) override;
    // Runs tapsPerPhase / 2 zeros through the engine; call once after the last block.
    std::vector<double> flush() override;

    // The same as processBlock, appending to output and reading a long block where it lies; allocates
    // nothing once output has room for the block's outputs (and, at a fractional phase only, once the
    // working buffer has grown to the block size).
    void process(std::span<const double> input, std::vector<double>& output);
    // The same as flush, appending to output.
    void flushInto(std::vector<double>& output);

    int fs_in() const noexcept { return fs_in_; }
    int fs_out() const noexcept { return fs_out_; }
    int L() const noexcept { return L_; }
    int M() const noexcept { return M_; }
    const PolyphaseFilterBank64& bank() const noexcept { return *bank_; }
    std::int64_t L_prec() const noexcept { return L_prec_; }
    std::int64_t M_prec() const noexcept { return M_prec_; }
    // The running phase, 32.32 fixed point in units of 1/L input sample.
    std::int64_t phase_acc() const noexcept { return phase_acc_; }
    int tapsPerPhase() const noexcept { return tapsPerPhase_; }
    // The last tapsPerPhase - 1 input samples; zeros before the stream's start.
    std::span<const double> history() const noexcept;

  private:
    void reserveOutput(std::size_t n, std::vector<double>& output) const;
    // Walks the stream's first position if the phase starts below 0 (window x); gives the positions
    // walked.
    std::size_t walkNegativeStart(const double* x, std::vector<double>& output);
    // Appends the outputs of `positions` windows of x at a whole-number phase.
    void walkWhole(const double* x, std::size_t positions, std::vector<double>& output);
    // The block joined after the history in the working buffer: short blocks and fractional phases.
    void processJoined(std::span<const double> input, std::vector<double>& output);

    int fs_in_;
    int fs_out_;
    int L_;
    int M_;
    std::shared_ptr<const PolyphaseFilterBank64> bank_;
    std::int64_t L_prec_;
    std::int64_t M_prec_;
    std::int64_t phase_acc_;
    int tapsPerPhase_;
    // The last paddedTaps - 1 input samples: the history proper plus the few older ones that the
    // zero-led padded rows reach back to.
    std::vector<double> history_;
    // The history followed by a short block, or by the head of a long one; room for both from the
    // start, grown only by long blocks at a fractional phase.
    std::vector<double> work_;
    std::vector<double> zeros_; // the flush block
};

// The reduced ratio fsOut/fsIn as {L, M}.
struct RateRatio {
    int L = 1;
    int M = 1;
    bool operator==(const RateRatio&) const = default;
};
RateRatio reducedRatio(int fsIn, int fsOut);

} // namespace orvane
