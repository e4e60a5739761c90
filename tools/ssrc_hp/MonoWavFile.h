#pragma once
// Mono WAV files as ssrc_hp reads and writes them, by hand so that no precision is lost on the way:
// integer PCM of 16, 24 or 32 bits and IEEE float of 32 or 64 bits in, integer PCM of 16, 24 or 32
// bits out. One object per file; one thread.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <span>
#include <string>
#include <tl/expected.hpp>
#include <vector>

namespace orvane::ssrc {

class MonoWavReader final {
  public:
    // Opens the file and reads its header; the error text names the file and what is wrong with it.
    static tl::expected<MonoWavReader, std::string> open(const std::filesystem::path& path);

    MonoWavReader(MonoWavReader&& other) noexcept;
    MonoWavReader& operator=(MonoWavReader&&) = delete;
    MonoWavReader(const MonoWavReader&) = delete;
    MonoWavReader& operator=(const MonoWavReader&) = delete;
    ~MonoWavReader();

    int sampleRate() const { return sampleRate_; }
    std::int64_t sampleCount() const { return sampleCount_; }

    // Reads up to maxSamples as doubles; integers are divided by 2^(bits-1) - 1, the writer's full scale,
    // so full scale survives a round trip. Empty at the end; a short file is an error.
    tl::expected<std::vector<double>, std::string> read(std::size_t maxSamples);

  private:
    MonoWavReader() = default;

    std::FILE* file_ = nullptr;
    std::filesystem::path path_;
    int sampleRate_ = 0;
    int bitsPerSample_ = 0;
    bool isFloat_ = false;
    std::int64_t sampleCount_ = 0;
    std::int64_t samplesRead_ = 0;
    std::vector<std::uint8_t> bytes_;
};

class MonoWavWriter final {
  public:
    // Creates the file with a header for the rate and bit depth (16, 24 or 32).
    static tl::expected<MonoWavWriter, std::string> create(const std::filesystem::path& path, int sampleRate,
                                                           int bitsPerSample);

    MonoWavWriter(MonoWavWriter&& other) noexcept;
    MonoWavWriter& operator=(MonoWavWriter&&) = delete;
    MonoWavWriter(const MonoWavWriter&) = delete;
    MonoWavWriter& operator=(const MonoWavWriter&) = delete;
    ~MonoWavWriter(); // closes an unfinished file as it stands

    // Appends samples as x * (2^(bits-1) - 1), limited to the format's range, halves away from zero.
    tl::expected<void, std::string> write(std::span<const double> samples);
    // Writes the true sizes into the header and closes the file.
    tl::expected<void, std::string> finish();

    std::int64_t samplesWritten() const { return samplesWritten_; }

  private:
    MonoWavWriter() = default;

    std::FILE* file_ = nullptr;
    std::filesystem::path path_;
    int bitsPerSample_ = 24;
    std::int64_t samplesWritten_ = 0;
    std::vector<std::uint8_t> bytes_;
};

} // namespace orvane::ssrc
