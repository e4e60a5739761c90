#pragma once
// Fills the SRC cache in the background, one job at a time on the serial queue "orvane.srcprewarm",
// and reports each take's SRCCacheState on the main thread. Made and called on the main thread; the
// reports come back through the given poster, which must run its task on the main thread.

#include "model/CDProject.h"
#include "model/ProjectEnums.h"
#include "model/Uuid.h"
#include "platform/SerialQueue.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace orvane {

class SRCPrewarmer final {
  public:
    using PostToMain = std::function<void(std::function<void()>)>;
    using StateReport = std::function<void(const Uuid& id, SRCCacheState state)>;
    // Runs on the prewarm queue after a job or batch; rebuilds whatever maps playback keeps of the files.
    using AfterJobs = std::function<void()>;

    SRCPrewarmer(PostToMain postToMain, StateReport onSRCStateChange, AfterJobs afterJobs);
    ~SRCPrewarmer(); // finishes what is queued
    SRCPrewarmer(const SRCPrewarmer&) = delete;
    SRCPrewarmer& operator=(const SRCPrewarmer&) = delete;

    // One take: reports rendering (or notNeeded), builds its 44100 Hz entry with its own settings over
    // the master's, then reports ready whatever the outcome.
    void rebuildSRCCache(const Uuid& id, const std::filesystem::path& source, std::string_view masterSRC,
                         const std::optional<std::string>& algorithm, std::string_view masterPhase,
                         const std::optional<std::string>& phase);
    // Every track's active file and every version that needs SRC, in order: all reported rendering at
    // once, then built one by one, each reported ready; errors are ignored.
    void rebuildSRCCaches(const CDProject& project);

    // Blocks until every queued job has run (tests, and quitting).
    void waitUntilIdle() { queue_.waitUntilIdle(); }

  private:
    struct Job {
        Uuid id;
        std::filesystem::path source;
        std::string algorithm;
        std::string phase;
    };

    void report(const Uuid& id, SRCCacheState state);

    PostToMain postToMain_;
    StateReport onSRCStateChange_;
    AfterJobs afterJobs_;
    SerialQueue queue_{"orvane.srcprewarm"};
};

} // namespace orvane
