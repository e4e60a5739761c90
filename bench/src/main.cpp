// bench_src: how fast and how clean the in-house converters are next to libsoxr and libsamplerate.
// Prints one table: real-time factor on 60 s of music-like stereo, then passband ripple, worst
// alias in the audible band, and THD+N, for 96 kHz and 48 kHz sources to 44.1 kHz. One thread.

#include "Contenders.h"
#include "QualityProbe.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <exception>
#include <vector>

namespace {

using namespace orvane::bench;

// CPU time of this thread: the machine may be busy with other work, which wall time would count.
double threadSeconds() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

constexpr int kRounds = 3;

// The best time of each contender over kRounds rounds, every round running each contender once in turn,
// all into one room for the output. Taking turns puts every contender through the same spells of a
// busy machine, so that their ratio means something even when the absolute times wander.
std::vector<double> secondsToConvert(const std::vector<Contender>& contenders, const Channels& input,
                                     int fsIn, int fsOut) {
    std::vector<double> best(contenders.size(), 1e300);
    Channels out = outputRoom(input, fsIn, fsOut);
    for (int round = 0; round < kRounds; ++round) {
        for (std::size_t c = 0; c < contenders.size(); ++c) {
            for (auto& channel : out)
                channel.clear();
            const double start = threadSeconds();
            contenders[c].convert(input, fsIn, fsOut, out);
            best[c] = std::min(best[c], threadSeconds() - start);
            volatile double sink = out.empty() || out[0].empty() ? 0.0 : out[0][out[0].size() / 2];
            (void)sink;
        }
    }
    return best;
}

} // namespace

int main() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    std::printf("warning: built with sanitizers; timings are not representative\n");
#endif
    constexpr double kSeconds = 60.0;
    constexpr int kTarget = 44100;
    const int sources[] = {96000, 48000};
    try {
        std::printf("%-20s %7s %10s %11s %12s %9s %10s\n", "converter", "source", "x realtime", "ripple dB",
                    "low @20k dB", "alias dB", "THD+N dB");
        for (int fsIn : sources) {
            const std::vector<Contender> contenders = allContenders();
            const std::vector<double> seconds =
                secondsToConvert(contenders, musicLikeStereo(fsIn, kSeconds), fsIn, kTarget);
            for (std::size_t c = 0; c < contenders.size(); ++c) {
                const Quality q = measureQuality(contenders[c], fsIn, kTarget);
                std::printf("%-20s %7d %10.1f %11.4f %12.4f %9.1f %10.1f\n", contenders[c].name.c_str(), fsIn,
                            kSeconds / seconds[c], q.passbandRippleDB, q.passbandLowDB, q.worstAliasDB,
                            q.thdPlusNoiseDB);
                std::fflush(stdout);
            }
        }
    } catch (const std::exception& e) {
        std::fprintf(stderr, "bench_src: %s\n", e.what());
        return 1;
    }
    std::printf(
        "\nx realtime: 60 s of stereo in one thread, blocks of 65536 frames; thread CPU time, best of 3\n"
        "       rounds in which the converters take turns,\n"
        "       output appended to room made (and touched) before the clock starts.\n"
        "direct: the library's own call on whole channels; the other rows run one StreamingResampler\n"
        "       per channel on copied blocks, as the SRC renderer does.\n"
        "ripple: max - min gain of 41 tones 20 Hz ... 20 kHz; low: the lowest of them.\n"
        "alias: worst energy in 0 ... 20 kHz, relative to the tone, from tones 20 kHz ... 48 kHz\n"
        "       (or the source's Nyquist) in 250 Hz steps.\n"
        "THD+N: 997 Hz at -1 dBFS, everything but the tone in 20 Hz ... 20 kHz.\n");
    return 0;
}
