#pragma once
// The converters the benchmark compares, behind one call that converts whole planar channels the way
// a file conversion does: blocks of 65536 frames, then the end of the stream. One thread.

#include <functional>
#include <string>
#include <vector>

namespace orvane::bench {

using Channels = std::vector<std::vector<double>>;

struct Contender {
    std::string name;
    // Converts every channel of input from fsIn to fsOut in one thread.
    std::function<Channels(const Channels& input, int fsIn, int fsOut)> convert;
};

// Velmont SRC, Meridon Reference, SoX VHQ (our adapter), libsoxr VHQ direct,
// libsamplerate SRC_SINC_BEST_QUALITY.
std::vector<Contender> allContenders();

} // namespace orvane::bench
