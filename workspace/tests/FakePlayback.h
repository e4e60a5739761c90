#pragma once
// A recording stand-in for the playback engine: it keeps the transport state the workspace reads
// (playing, playhead, the model it was given) and writes every command to `calls` as a short text
// ("load", "update", "reflect", "seek(12.5)", "play", ...), positions shown in seconds so that the
// texts read easily. Tests only.

#include "workspace/PlaybackControl.h"

#include <algorithm>
#include <cmath>
#include <sstream>
#include <string>
#include <vector>

namespace orvane::testing {

// A time in seconds as the transport's disc sample.
inline std::int64_t samplesAt(double seconds) {
    return std::llround(seconds * static_cast<double>(PlaybackControl::samplesPerSecond));
}

class FakePlayback final : public PlaybackControl {
  public:
    struct State {
        std::vector<std::string> calls;
        bool playing = false;
        bool scrubbing = false;
        bool spooling = false;
        std::int64_t sample = 0;
        std::vector<TrackPosition> positions;
        std::optional<CDProject> project;
        std::optional<std::pair<std::int64_t, std::int64_t>> loop;
        double scrubGain = 1.0;
        double outputVolume = 1.0;
        std::int64_t totalSamples = 0;
        std::optional<std::filesystem::path> previewFile;
        SRCStateHandler srcHandler;
        TimeUpdateHandler timeHandler;

        void clearCalls() { calls.clear(); }
        std::string joined() const {
            std::string all;
            for (const auto& c : calls) {
                all += (all.empty() ? "" : " ") + c;
            }
            return all;
        }
    };

    // The state outlives the fake's ownership by the workspace, so a test keeps looking at it.
    explicit FakePlayback(std::shared_ptr<State> state) : s_(std::move(state)) {}

    void load(const CDProject& project, const std::vector<TrackPosition>& positions) override {
        s_->playing = false; // from rest
        s_->project = project;
        s_->positions = positions;
        s_->calls.push_back("load");
    }
    void updateProjectAndPositions(const CDProject& project,
                                   const std::vector<TrackPosition>& positions) override {
        s_->project = project;
        s_->positions = positions;
        s_->calls.push_back("update");
    }
    void reflectEditDuringPlayback() override { s_->calls.push_back("reflect"); }
    void seek(std::int64_t toSample) override {
        s_->sample = std::max<std::int64_t>(0, toSample);
        s_->calls.push_back("seek(" + number(toSample) + ")");
    }
    void play() override {
        s_->playing = true;
        s_->calls.push_back("play");
    }
    void pause() override {
        s_->playing = false;
        s_->calls.push_back("pause");
    }
    void stop() override {
        s_->playing = false;
        s_->sample = 0;
        s_->calls.push_back("stop");
    }
    bool isPlaying() const override { return s_->playing; }
    bool isScrubbing() const override { return s_->scrubbing; }
    bool isSpooling() const override { return s_->spooling; }
    std::int64_t currentSample() const override { return s_->sample; }
    const std::vector<TrackPosition>& currentPositions() const override { return s_->positions; }
    const std::optional<CDProject>& currentProject() const override { return s_->project; }
    void setLoopRange(std::int64_t startSample, std::int64_t endSample) override {
        s_->loop = std::make_pair(startSample, endSample);
        s_->calls.push_back("loop(" + number(startSample) + "," + number(endSample) + ")");
    }
    void clearLoopRange() override {
        s_->loop.reset();
        s_->calls.push_back("clearLoop");
    }
    void setScrubGain(double gain) override { s_->scrubGain = gain; }
    void setOutputVolume(double volume) override { s_->outputVolume = volume; }
    std::int64_t totalSamples() const override { return s_->totalSamples; }
    void nextTrack(std::int64_t preroll) override {
        s_->calls.push_back("nextTrack(" + number(preroll) + ")");
    }
    void previousTrack(std::int64_t preroll) override {
        s_->calls.push_back("previousTrack(" + number(preroll) + ")");
    }
    void beginScrub() override { s_->calls.push_back("beginScrub"); }
    void scrubTo(std::int64_t sample) override {
        s_->sample = sample;
        s_->calls.push_back("scrubTo(" + number(sample) + ")");
    }
    void endScrub() override { s_->calls.push_back("endScrub"); }
    void spoolStep(int direction) override {
        s_->calls.push_back("spoolStep(" + std::to_string(direction) + ")");
    }
    void stopSpool() override { s_->calls.push_back("stopSpool"); }
    void loadPreview(const std::filesystem::path& file, std::int64_t totalFrames) override {
        s_->playing = false;
        s_->sample = 0;
        s_->previewFile = file;
        s_->totalSamples = totalFrames * 588;
        s_->calls.push_back("loadPreview(" + file.filename().string() + "," + std::to_string(totalFrames) +
                            ")");
    }
    void switchPreview(const std::filesystem::path& file, std::int64_t totalFrames) override {
        s_->previewFile = file;
        s_->totalSamples = totalFrames * 588;
        s_->sample = std::min(s_->sample, s_->totalSamples);
        s_->calls.push_back("switchPreview(" + file.filename().string() + "," + std::to_string(totalFrames) +
                            ")");
    }
    void stopPreview() override {
        s_->previewFile.reset();
        s_->calls.push_back("stopPreview");
    }
    void rebuildSRCCaches(const CDProject&) override { s_->calls.push_back("rebuildSRCCaches"); }
    void rebuildSRCCache(const Uuid& id, const std::filesystem::path&, const std::string& masterSRC,
                         const std::optional<std::string>& algorithm, const std::string&,
                         const std::optional<std::string>&) override {
        s_->calls.push_back("rebuildSRCCache(" + id.string() + "," + algorithm.value_or(masterSRC) + ")");
    }
    void setSRCStateChangeHandler(SRCStateHandler handler) override { s_->srcHandler = std::move(handler); }
    void setTimeUpdateHandler(TimeUpdateHandler handler) override { s_->timeHandler = std::move(handler); }

  private:
    // A sample count as seconds.
    static std::string number(std::int64_t samples) {
        std::ostringstream out;
        out << static_cast<double>(samples) / static_cast<double>(samplesPerSecond);
        return out.str();
    }
    std::shared_ptr<State> s_;
};

} // namespace orvane::testing
