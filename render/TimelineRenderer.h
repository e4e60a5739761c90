#pragma once
// The disc (or one file) as monitoring hears it: fills two float channels at 44.1 kHz with every
// edit of the project applied, reading the sources directly (never the SRC cache). A source of
// another rate is converted as a stream: one converter per source carries its history from chunk
// to chunk and starts afresh only where the reads jump (a seek, a loop's wrap, a moved block).
// Used only from the playback producer's queue; it holds no lock and serves one thread at a time.
// Faults of a source play as silence.

#include "model/AudioBlock.h"
#include "model/CDProject.h"
#include "model/TrackPosition.h"
#include "platform/AudioFileReader.h"
#include "render/ResampledStream.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
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

    // How sources of another rate are read. Steady playback streams them; the scrub reads short
    // windows at will and converts each on its own.
    enum class Reading { stream, perChunk };

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
    void render(float* l, float* r, std::int64_t startSample441, std::int64_t count, const Snapshot& snapshot,
                Reading reading = Reading::stream);
    // The plain content of one file from startSample441 (below 0 taken as 0), no edit applied.
    // A failed read gives silence.
    void renderPreview(float* l, float* r, const std::filesystem::path& file, std::int64_t startSample441,
                       std::int64_t count, Reading reading = Reading::stream);

    // Emptied by the engine's load so that a replaced file is reopened.
    void clearFileCache() {
        streams_.clear();
        fileCache_.clear();
    }
    // Emptied on every start and seek so that the filter starts fresh at the new place.
    void clearDeEmphasisStates() { deemphStates_.clear(); }

  private:
    // Scratch of one source read, kept between calls so that steady playback allocates little:
    // the file's native frames, the converted frames, and the result of exactly `count` samples.
    struct ReadScratch {
        std::optional<AudioBuffer> native;
        std::optional<AudioBuffer> converted;
        std::vector<float> l;
        std::vector<float> r;
    };

    // The stream of the audition file; tracks use their index.
    static constexpr std::int64_t previewStreamKey = -1;

    // One chunk that lies wholly inside one block; a silence block leaves the output as it is.
    void renderBlockChunk(const AudioBlock& block, float* l, float* r, std::int64_t outOffset,
                          std::int64_t globalSample, std::int64_t count, const Snapshot& snapshot,
                          Reading reading);
    void renderTrackChunk(const AudioBlock::Track& block, float* l, float* r, std::int64_t outOffset,
                          std::int64_t globalSample, std::int64_t count, const CDProject& project,
                          Reading reading);
    void renderCrossfadeChunk(const AudioBlock::Crossfade& block, float* l, float* r, std::int64_t outOffset,
                              std::int64_t globalSample, std::int64_t count, const CDProject& project,
                              Reading reading);
    // Fills scratch.l and scratch.r with exactly `count` samples at 44.1 kHz stereo from the file's
    // disc sample startSample441; zeros past the end. `streamKey` names the stream that carries a
    // converted source on. False when the file cannot be opened, read or converted.
    bool readResampled(ReadScratch& scratch, std::int64_t streamKey, const std::filesystem::path& file,
                       std::int64_t startSample441, std::int64_t count, Reading reading);
    // A fresh conversion of one chunk with no history: the scrub's reading.
    bool readConvertedChunk(ReadScratch& scratch, AudioFileReader& reader, std::int64_t startSample441,
                            std::int64_t count);
    // Runs the track's shelf over the samples in place, carrying its state on to the next call.
    void applyDeEmphasis(std::int64_t trackIndex, float* l, float* r, std::int64_t count);
    // The open reader for a path, opened on first use; null if it does not open (nothing is kept then).
    AudioFileReader* file(const std::filesystem::path& path);

    std::map<std::string, AudioFileReader> fileCache_;
    std::map<std::int64_t, ResampledStream> streams_;
    std::map<std::int64_t, StereoDeEmphasis> deemphStates_;
    std::array<ReadScratch, 2> scratch_; // the outgoing and the incoming source of a crossfade
};

} // namespace orvane
