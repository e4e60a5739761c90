#pragma once
// The "SSRC Shibata" converter: spools one channel to a temporary 32-bit mono WAV, runs the ssrc_hp
// command-line tool on it at flush, and reads back its 24-bit mono WAV, cut or padded to exactly the
// length the rate ratio asks for. Failures never throw: they are kept and given by renderError().
// One instance per channel; one thread at a time; flush blocks until the tool ends.
//
// The tool is looked for, in this order: beside the running program (bin/ssrc_hp next to orvane-cli),
// in <prefix>/libexec/orvane/ and <prefix>/libexec/ beside the program's bin folder, and last where this
// build tree makes it (tools/ssrc_hp/ssrc_hp). A candidate that exists but is not executable is given
// mode 0755 and tested again.

#include "engines/StreamingResampler.h"

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace orvane {

class SsrcSRC final : public StreamingResampler {
  public:
    struct SsrcError {
        enum class Kind { conversionFailed, binaryNotFound, badOutput };
        Kind kind;
        std::string text; // the tool's own words, for conversionFailed

        std::string message() const;
        bool operator==(const SsrcError&) const = default;
    };

    // log2len, aa, guardBand and minPhase are accepted for the preset's sake and change nothing.
    // toolPath replaces the search for the tool (tests, or a caller that knows where it is).
    SsrcSRC(int fsIn, int fsOut, int log2len, double aa, double guardBand, bool minPhase,
            std::optional<std::filesystem::path> toolPath = std::nullopt);
    ~SsrcSRC() override;
    SsrcSRC(const SsrcSRC&) = delete;
    SsrcSRC& operator=(const SsrcSRC&) = delete;

    // Appends the block to the spool file as 32-bit integers; always returns nothing.
    std::vector<double> processBlock(const std::vector<double>& input) override;
    // Runs the tool and returns the whole converted channel; empty on failure.
    std::vector<double> flush() override;
    std::optional<RenderError> renderError() const override;
    const std::optional<SsrcError>& ssrcError() const { return error_; }

    // The first executable ssrc_hp among the places listed above, or nothing.
    static std::optional<std::filesystem::path> ssrcBinaryURL();
    // The 44-byte header of a mono 32-bit integer PCM WAV with dataBytes of samples.
    static std::vector<std::uint8_t> wavHeader(int sampleRate, std::uint32_t dataBytes);
    // The samples of a mono 24-bit WAV's bytes, scaled by 1 / 8388607; badOutput otherwise.
    static std::optional<std::vector<double>> readMono24(const std::vector<std::uint8_t>& bytes);
    // One sample as the spool stores it: x * 2147483647, limited, rounded half away from zero.
    static std::int32_t toInt32Sample(double x);

  private:
    void setUp();
    bool finishInputFile();
    bool runTool(const std::filesystem::path& tool);
    void fail(SsrcError error);

    int fsIn_;
    int fsOut_;
    std::int64_t totalIn_ = 0;
    std::filesystem::path workDir_;
    std::filesystem::path inURL_;
    std::FILE* writer_ = nullptr;
    std::optional<std::filesystem::path> toolPath_;
    std::optional<SsrcError> error_;
    std::vector<std::uint8_t> spool_; // the block's bytes before they are written, reused
};

} // namespace orvane
