#pragma once
// The "r8brain Free" converter behind the streaming interface, with its delay removed and the stream
// cut to exactly the length the rate ratio asks for. The library is compiled in only when the build is
// given its source folder (R8BRAIN_SOURCE_DIR); without it every stream fails at flush with
// "r8brain Free is not available in this build". One instance per channel; one thread at a time.

#include "engines/StreamingResampler.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace orvane {

// The four plain functions around r8b::CDSPResampler. Defined only in builds with the library.
struct R8BrainHandle;
// Attenuation 136.45 dB for res 16, 180.15 dB otherwise; transBand in percent.
R8BrainHandle* r8b_create(int maxInLen, int res, bool minPhase, double srcRate, double dstRate,
                          double transBand);
// Stores in out a pointer to the output, valid until the next call on this handle; returns its length.
int r8b_process(R8BrainHandle* handle, double* input, int count, double*& out);
void r8b_clear(R8BrainHandle* handle);
void r8b_destroy(R8BrainHandle* handle); // null allowed

// True when this build carries the library.
bool r8brainAvailable();

class R8BrainSRC final : public StreamingResampler {
  public:
    R8BrainSRC(int fsIn, int fsOut, int maxInLen, double transBand, int res, bool minPhase);
    ~R8BrainSRC() override;
    R8BrainSRC(const R8BrainSRC&) = delete;
    R8BrainSRC& operator=(const R8BrainSRC&) = delete;

    std::vector<double> processBlock(const std::vector<double>& input) override;
    // Feeds zeros until the stream reaches trunc(totalIn * dstSR / srcSR) samples or the library stops.
    std::vector<double> flush() override;
    std::optional<RenderError> renderError() const override { return error_; }

  private:
    // Runs count samples through the library in pieces of at most maxInLen; appends the output.
    void feed(const double* samples, std::size_t count, std::vector<double>& out);

    R8BrainHandle* handle_ = nullptr;
    double srcSR_;
    double dstSR_;
    int maxInLen_;
    std::int64_t totalIn_ = 0;
    std::int64_t totalOut_ = 0;
    std::vector<double> scratch_; // the library's process call takes a writable pointer
    std::optional<RenderError> error_;
};

} // namespace orvane
