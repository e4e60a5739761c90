#include "engines/MeridonReference.h"

#include "engines/FilterDesign.h"
#include "engines/SRCPreset.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <system_error>

namespace orvane::MeridonReference {

namespace {

constexpr const char* kBundleName = "Orvane_VelmontEngine.bundle";

double littleEndianDouble(const unsigned char* bytes) {
    std::uint64_t bits = 0;
    for (int b = 7; b >= 0; --b)
        bits = (bits << 8) | bytes[b];
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

std::optional<std::filesystem::path> executableDir() {
    std::error_code ec;
    const auto exe = std::filesystem::read_symlink("/proc/self/exe", ec);
    if (ec)
        return std::nullopt;
    return exe.parent_path();
}

std::unique_ptr<SRCEngine64> engineFromTable(const std::vector<double>& prototype) {
    auto bank = std::make_shared<const PolyphaseFilterBank64>(147, 160, prototype, tableTapsPerPhase);
    return std::make_unique<SRCEngine64>(48000, 44100, std::move(bank), tableStartPhase);
}

} // namespace

std::vector<double> designPrototype(int L, int M, int taps, double fcRatio, double beta, bool alignCenter,
                                    double centerShift) {
    const int N = L * taps;
    double center = (N - 1) / 2.0;
    if (alignCenter)
        center = std::round(center);
    center += centerShift;
    const double fc = std::min(1.0 / L, 1.0 / M) * fcRatio * 0.5;

    std::vector<double> h = FilterDesign::sincFilter(N, fc, center);
    const std::vector<double> w = FilterDesign::kaiserWindow(N, beta, center);
    double sum = 0.0;
    for (std::size_t n = 0; n < h.size(); ++n) {
        h[n] *= w[n];
        sum += h[n];
    }
    if (std::fabs(sum) > 1e-300) {
        const double scale = L / sum;
        for (double& v : h)
            v *= scale;
    }
    return h;
}

std::vector<std::filesystem::path> tableCandidates(const std::filesystem::path& dir) {
    const auto share = dir.parent_path() / "share" / "orvane";
    return {share / tableFileName, share / kBundleName / tableFileName, dir / kBundleName / tableFileName};
}

std::optional<std::filesystem::path> tableURL() {
    const auto dir = executableDir();
    if (!dir)
        return std::nullopt;
    for (const auto& candidate : tableCandidates(*dir)) {
        std::error_code ec;
        if (std::filesystem::exists(candidate, ec))
            return candidate;
    }
    return std::nullopt;
}

bool isTableLoaded() {
    const auto url = tableURL();
    if (!url)
        return false;
    std::error_code ec;
    const auto size = std::filesystem::file_size(*url, ec);
    return !ec && size / 8 == tableDoubles;
}

std::optional<std::vector<double>> loadTable(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in)
        return std::nullopt;
    std::vector<unsigned char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (in.bad() || bytes.size() / 8 != tableDoubles)
        return std::nullopt;
    std::vector<double> prototype(tableDoubles);
    for (std::size_t i = 0; i < tableDoubles; ++i)
        prototype[i] = littleEndianDouble(bytes.data() + 8 * i);
    return prototype;
}

std::unique_ptr<SRCEngine64> makeEngine(int fsIn, int fsOut) {
    return makeEngine(fsIn, fsOut, fsIn == 48000 && fsOut == 44100 ? tableURL() : std::nullopt);
}

std::unique_ptr<SRCEngine64> makeEngine(int fsIn, int fsOut,
                                        const std::optional<std::filesystem::path>& tableFile) {
    if (fsIn == 48000 && fsOut == 44100 && tableFile) {
        // A table that cannot be used is not an error: the calibrated design below stands in for it.
        if (const auto prototype = loadTable(*tableFile))
            return engineFromTable(*prototype);
    }
    const SRCParams p = meridonReferenceParams(fsIn, fsOut);
    const double wholePhase = std::floor(p.start_phase);
    // The whole part of the start phase goes to the accumulator; the fraction moves the centre earlier.
    const double centerShift = -(p.start_phase - wholePhase);
    const RateRatio ratio = reducedRatio(fsIn, fsOut);
    const std::vector<double> prototype = designPrototype(ratio.L, ratio.M, p.taps, p.fc_ratio,
                                                          p.beta.value_or(10.0), p.alignCenter, centerShift);
    auto bank = std::make_shared<const PolyphaseFilterBank64>(ratio.L, ratio.M, prototype, p.taps);
    return std::make_unique<SRCEngine64>(fsIn, fsOut, std::move(bank), wholePhase);
}

} // namespace orvane::MeridonReference
