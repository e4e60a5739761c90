#pragma once
// The commands the workspace gives the playback engine, and what it reads back. The real engine
// (PlaybackEngine) arrives with the monitoring module and implements this; until then, and in the
// workspace's own tests, a recording fake stands in (workspace/tests/FakePlayback.h). Every call
// is made on the main thread; the callbacks are delivered on the main thread too.

#include "model/CDProject.h"
#include "model/ProjectEnums.h"
#include "model/TrackPosition.h"
#include "model/Uuid.h"

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace orvane {

class PlaybackControl {
  public:
    virtual ~PlaybackControl() = default;

    // Replaces what is played, from rest (a running transport stops silently first).
    virtual void load(const CDProject& project, const std::vector<TrackPosition>& positions) = 0;
    // Replaces what is played without an audible break.
    virtual void updateProjectAndPositions(const CDProject& project,
                                           const std::vector<TrackPosition>& positions) = 0;
    // Makes an edit already handed over by updateProjectAndPositions audible at once.
    virtual void reflectEditDuringPlayback() = 0;

    // Positions are disc samples at 44.1 kHz from the timeline's start (or the audition file's): whole
    // numbers from the workspace to the producer, so a frame-exact locate or loop edge stays exact.
    static constexpr std::int64_t samplesPerSecond = 44100;
    // A time from the display (a pointer's place, a typed time) as a sample, rounded to the nearest
    // so that a frame boundary given in seconds lands on its exact sample.
    static std::int64_t sampleAt(double seconds) {
        return std::isfinite(seconds) ? std::llround(seconds * static_cast<double>(samplesPerSecond)) : 0;
    }

    virtual void seek(std::int64_t toSample) = 0; // clamped by the engine to 0...totalSamples()
    virtual void play() = 0;
    virtual void pause() = 0;
    virtual void stop() = 0; // back to the timeline's start
    virtual bool isPlaying() const = 0;
    virtual bool isScrubbing() const = 0;
    virtual bool isSpooling() const = 0;
    virtual std::int64_t currentSample() const = 0; // the playhead
    // The playhead in seconds, for display.
    double currentTime() const { return static_cast<double>(currentSample()) / samplesPerSecond; }

    // The layout and the project it was last given by load or updateProjectAndPositions; no
    // project before the first.
    virtual const std::vector<TrackPosition>& currentPositions() const = 0;
    virtual const std::optional<CDProject>& currentProject() const = 0;

    // The loop; it reaches the audio at the next seek.
    virtual void setLoopRange(std::int64_t startSample, std::int64_t endSample) = 0;
    virtual void clearLoopRange() = 0;

    // The scrub level relative to the monitor level, 0 to 1; stored under the engine's lock since
    // the scrub loop reads it off the main thread.
    virtual void setScrubGain(double gain) = 0;
    // The output mixer's volume, 0 to 1.
    virtual void setOutputVolume(double volume) = 0;

    // Length of what is loaded: the disc, or the audition file while one is loaded.
    virtual std::int64_t totalSamples() const = 0;
    double totalTime() const { return static_cast<double>(totalSamples()) / samplesPerSecond; }
    // The transport keys: locate to INDEX 01 of the next or previous track, less the pre-roll, and
    // roll when a pre-roll is given.
    virtual void nextTrack(std::int64_t prerollSamples) = 0;
    virtual void previousTrack(std::int64_t prerollSamples) = 0;

    // Scrub (a drag on the ruler) and spool (the tape-style keys, direction +1 or -1).
    virtual void beginScrub() = 0;
    virtual void scrubTo(std::int64_t sample) = 0;
    virtual void endScrub() = 0;
    virtual void spoolStep(int direction) = 0;
    virtual void stopSpool() = 0;

    // Take audition: plays one file on its own time axis (`totalFrames` in CD frames), from rest.
    virtual void loadPreview(const std::filesystem::path& file, std::int64_t totalFrames) = 0;
    // Changes the auditioned file at the same audible position, without stopping the roll.
    virtual void switchPreview(const std::filesystem::path& file, std::int64_t totalFrames) = 0;
    // Ends a take audition and returns to the timeline.
    virtual void stopPreview() = 0;

    // Fills the SRC cache in the background for every track's active file and every take that needs
    // it; each one's state comes back through the SRC state handler.
    virtual void rebuildSRCCaches(const CDProject& project) = 0;
    // The same for one file, under the id of its track or take; its own settings win over the master's.
    virtual void rebuildSRCCache(const Uuid& id, const std::filesystem::path& source,
                                 const std::string& masterSRC, const std::optional<std::string>& algorithm,
                                 const std::string& masterPhase, const std::optional<std::string>& phase) = 0;

    // Told whenever the SRC cache of a track or take (by id) changes state.
    using SRCStateHandler = std::function<void(const Uuid& id, SRCCacheState state)>;
    virtual void setSRCStateChangeHandler(SRCStateHandler handler) = 0;
    // Told the playhead on each display tick and after each locate.
    using TimeUpdateHandler = std::function<void(std::int64_t sample)>;
    virtual void setTimeUpdateHandler(TimeUpdateHandler handler) = 0;
};

} // namespace orvane
