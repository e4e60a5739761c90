#pragma once
// The real-time playback engine: a producer on the queue "orvane.rt.producer" renders the timeline
// (or one audition file) through TimelineRenderer into a lock-free ring, and the output's callback
// pulls from it. Commands, the display tick and the spool tick run on the main thread (the thread
// of the MainLoop it is given); renderCallback runs on the audio thread and never locks or allocates.

#include "model/CDProject.h"
#include "model/TrackPosition.h"
#include "monitoring/AudioDeviceManager.h"
#include "monitoring/Metering.h"
#include "monitoring/RTRingBuffer.h"
#include "monitoring/TimecodeOverride.h"
#include "platform/AudioOutput.h"
#include "platform/MainLoop.h"
#include "platform/SerialQueue.h"
#include "render/SRCPrewarmer.h"
#include "render/TimelineRenderer.h"
#include "workspace/PlaybackControl.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace orvane {

class DefaultsStore;

class PlaybackEngine final : public PlaybackControl, public OutputDeviceTarget {
  public:
    static constexpr double sampleRate = 44100.0;
    static constexpr std::int64_t ringRequestFrames = 44100; // rounds up to 65536
    static constexpr std::int64_t fillBlockFrames = 4096;
    static constexpr int producerSleepMicros = 2000;
    static constexpr double displayTickSeconds = 1.0 / 60.0;

    // Scrub and spool.
    static constexpr std::int64_t rtScrubBlock = 512;
    static constexpr std::int64_t rtScrubFillAhead = 1536;
    static constexpr double rtScrubMaxRate = 16.0;
    static constexpr std::int64_t scrubSourceFrames = 32768;
    static constexpr int scrubSleepMicros = 1500;
    static constexpr double scrubJumpSamples = 88200.0;    // farther than this is a jump, not played
    static constexpr std::int64_t stepSamples = 5 * 44100; // rewind and skip forward
    static constexpr std::int64_t previousTrackGraceSamples = 2 * 44100; // back to the track's own start
    static constexpr double scrubDeadZoneSamples = 8.0;
    static constexpr std::array<double, 3> rtSpoolSpeeds{2.0, 5.0, 10.0};

    // Reads "orvane.scrubAudio" (absent or not a boolean: true) and starts
    // the output on its default device. A failed start prints "Engine start failed: ..." and leaves
    // the engine usable but silent.
    PlaybackEngine(MainLoop& mainLoop, DefaultsStore& defaults, AudioOutput& output);
    ~PlaybackEngine() override; // stops the producer and the output
    PlaybackEngine(const PlaybackEngine&) = delete;
    PlaybackEngine& operator=(const PlaybackEngine&) = delete;

    // PlaybackControl.
    void load(const CDProject& project, const std::vector<TrackPosition>& positions) override;
    void updateProjectAndPositions(const CDProject& project,
                                   const std::vector<TrackPosition>& positions) override;
    void reflectEditDuringPlayback() override;
    void seek(std::int64_t toSample) override;
    void play() override;
    void pause() override;
    void stop() override;
    bool isPlaying() const override { return isPlaying_; }
    bool isScrubbing() const override { return isScrubbing_; }
    bool isSpooling() const override { return rtSpooling_; }
    std::int64_t currentSample() const override { return currentSample_; }
    const std::vector<TrackPosition>& currentPositions() const override { return currentPositions_; }
    const std::optional<CDProject>& currentProject() const override { return currentProject_; }
    void setLoopRange(std::int64_t startSample, std::int64_t endSample) override;
    void clearLoopRange() override;
    void setScrubGain(double gain) override;
    void setOutputVolume(double volume) override;
    std::int64_t totalSamples() const override { return totalSamples_; }
    void nextTrack(std::int64_t prerollSamples) override;
    void previousTrack(std::int64_t prerollSamples) override;
    void beginScrub() override;
    void scrubTo(std::int64_t sample) override;
    void endScrub() override;
    void spoolStep(int direction) override;
    void stopSpool() override;
    void loadPreview(const std::filesystem::path& file, std::int64_t totalFrames) override;
    void switchPreview(const std::filesystem::path& file, std::int64_t totalFrames) override;
    void stopPreview() override;
    void rebuildSRCCaches(const CDProject& project) override;
    void rebuildSRCCache(const Uuid& id, const std::filesystem::path& source, const std::string& masterSRC,
                         const std::optional<std::string>& algorithm, const std::string& masterPhase,
                         const std::optional<std::string>& phase) override;
    void setSRCStateChangeHandler(SRCStateHandler handler) override { srcStateHandler_ = std::move(handler); }
    void setTimeUpdateHandler(TimeUpdateHandler handler) override { onTimeUpdate_ = std::move(handler); }

    // Closes the output and reopens it on another device; the transport stops first.
    void setOutputDevice(std::uint32_t deviceID) override;
    // Closes and reopens the output stream without touching the transport, so a capture can begin
    // with the first frame played. A failed start is reported like the first one.
    void reopenOutput(std::optional<std::uint32_t> deviceID);

    // seek() to 5 seconds before or after the playhead.
    void rewind();
    void skipForward();
    // Zero-based index of the first position with startLBA <= frame <= endLBA for the sample's
    // place, and that position's bounds in samples.
    std::optional<std::size_t> trackIndex(std::int64_t atSample) const;
    std::optional<std::pair<std::int64_t, std::int64_t>> trackSampleRange(std::int64_t atSample) const;

    // Patches one track's fades in the producer's snapshot, so a fade drag is heard while it moves.
    void rtSetLiveFade(const Uuid& trackID, std::int64_t fadeInSamples, std::int64_t fadeOutSamples,
                       float inCurve, float outCurve);

    void setTimecodeOverride(std::optional<TimecodeOverride> value);
    const std::optional<TimecodeOverride>& timecodeOverride() const { return timecodeOverride_; }
    // Told on the main thread after play state, playhead or audition changes.
    void setChangeHandler(std::function<void()> handler) { changeHandler_ = std::move(handler); }

    // The meter tap, fed from the callback with what leaves the ring, ahead of the monitor volume.
    Metering& metering() { return metering_; }
    const Metering& metering() const { return metering_; }

    bool isEngineRunning() const { return isEngineRunning_; }
    bool rtScrubEnabled() const { return rtScrubEnabled_; }
    bool isPreviewMode() const { return isPreviewMode_; }
    float scrubLevel() const;
    float outputVolume() const { return volume_.load(std::memory_order_relaxed); }
    double outputLatency() const { return outputLatency_; }
    std::optional<std::pair<std::int64_t, std::int64_t>> loopRange() const { return loopRange_; }

    // Callback reads that found the ring short while the producer was meant to run. Any thread.
    std::uint64_t underrunCount() const { return underruns_.load(std::memory_order_relaxed); }
    // Frames waiting in the ring. Any thread (tests and the benchmark wait on it).
    std::int64_t ringFilledFrames() const { return rtRing_.filledFrames(); }
    // The heard position, folded through the latched loop; `looping` says a loop is latched.
    struct HeardPosition {
        std::int64_t sample = 0;
        bool looping = false;
    };
    HeardPosition heardPosition() const;

    // The output's pull: audio thread only.
    void renderCallback(float* left, float* right, std::size_t frames, double hostTimeSeconds) noexcept;

  private:
    // Producer side (PlaybackEngine.cpp).
    void startOutput(std::optional<std::uint32_t> deviceID);
    void rtSetSnapshot();
    void rtStartAt(std::int64_t sample);
    void rtStopProducer();
    void rtProducerLoop();
    void rtFillOnce();
    HeardPosition rtFold(std::int64_t heard) const;

    // Transport (PlaybackEngineTransport.cpp).
    void internalStop();
    void startDisplayLink();
    void stopDisplayLink();
    void displayTick();
    void publishTime(std::int64_t sample);
    void announce();
    static std::int64_t lengthOf(const std::vector<TrackPosition>& positions);
    std::int64_t latencySamples() const;

    // Scrub and spool (PlaybackEngineScrub.cpp).
    void rtStartScrub();
    void rtScrubLoop();
    void rtScrubFillOnce();
    void rtScrubWriteSilence(std::int64_t frames);
    void rtStopScrubProducer();
    void startSpool(double rate);
    void spoolTick();

    MainLoop& mainLoop_;
    AudioOutput& output_;
    const bool rtScrubEnabled_;
    AudioRenderCallback callback_;
    Metering metering_;

    // Ring path.
    RTRingBuffer rtRing_{ringRequestFrames};
    TimelineRenderer rtRenderer_; // producer queue only (or main thread while the producer is stopped)
    mutable std::mutex rtLock_;
    // Guarded by rtLock_:
    std::shared_ptr<const TimelineRenderer::Snapshot> rtSnapshot_;
    std::optional<std::filesystem::path> rtPreviewURL_;
    std::int64_t rtProducerSample_ = 0;
    std::int64_t rtSeekSample_ = 0;
    std::optional<std::int64_t> rtLoopStartSample_;
    std::optional<std::int64_t> rtLoopEndSample_;
    double rtScrubReadPos_ = 0.0;
    double rtScrubTargetSample_ = 0.0;
    float rtScrubGain_ = 1.0f;
    double rtPreviewTotalSamples_ = 0.0; // the audition file's length, which the scrub plays within
    // Written by the callback alone; reset by the main thread with the producer stopped.
    std::atomic<std::int64_t> rtConsumedSample_{0};
    std::atomic<bool> rtRunning_{false};
    std::atomic<bool> rtScrubbing_{false};
    std::atomic<float> volume_{1.0f};
    std::atomic<std::uint64_t> underruns_{0};
    // Producer queue only.
    std::vector<float> rtFillBufL_, rtFillBufR_;
    std::vector<float> rtScrubSrcL_, rtScrubSrcR_;
    std::vector<float> rtScrubOutL_, rtScrubOutR_;

    // Main thread.
    bool isEngineRunning_ = false;
    bool isPlaying_ = false;
    std::int64_t currentSample_ = 0;
    std::optional<TimecodeOverride> timecodeOverride_;
    std::optional<std::pair<std::int64_t, std::int64_t>> loopRange_;
    std::optional<MainLoop::TimerID> displayLink_;
    std::optional<CDProject> currentProject_;
    std::vector<TrackPosition> currentPositions_;
    std::int64_t totalSamples_ = 0;
    bool isPreviewMode_ = false;
    double outputLatency_ = 0.0;
    bool rtSpooling_ = false;
    double rtSpoolRate_ = 0.0;
    std::optional<MainLoop::TimerID> rtSpoolTimer_;
    double rtSpoolLastTick_ = 0.0;
    bool isScrubbing_ = false;
    bool scrubWasPlaying_ = false;
    TimeUpdateHandler onTimeUpdate_;
    SRCStateHandler srcStateHandler_;
    std::function<void()> changeHandler_;
    std::unique_ptr<SRCPrewarmer> srcPrewarmer_;
    // Tasks posted to the main loop hold it weakly and do nothing once the engine is gone.
    std::shared_ptr<int> lifeToken_ = std::make_shared<int>(0);

    // Last, so it is made after and destroyed before everything its tasks touch.
    SerialQueue rtProducerQueue_{"orvane.rt.producer"};
};

} // namespace orvane
