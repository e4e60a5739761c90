#pragma once
// The interface of every per-channel sample-rate converter: the in-house polyphase engine and the
// adapters around outside libraries and tools. One instance per channel, used by one thread at a
// time: construct, any number of processBlock calls, one flush, then ask renderError.

#include <optional>
#include <string>
#include <vector>

namespace orvane {

struct RenderError {
    std::string message; // the user's text, e.g. "r8brain Free is not available in this build"
};

class StreamingResampler {
  public:
    virtual ~StreamingResampler() = default;

    // Any block size, also 0. The result may be empty or of any length.
    virtual std::vector<double> processBlock(const std::vector<double>& input) = 0;
    // The rest of the stream; called once after the last block.
    virtual std::vector<double> flush() = 0;
    // Asked after flush; absent unless the converter failed.
    virtual std::optional<RenderError> renderError() const { return std::nullopt; }
};

} // namespace orvane
