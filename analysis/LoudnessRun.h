#pragma once
// One loudness run at a time: measures its jobs one after another on a background thread, reports
// progress, stores each result in the LoudnessStore as it arrives, and ends with the alerts to show
// (failures first, then the summary when asked for). Made, started, cancelled and destroyed on the
// main thread; everything it reports arrives through the main loop. Only the cancelled flag is
// shared with the worker the other way.

#include "analysis/LoudnessJobs.h"
#include "analysis/LoudnessStore.h"
#include "platform/MainLoop.h"

#include <atomic>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace orvane {

class LoudnessRun final {
  public:
    using ProjectSource = std::function<const CDProject&()>;
    // label: "Analyzing “…” (i/n)…"; fraction of the whole run 0 ... 1.
    using ProgressSink = std::function<void(const std::string& label, double fraction)>;
    // The alerts to show in order; none when the run was cancelled.
    using FinishedSink = std::function<void(const std::vector<LoudnessAlert>& alerts)>;

    // All three must outlive the run. `project` gives the open project when asked (main thread).
    LoudnessRun(MainLoop& loop, LoudnessStore& store, ProjectSource project);
    ~LoudnessRun(); // cancels and waits for the worker; nothing is posted after
    LoudnessRun(const LoudnessRun&) = delete;
    LoudnessRun& operator=(const LoudnessRun&) = delete;

    ProgressSink onProgress;
    FinishedSink onFinished;
    // Called instead of starting when a run is already going (the desktop brings its window forward).
    std::function<void()> onAlreadyRunning;

    // Every track of the project, with the summary alert.
    bool runAlbum();
    // These tracks and their unmeasured takes.
    bool run(const std::set<Uuid>& trackIDs, bool summaryAlert);
    // One take, whole and raw, even if it was measured before. False for an unknown track or take.
    bool runVersion(const Uuid& trackID, const Uuid& versionID);

    void cancel();
    bool isRunning() const { return running_; }

  private:
    bool start(std::vector<LoudnessJob> jobs, bool summaryAlert);
    void finish(const std::vector<std::string>& failures, bool cancelled, bool summaryAlert);
    void joinWorker();

    MainLoop& loop_;
    LoudnessStore& store_;
    ProjectSource project_;
    bool running_ = false;
    std::shared_ptr<std::atomic<bool>> cancelled_;
    std::shared_ptr<int> alive_ = std::make_shared<int>(0); // posted tasks check it
    std::thread worker_;
};

} // namespace orvane
