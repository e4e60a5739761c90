#include "analysis/SpectralCache.h"

#include "analysis/SpectralImprintAnalyzer.h"
#include "render/SRCRenderer.h"
#include "workspace/WorkspaceState.h"

namespace orvane {

namespace {
constexpr int kLastAttempt = 6;
constexpr double kRetrySeconds = 0.4;
} // namespace

SpectralCache::SpectralCache(WorkspaceState& workspace, MainLoop& loop) : workspace_(workspace), loop_(loop) {
    workspace_.hooks.invalidateSpectral = [this](const Uuid& id) { invalidateSpectral(id); };
    workspace_.hooks.clearSpectralCache = [this] { clear(); };
}

SpectralCache::~SpectralCache() {
    workspace_.hooks.invalidateSpectral = nullptr;
    workspace_.hooks.clearSpectralCache = nullptr;
    queue_.waitUntilIdle();
}

void SpectralCache::analyzeSpectralImprint(const Uuid& trackID, const Uuid& sourceID, int attempt) {
    if (cache_.contains(sourceID) || inFlight_.contains(sourceID))
        return;
    const auto source = workspace_.previewSource(trackID, sourceID);
    if (!source)
        return;
    inFlight_.insert(sourceID);
    const std::int64_t generation = generation_[sourceID];
    std::weak_ptr<int> alive = alive_;
    queue_.async([this, alive, trackID, sourceID, attempt, generation, file = source->url.path(),
                  algorithm = source->algorithm, phase = source->phase] {
        SRCRenderer::ensureCache(file, algorithm, phase);
        auto imprint = SpectralImprintAnalyzer::analyze(SRCRenderer::waveformURL(file, algorithm, phase));
        loop_.post([this, alive, trackID, sourceID, attempt, generation, imprint = std::move(imprint)] {
            if (alive.expired())
                return;
            inFlight_.erase(sourceID);
            if (generation_[sourceID] != generation)
                return; // invalidated while it ran
            if (imprint) {
                cache_[sourceID] = *imprint;
                if (onChange)
                    onChange();
            } else if (attempt < kLastAttempt) {
                loop_.addTimer(kRetrySeconds, TimerRepeat::once, [this, alive, trackID, sourceID, attempt] {
                    if (!alive.expired())
                        analyzeSpectralImprint(trackID, sourceID, attempt + 1);
                });
            }
        });
    });
}

void SpectralCache::invalidateSpectral(const Uuid& id) {
    cache_.erase(id);
    inFlight_.erase(id);
    ++generation_[id];
    if (onChange)
        onChange();
}

void SpectralCache::clear() {
    for (const auto& [id, imprint] : cache_)
        ++generation_[id];
    for (const auto& id : inFlight_)
        ++generation_[id];
    cache_.clear();
    inFlight_.clear();
    if (onChange)
        onChange();
}

} // namespace orvane
