#include "model/RedBook.h"

#include <cmath>
#include <cstdio>

namespace orvane {

std::int64_t RedBook::discSamplesForFileLength(std::int64_t fileFrames, double fileSampleRate) {
    if (fileSampleRate == 44100.0)
        return fileFrames;
    return static_cast<std::int64_t>((44100.0 / fileSampleRate) * static_cast<double>(fileFrames));
}

CDTime CDTime::fromSamples(std::int64_t samples) {
    return CDTime{static_cast<std::int64_t>(
        std::ceil(static_cast<double>(samples) / static_cast<double>(RedBook::samplesPerFrame)))};
}

MSF CDTime::msf() const {
    const std::int64_t a = totalFrames < 0 ? -totalFrames : totalFrames;
    return MSF{a / 4500, (a / 75) % 60, a % 75};
}

std::string CDTime::msfString() const {
    const MSF m = msf();
    char buffer[48];
    std::snprintf(buffer, sizeof buffer, "%s%02lld:%02lld:%02lld", totalFrames < 0 ? "-" : "",
                  static_cast<long long>(m.minutes), static_cast<long long>(m.seconds),
                  static_cast<long long>(m.frames));
    return buffer;
}

} // namespace orvane
