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
    // Converts every channel of input from fsIn to fsOut in one thread, appending to out: one empty
    // vector per channel with room for the whole output, as outputRoom gives.
    std::function<void(const Channels& input, int fsIn, int fsOut, Channels& out)> convert;
};

// One empty vector per channel with room for the whole output, every page of it already touched. Made
// before the clock starts and cleared between runs, so that the table times the converters, not the
// kernel handing out fresh pages (on some machines that costs as much as a fast converter's work, and
// more or less of it from run to run).
Channels outputRoom(const Channels& input, int fsIn, int fsOut);

// Converts into fresh room: for measurements where time does not count.
Channels convertAll(const Contender& contender, const Channels& input, int fsIn, int fsOut);

// Velmont SRC (one StreamingResampler per channel, as the renderer runs it), Velmont SRC direct (the
// engine's own appending call), Meridon Reference, SoX VHQ (our adapter), libsoxr VHQ direct,
// libsamplerate SRC_SINC_BEST_QUALITY.
std::vector<Contender> allContenders();

} // namespace orvane::bench
