#include "render/SRCPrewarmer.h"

#include "render/SRCRenderer.h"

#include <utility>
#include <vector>

namespace orvane {

SRCPrewarmer::SRCPrewarmer(PostToMain postToMain, StateReport onSRCStateChange, AfterJobs afterJobs)
    : postToMain_(std::move(postToMain)), onSRCStateChange_(std::move(onSRCStateChange)),
      afterJobs_(std::move(afterJobs)) {}

SRCPrewarmer::~SRCPrewarmer() {
    queue_.waitUntilIdle();
}

void SRCPrewarmer::report(const Uuid& id, SRCCacheState state) {
    postToMain_([report = onSRCStateChange_, id, state] { report(id, state); });
}

void SRCPrewarmer::rebuildSRCCache(const Uuid& id, const std::filesystem::path& source,
                                   std::string_view masterSRC, const std::optional<std::string>& algorithm,
                                   std::string_view masterPhase, const std::optional<std::string>& phase) {
    Job job{id, source, SRCRenderer::effectiveAlgorithm(algorithm, masterSRC),
            SRCRenderer::effectivePhase(phase, masterPhase)};
    report(id, SRCRenderer::needsSRC(source) ? SRCCacheState::rendering : SRCCacheState::notNeeded);
    queue_.async([this, job = std::move(job)] {
        SRCRenderer::ensureCache(job.source, job.algorithm, job.phase);
        report(job.id, SRCCacheState::ready);
        if (afterJobs_)
            afterJobs_();
    });
}

void SRCPrewarmer::rebuildSRCCaches(const CDProject& project) {
    const std::string masterSRC = project.effectiveMasterSRC();
    const std::string masterPhase = project.effectiveMasterSRCPhase();
    std::vector<Job> jobs;
    for (const CDTrack& track : project.tracks) {
        if (track.audioFileURL && SRCRenderer::needsSRC(track.audioFileURL->path()))
            jobs.push_back({track.id, track.audioFileURL->path(),
                            SRCRenderer::effectiveAlgorithm(track.srcAlgorithm, masterSRC),
                            SRCRenderer::effectivePhase(track.srcPhase, masterPhase)});
        for (const TrackVersion& version : track.versions)
            if (SRCRenderer::needsSRC(version.url.path()))
                jobs.push_back({version.id, version.url.path(),
                                SRCRenderer::effectiveAlgorithm(version.srcAlgorithm, masterSRC),
                                SRCRenderer::effectivePhase(version.srcPhase, masterPhase)});
    }
    if (jobs.empty())
        return;
    for (const Job& job : jobs)
        report(job.id, SRCCacheState::rendering);
    queue_.async([this, jobs = std::move(jobs)] {
        for (const Job& job : jobs) {
            // ensureCache swallows the errors: a failed take shows as not built at its next refresh.
            SRCRenderer::ensureCache(job.source, job.algorithm, job.phase);
            report(job.id, SRCCacheState::ready);
        }
        if (afterJobs_)
            afterJobs_();
    });
}

} // namespace orvane
