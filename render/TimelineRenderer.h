#pragma once
// The disc (or one file) as monitoring hears it: fills two float channels at 44.1 kHz with every
// edit of the project applied, reading the sources directly (never the SRC cache) and converting
// sources of other rates or channel counts chunk by chunk. Used only from the playback producer's
// queue; it holds no lock and serves one thread at a time. Faults of a source play as silence.

#include "model/AudioBlock.h"
#include "model/CDProject.h"
#include "model/TrackPosition.h"
#include "platform/AudioFileReader.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace orvane {

// The 50/15 microsecond de-emphasis shelf, first order, fixed for 44.1 kHz.
struct DeEmphasis {
    static constexpr float pole = 0.6353909969329834f;
    static constexpr float zero = 0.22053126990795135f;
    static constexpr float gain = 0.46776604652404785f;
};

struct DeEmphasisFilter {
    float x1 = 0.0f; // previous input
    float y1 = 0.0f; // previous output
};

struct StereoDeEmphasis {
    DeEmphasisFilter l;
    DeEmphasisFilter r;
};

class TimelineRenderer {
  public:
    static constexpr std::int64_t samplesPerFrame = 588;

    // The timeline as the producer sees it; immutable once made.
    struct Snapshot {
        CDProject project;
        std::vector<TrackPosition> positions;
        std::vector<AudioBlock> blocks;
        std::int64_t totalSamples = 0; // last position's endLBA * 588, 0 with no positions

        // Builds blocks and totalSamples from the project and its layout.
        static Snapshot make(CDProject project, std::vector<TrackPosition> positions);
    };

    // Zeroes the first `count` samples of l and r, then writes the disc's audio from
    // startSample441 that lies before totalSamples.
    void render(float* l, float* r, std::int64_t startSample441, std::int64_t count, const Snapshot& snapshot);
    // The plain content of one file from startSample441 (below 0 taken as 0), no edit applied.
    // A failed read gives silence.
    void renderPreview(float* l, float* r, const std::filesystem::path& file, std::int64_t startSample441,
                       std::int64_t count);

    // Emptied by the engine's load so that a replaced file is reopened.
    void clearFileCache() { fileCache_.clear(); }
    // Emptied on every start and seek so that the filter starts fresh at the new place.
    void clearDeEmphasisStates() { deemphStates_.clear(); }

  private:
    std::map<std::string, AudioFileReader> fileCache_;
    std::map<std::int64_t, StereoDeEmphasis> deemphStates_;
};

} // namespace orvane
