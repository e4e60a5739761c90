#pragma once
// Measurements of a converter's output on synthetic test signals, with one second of output analysed
// by an FFT. Every test tone sits on a whole number of hertz, so with a one-second rectangular window
// each tone, alias and harmonic falls on one bin and nothing leaks.

#include "Contenders.h"

namespace orvane::bench {

struct Quality {
    double passbandRippleDB = 0.0; // max - min tone gain, 20 Hz ... 20 kHz
    double passbandLowDB = 0.0;    // lowest tone gain in that range
    double worstAliasDB = 0.0;     // worst stray energy in 0 ... 20 kHz from a tone in 20 ... 48 kHz
    double worstAliasToneHz = 0.0; // the tone that gave it
    double thdPlusNoiseDB = 0.0;   // 997 Hz at -1 dBFS: all but the tone in 20 Hz ... 20 kHz
};

Quality measureQuality(const Contender& contender, int fsIn, int fsOut);

// A deterministic music-like test programme: pink noise at about -18 dBFS plus a few steady tones.
Channels musicLikeStereo(int fs, double seconds);

} // namespace orvane::bench
