#pragma once
// A recording stand-in for the playback engine: it keeps the transport state the workspace reads
// (playing, playhead, the model it was given) and writes every command to `calls` as a short text
// ("load", "update", "reflect", "seek(12.5)", "play", ...). Tests only.

#include "workspace/PlaybackControl.h"

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

namespace orvane::testing {

class FakePlayback final : public PlaybackControl {
  public:
    struct State {
        std::vector<std::string> calls;
        bool playing = false;
        bool scrubbing = false;
        bool spooling = false;
        double time = 0.0;
        std::vector<TrackPosition> positions;
        std::optional<CDProject> project;
        std::optional<std::pair<double, double>> loop;
        double scrubGain = 1.0;
        double outputVolume = 1.0;
        double totalTime = 0.0;
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
    void seek(double toSeconds) override {
        s_->time = std::max(0.0, toSeconds);
        s_->calls.push_back("seek(" + number(toSeconds) + ")");
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
        s_->time = 0.0;
        s_->calls.push_back("stop");
    }
    bool isPlaying() const override { return s_->playing; }
    bool isScrubbing() const override { return s_->scrubbing; }
    bool isSpooling() const override { return s_->spooling; }
    double currentTime() const override { return s_->time; }
    const std::vector<TrackPosition>& currentPositions() const override { return s_->positions; }
    const std::optional<CDProject>& currentProject() const override { return s_->project; }
    void setLoopRange(double startSeconds, double endSeconds) override {
        s_->loop = std::make_pair(startSeconds, endSeconds);
        s_->calls.push_back("loop(" + number(startSeconds) + "," + number(endSeconds) + ")");
    }
    void clearLoopRange() override {
        s_->loop.reset();
        s_->calls.push_back("clearLoop");
    }
    void setScrubGain(double gain) override { s_->scrubGain = gain; }
    void setOutputVolume(double volume) override { s_->outputVolume = volume; }
    double totalTime() const override { return s_->totalTime; }
    void nextTrack(double preroll) override { s_->calls.push_back("nextTrack(" + number(preroll) + ")"); }
    void previousTrack(double preroll) override {
        s_->calls.push_back("previousTrack(" + number(preroll) + ")");
    }
    void beginScrub() override { s_->calls.push_back("beginScrub"); }
    void scrubTo(double seconds) override {
        s_->time = seconds;
        s_->calls.push_back("scrubTo(" + number(seconds) + ")");
    }
    void endScrub() override { s_->calls.push_back("endScrub"); }
    void spoolStep(int direction) override {
        s_->calls.push_back("spoolStep(" + std::to_string(direction) + ")");
    }
    void stopSpool() override { s_->calls.push_back("stopSpool"); }
    void loadPreview(const std::filesystem::path& file, std::int64_t totalFrames) override {
        s_->playing = false;
        s_->time = 0.0;
        s_->previewFile = file;
        s_->totalTime = static_cast<double>(totalFrames) / 75.0;
        s_->calls.push_back("loadPreview(" + file.filename().string() + "," + std::to_string(totalFrames) +
                            ")");
    }
    void switchPreview(const std::filesystem::path& file, std::int64_t totalFrames) override {
        s_->previewFile = file;
        s_->totalTime = static_cast<double>(totalFrames) / 75.0;
        s_->time = std::min(s_->time, s_->totalTime);
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
    static std::string number(double v) {
        std::ostringstream out;
        out << v;
        return out.str();
    }
    std::shared_ptr<State> s_;
};

} // namespace orvane::testing
