#include "tools/ssrc_hp/MonoWavFile.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

namespace orvane::ssrc {

namespace {

constexpr std::uint16_t kFormatPCM = 1;
constexpr std::uint16_t kFormatFloat = 3;
constexpr std::uint16_t kFormatExtensible = 0xFFFE;
constexpr std::size_t kHeaderBytes = 44;

std::uint32_t getLE32(const std::uint8_t* at) {
    return static_cast<std::uint32_t>(at[0]) | static_cast<std::uint32_t>(at[1]) << 8 |
           static_cast<std::uint32_t>(at[2]) << 16 | static_cast<std::uint32_t>(at[3]) << 24;
}

std::uint16_t getLE16(const std::uint8_t* at) {
    return static_cast<std::uint16_t>(at[0] | at[1] << 8);
}

void putLE(std::uint8_t* at, std::uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i)
        at[i] = static_cast<std::uint8_t>(value >> (8 * i));
}

struct Format {
    std::uint16_t tag = 0;
    int channels = 0;
    int sampleRate = 0;
    int bitsPerSample = 0;
};

// Reads the fmt chunk's body; an extensible header's sub-format replaces the tag.
bool readFormat(std::FILE* file, std::uint32_t size, Format& format) {
    std::uint8_t body[40] = {};
    if (size < 16 || std::fread(body, 1, std::min<std::size_t>(size, sizeof body), file) < 16)
        return false;
    format.tag = getLE16(body);
    format.channels = getLE16(body + 2);
    format.sampleRate = static_cast<int>(getLE32(body + 4));
    format.bitsPerSample = getLE16(body + 14);
    if (format.tag == kFormatExtensible && size >= 26)
        format.tag = getLE16(body + 24);
    return true;
}

double decodeSample(const std::uint8_t* s, int bits, bool isFloat) {
    if (isFloat) {
        if (bits == 32) {
            float f;
            const std::uint32_t raw = getLE32(s);
            std::memcpy(&f, &raw, 4);
            return f;
        }
        double d;
        const std::uint64_t raw = getLE32(s) | static_cast<std::uint64_t>(getLE32(s + 4)) << 32;
        std::memcpy(&d, &raw, 8);
        return d;
    }
    switch (bits) {
    case 16:
        return static_cast<std::int16_t>(getLE16(s)) / 32767.0;
    case 24: {
        std::int32_t v = s[0] | s[1] << 8 | s[2] << 16;
        if (v & 0x800000)
            v -= 0x1000000;
        return v / 8388607.0;
    }
    default:
        return static_cast<std::int32_t>(getLE32(s)) / 2147483647.0;
    }
}

} // namespace

MonoWavReader::MonoWavReader(MonoWavReader&& other) noexcept
    : file_(std::exchange(other.file_, nullptr)), path_(std::move(other.path_)),
      sampleRate_(other.sampleRate_), bitsPerSample_(other.bitsPerSample_), isFloat_(other.isFloat_),
      sampleCount_(other.sampleCount_), samplesRead_(other.samplesRead_) {}

MonoWavReader::~MonoWavReader() {
    if (file_ != nullptr)
        std::fclose(file_);
}

tl::expected<MonoWavReader, std::string> MonoWavReader::open(const std::filesystem::path& path) {
    MonoWavReader reader;
    reader.path_ = path;
    const std::string name = path.string();
    reader.file_ = std::fopen(path.c_str(), "rb");
    if (reader.file_ == nullptr)
        return tl::unexpected("cannot open " + name + ": " + std::strerror(errno));
    std::uint8_t riff[12];
    if (std::fread(riff, 1, 12, reader.file_) != 12 || std::memcmp(riff, "RIFF", 4) != 0 ||
        std::memcmp(riff + 8, "WAVE", 4) != 0)
        return tl::unexpected(name + " is not a WAV file");
    Format format;
    bool haveFormat = false;
    for (;;) {
        std::uint8_t chunk[8];
        if (std::fread(chunk, 1, 8, reader.file_) != 8)
            return tl::unexpected(name + " has no audio data");
        const std::uint32_t size = getLE32(chunk + 4);
        const long start = std::ftell(reader.file_);
        if (std::memcmp(chunk, "fmt ", 4) == 0) {
            haveFormat = readFormat(reader.file_, size, format);
        } else if (std::memcmp(chunk, "data", 4) == 0) {
            if (!haveFormat)
                return tl::unexpected(name + " has its audio data before its format");
            std::fseek(reader.file_, 0, SEEK_END);
            const long available = std::ftell(reader.file_) - start;
            std::fseek(reader.file_, start, SEEK_SET);
            const auto bytes = std::min<std::int64_t>(size, std::max<long>(available, 0));
            reader.sampleCount_ = format.bitsPerSample >= 8 ? bytes / (format.bitsPerSample / 8) : 0;
            break;
        }
        if (std::fseek(reader.file_, start + static_cast<long>(size) + static_cast<long>(size % 2),
                       SEEK_SET) != 0)
            return tl::unexpected(name + " is damaged");
    }
    const bool isInteger =
        format.tag == kFormatPCM &&
        (format.bitsPerSample == 16 || format.bitsPerSample == 24 || format.bitsPerSample == 32);
    const bool isFloat =
        format.tag == kFormatFloat && (format.bitsPerSample == 32 || format.bitsPerSample == 64);
    if (!isInteger && !isFloat)
        return tl::unexpected(name +
                              ": only 16-, 24- or 32-bit integer and 32- or 64-bit float WAV can be read");
    if (format.channels != 1)
        return tl::unexpected(name + " has " + std::to_string(format.channels) + " channels; one is needed");
    if (format.sampleRate <= 0)
        return tl::unexpected(name + " has no valid sample rate");
    reader.sampleRate_ = format.sampleRate;
    reader.bitsPerSample_ = format.bitsPerSample;
    reader.isFloat_ = isFloat;
    return reader;
}

tl::expected<std::vector<double>, std::string> MonoWavReader::read(std::size_t maxSamples) {
    const auto wanted = static_cast<std::size_t>(
        std::min<std::int64_t>(static_cast<std::int64_t>(maxSamples), sampleCount_ - samplesRead_));
    const std::size_t width = static_cast<std::size_t>(bitsPerSample_ / 8);
    bytes_.resize(wanted * width);
    if (wanted == 0)
        return std::vector<double>{};
    if (std::fread(bytes_.data(), 1, bytes_.size(), file_) != bytes_.size())
        return tl::unexpected("cannot read " + path_.string());
    std::vector<double> samples(wanted);
    for (std::size_t i = 0; i < wanted; ++i)
        samples[i] = decodeSample(&bytes_[i * width], bitsPerSample_, isFloat_);
    samplesRead_ += static_cast<std::int64_t>(wanted);
    return samples;
}

MonoWavWriter::MonoWavWriter(MonoWavWriter&& other) noexcept
    : file_(std::exchange(other.file_, nullptr)), path_(std::move(other.path_)),
      bitsPerSample_(other.bitsPerSample_), samplesWritten_(other.samplesWritten_) {}

MonoWavWriter::~MonoWavWriter() {
    if (file_ != nullptr)
        std::fclose(file_);
}

tl::expected<MonoWavWriter, std::string> MonoWavWriter::create(const std::filesystem::path& path,
                                                               int sampleRate, int bitsPerSample) {
    if (bitsPerSample != 16 && bitsPerSample != 24 && bitsPerSample != 32)
        return tl::unexpected("--bits must be 16, 24 or 32, not " + std::to_string(bitsPerSample));
    MonoWavWriter writer;
    writer.path_ = path;
    writer.bitsPerSample_ = bitsPerSample;
    writer.file_ = std::fopen(path.c_str(), "wb");
    if (writer.file_ == nullptr)
        return tl::unexpected("cannot create " + path.string() + ": " + std::strerror(errno));
    const auto width = static_cast<std::uint32_t>(bitsPerSample / 8);
    std::uint8_t header[kHeaderBytes] = {};
    std::memcpy(header, "RIFF", 4);
    putLE(header + 4, 36, 4);
    std::memcpy(header + 8, "WAVEfmt ", 8);
    putLE(header + 16, 16, 4);
    putLE(header + 20, kFormatPCM, 2);
    putLE(header + 22, 1, 2);
    putLE(header + 24, static_cast<std::uint32_t>(sampleRate), 4);
    putLE(header + 28, static_cast<std::uint32_t>(sampleRate) * width, 4);
    putLE(header + 32, width, 2);
    putLE(header + 34, static_cast<std::uint32_t>(bitsPerSample), 2);
    std::memcpy(header + 36, "data", 4);
    if (std::fwrite(header, 1, kHeaderBytes, writer.file_) != kHeaderBytes)
        return tl::unexpected("cannot write " + path.string());
    return writer;
}

tl::expected<void, std::string> MonoWavWriter::write(std::span<const double> samples) {
    if (samples.empty())
        return {};
    const auto width = static_cast<std::size_t>(bitsPerSample_ / 8);
    const double full = std::ldexp(1.0, bitsPerSample_ - 1);
    bytes_.resize(samples.size() * width);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double x = std::isnan(samples[i]) ? 0.0 : samples[i];
        const double scaled = std::clamp(x * (full - 1.0), -full, full - 1.0);
        putLE(&bytes_[i * width], static_cast<std::uint32_t>(static_cast<std::int32_t>(std::round(scaled))),
              static_cast<int>(width));
    }
    if (std::fwrite(bytes_.data(), 1, bytes_.size(), file_) != bytes_.size())
        return tl::unexpected("cannot write " + path_.string());
    samplesWritten_ += static_cast<std::int64_t>(samples.size());
    return {};
}

tl::expected<void, std::string> MonoWavWriter::finish() {
    const std::uint64_t dataBytes = static_cast<std::uint64_t>(samplesWritten_) * (bitsPerSample_ / 8);
    const bool fits = dataBytes + 36 <= 0xFFFFFFFFu;
    std::uint8_t size[4];
    bool ok = fits;
    putLE(size, static_cast<std::uint32_t>(dataBytes + 36), 4);
    ok = ok && std::fseek(file_, 4, SEEK_SET) == 0 && std::fwrite(size, 1, 4, file_) == 4;
    putLE(size, static_cast<std::uint32_t>(dataBytes), 4);
    ok = ok && std::fseek(file_, 40, SEEK_SET) == 0 && std::fwrite(size, 1, 4, file_) == 4;
    ok = std::fclose(std::exchange(file_, nullptr)) == 0 && ok;
    if (!fits)
        return tl::unexpected(std::string("the output is too long for a WAV file"));
    if (!ok)
        return tl::unexpected("cannot write " + path_.string());
    return {};
}

} // namespace orvane::ssrc
