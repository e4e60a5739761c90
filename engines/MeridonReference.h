#pragma once
// The "Meridon Reference" converter: a calibrated Kaiser-windowed sinc per rate pair (SRCPreset's
// table), and for 48 kHz to 44.1 kHz an optional measured prototype read from a data file installed
// with the program. A missing or malformed file is the normal case and falls back to the calibrated
// design without a word. Any thread; each call builds a new engine.

#include "engines/SRCEngine64.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

namespace orvane::MeridonReference {

inline constexpr const char* tableFileName = "meridon_reference_48_to_44.bin";
// The table holds this many little-endian doubles: a prototype of L = 147 rows of 110 taps.
inline constexpr std::size_t tableDoubles = 16170;
inline constexpr int tableTapsPerPhase = 110;
inline constexpr double tableStartPhase = 8242.0;

// L * taps points of sinc times Kaiser(beta), centred on (L * taps - 1) / 2 (rounded, halves away
// from zero, when alignCenter) plus centerShift, cut off at min(1/L, 1/M) * fcRatio / 2 and scaled
// to a sum of L, which gives each row a DC gain near 1.
std::vector<double> designPrototype(int L, int M, int taps, double fcRatio, double beta, bool alignCenter,
                                    double centerShift);

// Where the reference table would be, in search order, for a program in executableDir:
// <prefix>/share/orvane/, <prefix>/share/orvane/Orvane_VelmontEngine.bundle/ (prefix being
// executableDir/..), then executableDir/Orvane_VelmontEngine.bundle/.
std::vector<std::filesystem::path> tableCandidates(const std::filesystem::path& executableDir);
// The first candidate for the running program that exists; absent if none does.
std::optional<std::filesystem::path> tableURL();
// True if tableURL() exists and its size passes the check below.
bool isTableLoaded();
// The prototype in a table file: absent if it cannot be read or its size divided by 8 is not
// tableDoubles. Bytes past the last whole double are ignored.
std::optional<std::vector<double>> loadTable(const std::filesystem::path& file);

// The engine for a rate pair, with the installed table for 48000 -> 44100 where there is one.
std::unique_ptr<SRCEngine64> makeEngine(int fsIn, int fsOut);
// The same with the table looked for only at tableFile (absent: the calibrated design).
std::unique_ptr<SRCEngine64> makeEngine(int fsIn, int fsOut,
                                        const std::optional<std::filesystem::path>& tableFile);

} // namespace orvane::MeridonReference
