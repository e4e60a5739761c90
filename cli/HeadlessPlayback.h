#pragma once
// The playback engine of a command-line tool: a headless process has no audio device and no one to
// listen, so every transport command is accepted and does nothing, and the transport reports itself
// stopped at the start of the disc. It still keeps the model it was handed, as the workspace reads
// it back. Main thread only.

#include "workspace/PlaybackControl.h"

namespace orvane::cli {

class HeadlessPlayback final : public PlaybackControl {
  public:
    void load(const CDProject& project, const std::vector<TrackPosition>& positions) override {
        project_ = project;
        positions_ = positions;
    }
    void updateProjectAndPositions(const CDProject& project,
                                   const std::vector<TrackPosition>& positions) override {
        load(project, positions);
    }
    void reflectEditDuringPlayback() override {}
    void seek(std::int64_t) override {}
    void play() override {}
    void pause() override {}
    void stop() override {}
    bool isPlaying() const override { return false; }
    bool isScrubbing() const override { return false; }
    bool isSpooling() const override { return false; }
    std::int64_t currentSample() const override { return 0; }
    const std::vector<TrackPosition>& currentPositions() const override { return positions_; }
    const std::optional<CDProject>& currentProject() const override { return project_; }
    void setLoopRange(std::int64_t, std::int64_t) override {}
    void clearLoopRange() override {}
    void setScrubGain(double) override {}
    void setOutputVolume(double) override {}
    std::int64_t totalSamples() const override { return 0; }
    void nextTrack(std::int64_t) override {}
    void previousTrack(std::int64_t) override {}
    void beginScrub() override {}
    void scrubTo(std::int64_t) override {}
    void endScrub() override {}
    void spoolStep(int) override {}
    void stopSpool() override {}
    void loadPreview(const std::filesystem::path&, std::int64_t) override {}
    void switchPreview(const std::filesystem::path&, std::int64_t) override {}
    void stopPreview() override {}
    // Caches are built when a delivery needs them; nothing prewarms them for a player that never plays.
    void rebuildSRCCaches(const CDProject&) override {}
    void rebuildSRCCache(const Uuid&, const std::filesystem::path&, const std::string&,
                         const std::optional<std::string>&, const std::string&,
                         const std::optional<std::string>&) override {}
    void setSRCStateChangeHandler(SRCStateHandler) override {}
    void setTimeUpdateHandler(TimeUpdateHandler) override {}

  private:
    std::optional<CDProject> project_;
    std::vector<TrackPosition> positions_;
};

} // namespace orvane::cli
