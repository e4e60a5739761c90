#pragma once
// The "SoX VHQ" converter: libsoxr at its very-high-quality recipe behind the streaming interface, with
// the library's start delay discarded and the stream cut to exactly the length the rate ratio asks for.
// One instance per channel; one thread at a time.

#include "engines/StreamingResampler.h"

#include <cstdint>
#include <optional>
#include <vector>

struct soxr; // the library's handle type

namespace orvane {

class SoxrSRC final : public StreamingResampler {
  public:
    // Linear phase unless minPhase. A library that refuses the rates is reported at flush.
    SoxrSRC(int fsIn, int fsOut, bool minPhase);
    ~SoxrSRC() override;
    SoxrSRC(const SoxrSRC&) = delete;
    SoxrSRC& operator=(const SoxrSRC&) = delete;

    std::vector<double> processBlock(const std::vector<double>& input) override;
    // Drains the library, then cuts or ends the stream at trunc(totalIn * dstSR / srcSR) samples.
    std::vector<double> flush() override;
    std::optional<RenderError> renderError() const override { return error_; }

  private:
    // Appends what the library just produced to out, after the start samples still to be skipped.
    void take(std::size_t producedSamples, std::vector<double>& out);

    soxr* soxr_ = nullptr;
    double srcSR_;
    double dstSR_;
    std::int64_t totalIn_ = 0;
    std::int64_t emitted_ = 0;
    std::int64_t skipRemaining_ = 0;
    std::vector<double> outBuf_;
    std::optional<RenderError> error_;
};

} // namespace orvane
