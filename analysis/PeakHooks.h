#pragma once
// Wires waveform peaks into a workspace: installs its regeneratePeaks, generateTrackPeaks and
// loadPreviewPeaks hooks, reads each file once on a small pool of background queues, and hands the
// lists back on the main loop to peaksCache, takePeaksCache or the audition. Made, used and destroyed
// on the main thread; the workspace and the loop must outlive it.

#include "model/CDTrack.h"
#include "platform/MainLoop.h"
#include "platform/SerialQueue.h"
#include "workspace/WorkspaceState.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

namespace orvane {

class PeakHooks final {
  public:
    // Installs the three hooks on the workspace. `workerCount` files are read at the same time (at least 1).
    PeakHooks(WorkspaceState& workspace, MainLoop& loop, std::size_t workerCount = 2);
    // Removes the hooks. Reads still queued are skipped and results not yet delivered are dropped.
    ~PeakHooks();
    PeakHooks(const PeakHooks&) = delete;
    PeakHooks& operator=(const PeakHooks&) = delete;

    // Every track's active file into peaksCache under the ids of the tracks using it, every take's
    // file into takePeaksCache (emptied first); a file shared by several is read once.
    void regeneratePeaks();
    // One track's active file into peaksCache under its id; nothing for a track without a file.
    void generateTrackPeaks(const CDTrack& track);
    // The auditioned file's peaks, handed to the workspace's setPreviewPeaks.
    void loadPreviewPeaks(const std::filesystem::path& file);

    // Blocks until every read queued so far has finished; its result is then posted to the loop.
    void waitUntilReadsDone();

  private:
    using Delivery = std::function<void(std::vector<float> peaks)>;
    // Reads the file's peaks on the next worker and runs `deliver` with them on the main loop.
    void schedule(const std::filesystem::path& file, Delivery deliver);

    WorkspaceState& workspace_;
    MainLoop& loop_;
    std::shared_ptr<int> alive_ = std::make_shared<int>(0); // queued reads and posted results check it
    std::vector<std::unique_ptr<SerialQueue>> workers_;
    std::size_t nextWorker_ = 0;
};

} // namespace orvane
