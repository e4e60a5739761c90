#include "engines/SsrcSRC.h"

#include "platform/ChildProcess.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <limits>
#include <random>
#include <system_error>

namespace orvane {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kHeaderBytes = 44;
constexpr double kInt32Scale = 2147483647.0;
constexpr double kInt24Scale = 1.0 / 8388607.0;

void putLE32(std::uint8_t* at, std::uint32_t value) {
    for (int i = 0; i < 4; ++i)
        at[i] = static_cast<std::uint8_t>(value >> (8 * i));
}

void putLE16(std::uint8_t* at, std::uint16_t value) {
    at[0] = static_cast<std::uint8_t>(value);
    at[1] = static_cast<std::uint8_t>(value >> 8);
}

std::uint32_t getLE32(const std::uint8_t* at) {
    return static_cast<std::uint32_t>(at[0]) | static_cast<std::uint32_t>(at[1]) << 8 |
           static_cast<std::uint32_t>(at[2]) << 16 | static_cast<std::uint32_t>(at[3]) << 24;
}

std::uint16_t getLE16(const std::uint8_t* at) {
    return static_cast<std::uint16_t>(at[0] | at[1] << 8);
}

// A fresh version-4 UUID in its canonical text, for a work folder no other run can share.
std::string freshUuidString() {
    thread_local std::mt19937_64 generator{[] {
        std::random_device device;
        std::seed_seq seq{device(), device(), device(), device()};
        return std::mt19937_64{seq};
    }()};
    std::uint8_t bytes[16];
    for (int half = 0; half < 2; ++half) {
        const std::uint64_t word = generator();
        for (int i = 0; i < 8; ++i)
            bytes[half * 8 + i] = static_cast<std::uint8_t>(word >> (8 * i));
    }
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    for (int i = 0; i < 16; ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10)
            text.push_back('-');
        text.push_back(digits[bytes[i] >> 4]);
        text.push_back(digits[bytes[i] & 0x0F]);
    }
    return text;
}

bool isValidUTF8(const std::string& text) {
    std::size_t i = 0;
    while (i < text.size()) {
        const auto lead = static_cast<unsigned char>(text[i]);
        std::size_t extra = 0;
        std::uint32_t codePoint = 0;
        if (lead < 0x80) {
            ++i;
            continue;
        } else if ((lead & 0xE0) == 0xC0) {
            extra = 1;
            codePoint = lead & 0x1F;
        } else if ((lead & 0xF0) == 0xE0) {
            extra = 2;
            codePoint = lead & 0x0F;
        } else if ((lead & 0xF8) == 0xF0) {
            extra = 3;
            codePoint = lead & 0x07;
        } else {
            return false;
        }
        if (i + extra >= text.size())
            return false;
        for (std::size_t k = 1; k <= extra; ++k) {
            const auto next = static_cast<unsigned char>(text[i + k]);
            if ((next & 0xC0) != 0x80)
                return false;
            codePoint = codePoint << 6 | (next & 0x3F);
        }
        static constexpr std::uint32_t smallest[] = {0, 0x80, 0x800, 0x10000};
        if (codePoint < smallest[extra] || codePoint > 0x10FFFF ||
            (codePoint >= 0xD800 && codePoint <= 0xDFFF))
            return false;
        i += extra + 1;
    }
    return true;
}

fs::path runningProgramFolder() {
    std::error_code ec;
    const fs::path self = fs::read_symlink("/proc/self/exe", ec);
    return ec ? fs::path{} : self.parent_path();
}

bool isExecutableFile(const fs::path& path) {
    std::error_code ec;
    return fs::is_regular_file(path, ec) && ::access(path.c_str(), X_OK) == 0;
}

std::optional<std::vector<std::uint8_t>> readWholeFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return std::nullopt;
    std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (in.bad())
        return std::nullopt;
    return bytes;
}

} // namespace

std::string SsrcSRC::SsrcError::message() const {
    switch (kind) {
    case Kind::conversionFailed:
        return "SSRC conversion failed: " + text;
    case Kind::binaryNotFound:
        return "SSRC binary (ssrc_hp) not found in the app bundle.";
    case Kind::badOutput:
        return "SSRC produced unreadable output.";
    }
    return {};
}

SsrcSRC::SsrcSRC(int fsIn, int fsOut, int /*log2len*/, double /*aa*/, double /*guardBand*/, bool /*minPhase*/,
                 std::optional<fs::path> toolPath)
    : fsIn_(fsIn), fsOut_(fsOut), toolPath_(std::move(toolPath)) {
    setUp();
}

SsrcSRC::~SsrcSRC() {
    if (writer_ != nullptr)
        std::fclose(writer_);
    // Leaving the spool behind would only waste disk space; nothing else depends on the removal.
    std::error_code ignored;
    if (!workDir_.empty())
        fs::remove_all(workDir_, ignored);
}

void SsrcSRC::fail(SsrcError error) {
    if (!error_)
        error_ = std::move(error);
}

void SsrcSRC::setUp() {
    std::error_code ec;
    const fs::path temporary = fs::temp_directory_path(ec);
    if (ec)
        return fail({SsrcError::Kind::conversionFailed, "no temporary folder: " + ec.message()});
    workDir_ = temporary / ("orvane-ssrc-" + freshUuidString());
    if (!fs::create_directory(workDir_, ec) || ec) {
        const std::string text = "cannot create " + workDir_.string() + ": " + ec.message();
        workDir_.clear();
        return fail({SsrcError::Kind::conversionFailed, text});
    }
    inURL_ = workDir_ / "in.wav";
    writer_ = std::fopen(inURL_.c_str(), "wb");
    const std::vector<std::uint8_t> header = wavHeader(fsIn_, 0);
    if (writer_ == nullptr || std::fwrite(header.data(), 1, header.size(), writer_) != header.size() ||
        std::fseek(writer_, 0, SEEK_END) != 0) {
        if (writer_ != nullptr)
            std::fclose(writer_);
        writer_ = nullptr;
        fail({SsrcError::Kind::conversionFailed, "cannot write " + inURL_.string()});
    }
}

std::int32_t SsrcSRC::toInt32Sample(double x) {
    if (std::isnan(x))
        return 0;
    const double scaled = std::clamp(x * kInt32Scale, -2147483648.0, 2147483647.0);
    return static_cast<std::int32_t>(std::round(scaled));
}

std::vector<std::uint8_t> SsrcSRC::wavHeader(int sampleRate, std::uint32_t dataBytes) {
    std::vector<std::uint8_t> h(kHeaderBytes, 0);
    const auto rate = static_cast<std::uint32_t>(sampleRate);
    std::copy_n("RIFF", 4, h.begin());
    putLE32(&h[4], dataBytes + 36);
    std::copy_n("WAVEfmt ", 8, h.begin() + 8);
    putLE32(&h[16], 16);
    putLE16(&h[20], 1);
    putLE16(&h[22], 1);
    putLE32(&h[24], rate);
    putLE32(&h[28], rate * 4);
    putLE16(&h[32], 4);
    putLE16(&h[34], 32);
    std::copy_n("data", 4, h.begin() + 36);
    putLE32(&h[40], dataBytes);
    return h;
}

std::vector<double> SsrcSRC::processBlock(const std::vector<double>& input) {
    if (error_ || writer_ == nullptr || input.empty())
        return {};
    totalIn_ += static_cast<std::int64_t>(input.size());
    spool_.resize(input.size() * 4);
    for (std::size_t i = 0; i < input.size(); ++i)
        putLE32(&spool_[i * 4], static_cast<std::uint32_t>(toInt32Sample(input[i])));
    if (std::fwrite(spool_.data(), 1, spool_.size(), writer_) != spool_.size())
        fail({SsrcError::Kind::conversionFailed, "cannot write " + inURL_.string()});
    return {};
}

bool SsrcSRC::finishInputFile() {
    const bool closed = std::fclose(writer_) == 0;
    writer_ = nullptr;
    if (!closed) {
        fail({SsrcError::Kind::conversionFailed, "cannot write " + inURL_.string()});
        return false;
    }
    const std::int64_t dataBytes = totalIn_ * 4;
    if (dataBytes + 36 > std::numeric_limits<std::uint32_t>::max()) {
        fail({SsrcError::Kind::conversionFailed, "the channel is too long for a WAV file"});
        return false;
    }
    std::uint8_t sizes[4];
    std::FILE* file = std::fopen(inURL_.c_str(), "r+b");
    bool written = file != nullptr;
    putLE32(sizes, static_cast<std::uint32_t>(dataBytes + 36));
    written = written && std::fseek(file, 4, SEEK_SET) == 0 && std::fwrite(sizes, 1, 4, file) == 4;
    putLE32(sizes, static_cast<std::uint32_t>(dataBytes));
    written = written && std::fseek(file, 40, SEEK_SET) == 0 && std::fwrite(sizes, 1, 4, file) == 4;
    if (file != nullptr && std::fclose(file) != 0)
        written = false;
    if (!written)
        fail({SsrcError::Kind::conversionFailed, "cannot write " + inURL_.string()});
    return written;
}

bool SsrcSRC::runTool(const fs::path& tool) {
    const std::vector<std::string> arguments = {"--rate",
                                                std::to_string(fsOut_),
                                                "--bits",
                                                "24",
                                                "--quiet",
                                                "--tmpfile",
                                                (workDir_ / "ssrc.tmp").string(),
                                                inURL_.string(),
                                                (workDir_ / "out.wav").string()};
    const auto run = runChildProcess(tool, arguments);
    if (!run) {
        fail({SsrcError::Kind::conversionFailed, "cannot start " + tool.string() + ": " + run.error()});
        return false;
    }
    if (run->exitStatus != 0) {
        const std::string text =
            isValidUTF8(run->errorText) ? run->errorText : "exit " + std::to_string(run->exitStatus);
        fail({SsrcError::Kind::conversionFailed, text});
        return false;
    }
    return true;
}

std::vector<double> SsrcSRC::flush() {
    if (error_ || writer_ == nullptr)
        return {};
    if (!finishInputFile())
        return {};
    const std::optional<fs::path> tool = toolPath_ ? toolPath_ : ssrcBinaryURL();
    if (!tool) {
        fail({SsrcError::Kind::binaryNotFound, {}});
        return {};
    }
    if (!runTool(*tool))
        return {};
    const auto bytes = readWholeFile(workDir_ / "out.wav");
    std::optional<std::vector<double>> samples = bytes ? readMono24(*bytes) : std::nullopt;
    if (!samples) {
        fail({SsrcError::Kind::badOutput, {}});
        return {};
    }
    const auto expected = static_cast<std::int64_t>(static_cast<double>(totalIn_) * fsOut_ / fsIn_);
    samples->resize(static_cast<std::size_t>(expected), 0.0);
    return std::move(*samples);
}

std::optional<RenderError> SsrcSRC::renderError() const {
    if (!error_)
        return std::nullopt;
    return RenderError{error_->message()};
}

std::optional<std::vector<double>> SsrcSRC::readMono24(const std::vector<std::uint8_t>& bytes) {
    if (bytes.size() < 45)
        return std::nullopt;
    int channels = 0;
    int bitsPerSample = 0;
    std::optional<std::size_t> dataStart;
    std::size_t dataSize = 0;
    std::size_t at = 12;
    while (at + 8 <= bytes.size()) {
        const std::string id(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                             bytes.begin() + static_cast<std::ptrdiff_t>(at + 4));
        const std::uint32_t size = getLE32(&bytes[at + 4]);
        if (id == "fmt " && at + 24 <= bytes.size()) {
            channels = getLE16(&bytes[at + 8 + 2]);
            bitsPerSample = getLE16(&bytes[at + 8 + 14]);
        } else if (id == "data") {
            dataStart = at + 8;
            dataSize = size;
            break;
        }
        at += 8 + static_cast<std::size_t>(size) + (size % 2);
    }
    if (!dataStart || channels != 1 || bitsPerSample != 24)
        return std::nullopt;
    const std::size_t available = std::min(dataSize, bytes.size() - *dataStart);
    std::vector<double> samples(available / 3);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const std::uint8_t* s = &bytes[*dataStart + i * 3];
        std::int32_t value = s[0] | s[1] << 8 | s[2] << 16;
        if (value & 0x800000)
            value -= 0x1000000;
        samples[i] = value * kInt24Scale;
    }
    return samples;
}

std::optional<fs::path> SsrcSRC::ssrcBinaryURL() {
    std::vector<fs::path> candidates;
    const fs::path programFolder = runningProgramFolder();
    if (!programFolder.empty()) {
        candidates.push_back(programFolder / "ssrc_hp");
        candidates.push_back(programFolder.parent_path() / "libexec" / "orvane" / "ssrc_hp");
        candidates.push_back(programFolder.parent_path() / "libexec" / "ssrc_hp");
    }
#ifdef ORVANE_SSRC_HP_BUILD_PATH
    candidates.emplace_back(ORVANE_SSRC_HP_BUILD_PATH);
#endif
    for (const fs::path& candidate : candidates) {
        std::error_code ec;
        if (!fs::exists(candidate, ec))
            continue;
        if (!isExecutableFile(candidate))
            fs::permissions(candidate, fs::perms(0755), fs::perm_options::replace, ec);
        if (isExecutableFile(candidate))
            return candidate;
    }
    return std::nullopt;
}

} // namespace orvane
