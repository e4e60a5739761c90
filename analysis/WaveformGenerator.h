#pragma once
// Peaks for drawing a whole audio file: one minimum/maximum pair of the mono mix for every 32 frames
// of the file, at its native rate, read once from start to end. Any thread; each call opens the file
// anew, so several may run at once on different threads.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <vector>

namespace orvane::WaveformGenerator {

inline constexpr std::int64_t samplesPerBucket = 32;
inline constexpr std::size_t readBlockFrames = 262144;

// The flat peak list: minimum, then maximum, bucket after bucket; bucket k covers frames 32k to
// 32k + 31, the last one as many as remain. The mono mix is (left + right) / 2, or the one channel
// of a mono file. An unopenable or empty file gives an empty list; a read that fails midway is
// reported on the console and the list holds what came before it.
std::vector<float> generatePeaks(const std::filesystem::path& url);

} // namespace orvane::WaveformGenerator
