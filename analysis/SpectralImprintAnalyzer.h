#pragma once
// Reduces audio to a SpectralImprint: Hann-windowed FFT blocks without overlap, their power
// averaged, then summed into log-spaced bands from 20 Hz up to 22050 Hz (a band that holds no FFT
// bin is left out, so the grid depends on the rate). One analyzer belongs to one run on one thread.

#include "analysis/SpectralImprint.h"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <tl/expected.hpp>
#include <vector>

namespace orvane {

class SpectralImprintAnalyzer final {
  public:
    // fftSize a power of 2 (at least 2); fails when the FFT plan cannot be made.
    static tl::expected<SpectralImprintAnalyzer, std::string> make(double sampleRate, std::size_t fftSize,
                                                                   int bandsPerOctave);
    SpectralImprintAnalyzer(SpectralImprintAnalyzer&&) noexcept;
    SpectralImprintAnalyzer& operator=(SpectralImprintAnalyzer&&) noexcept;
    ~SpectralImprintAnalyzer();

    // One block of exactly fftSize samples; any other length is ignored.
    void processFrame(std::span<const double> buffer);
    // Consecutive blocks of fftSize samples; a shorter rest is dropped.
    void process(std::span<const double> monoSamples);
    // The bands of what was processed; empty before the first block.
    SpectralImprint finalizeImprint() const;
    std::size_t framesProcessed() const { return framesProcessed_; }

    // A whole file (mono as it is, otherwise the mean of the first two channels), blocks of 8192 at
    // 12 bands per octave. Nothing when it can't be read or holds less than one block.
    static std::optional<SpectralImprint> analyze(const std::filesystem::path& file);

  private:
    struct Plan;
    SpectralImprintAnalyzer(double sampleRate, std::size_t fftSize, int bandsPerOctave,
                            std::unique_ptr<Plan> plan);

    double sampleRate_;
    std::size_t fftSize_;
    std::size_t halfFftSize_;
    int bandsPerOctave_;
    std::unique_ptr<Plan> plan_;
    std::vector<double> window_;
    std::vector<double> accumulatedPowerSpectrum_;
    std::size_t framesProcessed_ = 0;
};

} // namespace orvane
