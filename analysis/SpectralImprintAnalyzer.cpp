#include "analysis/SpectralImprintAnalyzer.h"

#include "platform/AudioFileReader.h"

#include <fftw3.h>

#include <algorithm>
#include <cmath>
#include <mutex>
#include <numbers>

namespace orvane {

namespace {

// FFTW's planner is not thread-safe; executing a plan is.
std::mutex& plannerLock() {
    static std::mutex lock;
    return lock;
}

constexpr double kMinFrequency = 20.0;
constexpr double kMaxFrequency = 22050.0;

} // namespace

struct SpectralImprintAnalyzer::Plan {
    double* input = nullptr;
    fftw_complex* output = nullptr;
    fftw_plan plan = nullptr;
    ~Plan() {
        const std::lock_guard guard(plannerLock());
        if (plan)
            fftw_destroy_plan(plan);
        fftw_free(input);
        fftw_free(output);
    }
};

tl::expected<SpectralImprintAnalyzer, std::string>
SpectralImprintAnalyzer::make(double sampleRate, std::size_t fftSize, int bandsPerOctave) {
    if (fftSize < 2 || (fftSize & (fftSize - 1)) != 0 || sampleRate <= 0.0 || bandsPerOctave < 1)
        return tl::unexpected(
            std::string("The spectrum analysis needs a power-of-2 block size and a positive rate."));
    auto plan = std::make_unique<Plan>();
    {
        const std::lock_guard guard(plannerLock());
        plan->input = fftw_alloc_real(fftSize);
        plan->output = fftw_alloc_complex(fftSize / 2 + 1);
        if (plan->input && plan->output)
            plan->plan =
                fftw_plan_dft_r2c_1d(static_cast<int>(fftSize), plan->input, plan->output, FFTW_ESTIMATE);
    }
    if (!plan->plan)
        return tl::unexpected(std::string("The FFT plan could not be made."));
    return SpectralImprintAnalyzer(sampleRate, fftSize, bandsPerOctave, std::move(plan));
}

SpectralImprintAnalyzer::SpectralImprintAnalyzer(double sampleRate, std::size_t fftSize, int bandsPerOctave,
                                                 std::unique_ptr<Plan> plan)
    : sampleRate_(sampleRate), fftSize_(fftSize), halfFftSize_(fftSize / 2), bandsPerOctave_(bandsPerOctave),
      plan_(std::move(plan)), window_(fftSize), accumulatedPowerSpectrum_(fftSize / 2, 0.0) {
    // The normalised Hann window, as the spectrum meter uses it.
    for (std::size_t n = 0; n < fftSize; ++n)
        window_[n] =
            0.8165 *
            (1.0 - std::cos(2.0 * std::numbers::pi * static_cast<double>(n) / static_cast<double>(fftSize)));
}

SpectralImprintAnalyzer::SpectralImprintAnalyzer(SpectralImprintAnalyzer&&) noexcept = default;
SpectralImprintAnalyzer& SpectralImprintAnalyzer::operator=(SpectralImprintAnalyzer&&) noexcept = default;
SpectralImprintAnalyzer::~SpectralImprintAnalyzer() = default;

void SpectralImprintAnalyzer::processFrame(std::span<const double> buffer) {
    if (buffer.size() != fftSize_)
        return;
    for (std::size_t n = 0; n < fftSize_; ++n)
        plan_->input[n] = buffer[n] * window_[n];
    fftw_execute(plan_->plan);
    // Bin 0 holds the DC term only; the Nyquist term has no slot of its own in a half-size spectrum
    // and is left out, as no band reaches bin 0 or the last bin.
    for (std::size_t k = 0; k < halfFftSize_; ++k) {
        const double re = plan_->output[k][0];
        const double im = plan_->output[k][1];
        accumulatedPowerSpectrum_[k] += re * re + im * im;
    }
    ++framesProcessed_;
}

void SpectralImprintAnalyzer::process(std::span<const double> monoSamples) {
    for (std::size_t at = 0; at + fftSize_ <= monoSamples.size(); at += fftSize_)
        processFrame(monoSamples.subspan(at, fftSize_));
}

SpectralImprint SpectralImprintAnalyzer::finalizeImprint() const {
    SpectralImprint imprint;
    if (framesProcessed_ < 1)
        return imprint;
    const double frames = static_cast<double>(framesProcessed_);
    const double binHz = sampleRate_ * 0.5 / static_cast<double>(halfFftSize_);
    const double step = std::pow(2.0, 1.0 / bandsPerOctave_);
    for (double f = kMinFrequency; f <= kMaxFrequency; f *= step) {
        const double next = f * step;
        const auto lo = std::max<std::int64_t>(static_cast<std::int64_t>(f / binHz), 1);
        const auto hi = std::min<std::int64_t>(static_cast<std::int64_t>(next / binHz),
                                               static_cast<std::int64_t>(halfFftSize_) - 1);
        if (hi < lo)
            continue;
        double sum = 0.0;
        for (auto k = lo; k <= hi; ++k)
            sum += accumulatedPowerSpectrum_[static_cast<std::size_t>(k)] / frames;
        imprint.frequencies.push_back((f + next) / 2.0);
        imprint.magnitudesDb.push_back(10.0 * std::log10(std::max(sum, 1e-15)));
    }
    return imprint;
}

std::optional<SpectralImprint> SpectralImprintAnalyzer::analyze(const std::filesystem::path& file) {
    auto reader = AudioFileReader::open(file);
    if (!reader)
        return std::nullopt;
    constexpr std::size_t block = 8192;
    auto analyzer = make(reader->sampleRate(), block, 12);
    if (!analyzer)
        return std::nullopt;
    AudioBuffer buffer = reader->makeBuffer(block);
    std::vector<double> mono(block);
    const bool isMono = reader->channelCount() == 1;
    for (;;) {
        const auto got = reader->read(buffer, block);
        if (!got || *got < block)
            break;
        const float* left = buffer.channel(0);
        const float* right = isMono ? left : buffer.channel(1);
        for (std::size_t i = 0; i < block; ++i)
            mono[i] =
                isMono ? static_cast<double>(left[i]) : static_cast<double>((left[i] + right[i]) * 0.5f);
        analyzer->processFrame(mono);
    }
    auto imprint = analyzer->finalizeImprint();
    if (imprint.isEmpty())
        return std::nullopt;
    return imprint;
}

} // namespace orvane
