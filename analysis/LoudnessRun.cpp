#include "analysis/LoudnessRun.h"

namespace orvane {

LoudnessRun::LoudnessRun(MainLoop& loop, LoudnessStore& store, ProjectSource project)
    : loop_(loop), store_(store), project_(std::move(project)) {}

LoudnessRun::~LoudnessRun() {
    cancel();
    joinWorker();
}

void LoudnessRun::joinWorker() {
    if (worker_.joinable())
        worker_.join();
}

void LoudnessRun::cancel() {
    if (cancelled_)
        *cancelled_ = true;
}

bool LoudnessRun::runAlbum() {
    std::set<Uuid> all;
    for (const auto& track : project_().tracks)
        all.insert(track.id);
    return run(all, true);
}

bool LoudnessRun::run(const std::set<Uuid>& trackIDs, bool summaryAlert) {
    return start(LoudnessJobs::jobs(project_(), trackIDs, store_.loudness()), summaryAlert);
}

bool LoudnessRun::runVersion(const Uuid& trackID, const Uuid& versionID) {
    for (const auto& track : project_().tracks) {
        if (track.id != trackID)
            continue;
        for (std::size_t j = 0; j < track.versions.size(); ++j) {
            const TrackVersion& take = track.versions[j];
            if (take.id != versionID)
                continue;
            const std::string label = (track.title.empty() ? std::string("Track") : track.title) +
                                      " \u2014 take " + std::to_string(j + 1) + "/" +
                                      std::to_string(track.versions.size());
            return start({LoudnessJob{take.id, LoudnessJobs::probe(take), label, false}}, false);
        }
    }
    return false;
}

bool LoudnessRun::start(std::vector<LoudnessJob> jobs, bool summaryAlert) {
    if (jobs.empty())
        return false;
    if (running_) {
        if (onAlreadyRunning)
            onAlreadyRunning();
        return false;
    }
    joinWorker(); // the last run's thread has posted its end already
    running_ = true;
    cancelled_ = std::make_shared<std::atomic<bool>>(false);
    if (onProgress)
        onProgress("Preparing\u2026", 0.0);
    std::weak_ptr<int> alive = alive_;
    worker_ = std::thread([this, alive, jobs = std::move(jobs), cancelled = cancelled_, summaryAlert] {
        std::vector<std::string> failures;
        const double n = static_cast<double>(jobs.size());
        for (std::size_t i = 0; i < jobs.size() && !*cancelled; ++i) {
            const LoudnessJob& job = jobs[i];
            const std::string label = "Analyzing \u201c" + job.label + "\u201d (" + std::to_string(i + 1) +
                                      "/" + std::to_string(jobs.size()) + ")\u2026";
            auto data = LoudnessAnalyzer::analyzeTrackData(job.track, [&](double p) {
                loop_.post([this, alive, label, fraction = (static_cast<double>(i) + p) / n] {
                    if (!alive.expired() && onProgress)
                        onProgress(label, fraction);
                });
                return !cancelled->load();
            });
            if (*cancelled)
                break;
            const auto figures = data ? data->summary() : std::nullopt;
            if (!figures) {
                failures.push_back(job.label);
                continue;
            }
            loop_.post([this, alive, job, data = std::move(*data), figures = *figures]() mutable {
                if (alive.expired())
                    return;
                if (job.isMaster)
                    store_.storeLoudnessData(project_(), std::move(data), job.id);
                else
                    store_.setLoudness(job.id, figures);
            });
        }
        loop_.post([this, alive, failures, cancelled, summaryAlert] {
            if (!alive.expired())
                finish(failures, *cancelled, summaryAlert);
        });
    });
    return true;
}

void LoudnessRun::finish(const std::vector<std::string>& failures, bool cancelled, bool summaryAlert) {
    running_ = false;
    std::vector<LoudnessAlert> alerts;
    if (!cancelled) {
        if (!failures.empty())
            alerts.push_back(LoudnessJobs::failureAlert(failures));
        if (summaryAlert)
            alerts.push_back(LoudnessJobs::summaryAlert(store_.albumLoudness(), !store_.loudness().empty()));
    }
    if (onFinished)
        onFinished(alerts);
}

} // namespace orvane
