#pragma once
// The workspace's spectral imprints of takes as they reach the disc (after their converter): made on
// demand on the serial queue "orvane.spectral", kept by take id (or track id for the active take)
// until a take's file or converter changes. A take whose converted file is still being made is
// tried again a few times. Main thread only, except the work on the queue.

#include "analysis/SpectralImprint.h"
#include "model/Uuid.h"
#include "platform/MainLoop.h"
#include "platform/SerialQueue.h"

#include <functional>
#include <map>
#include <memory>
#include <set>

namespace orvane {

class WorkspaceState;

class SpectralCache final {
  public:
    // Installs the workspace's spectral hooks; both must outlive the cache, which removes them again.
    SpectralCache(WorkspaceState& workspace, MainLoop& loop);
    ~SpectralCache();
    SpectralCache(const SpectralCache&) = delete;
    SpectralCache& operator=(const SpectralCache&) = delete;

    const std::map<Uuid, SpectralImprint>& spectralCache() const { return cache_; }
    const std::set<Uuid>& spectralInFlight() const { return inFlight_; }
    std::function<void()> onChange; // a new imprint arrived or one was dropped

    // Starts an imprint of the source unless one is cached or on its way; a source that yields none
    // is tried again after 0.4 s, up to attempt 6.
    void analyzeSpectralImprint(const Uuid& trackID, const Uuid& sourceID, int attempt = 0);
    // Drops the source's imprint; a run under way for it is ignored when it ends.
    void invalidateSpectral(const Uuid& id);
    void clear();

    SerialQueue& queue() { return queue_; }

  private:
    WorkspaceState& workspace_;
    MainLoop& loop_;
    std::map<Uuid, SpectralImprint> cache_;
    std::set<Uuid> inFlight_;
    std::map<Uuid, std::int64_t> generation_;
    std::shared_ptr<int> alive_ = std::make_shared<int>(0);
    SerialQueue queue_{"orvane.spectral"};
};

} // namespace orvane
