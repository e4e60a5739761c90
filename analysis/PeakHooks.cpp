#include "analysis/PeakHooks.h"

#include "analysis/WaveformGenerator.h"
#include "model/FileURL.h"

#include <algorithm>
#include <map>
#include <string>
#include <utility>

namespace orvane {

PeakHooks::PeakHooks(WorkspaceState& workspace, MainLoop& loop, std::size_t workerCount)
    : workspace_(workspace), loop_(loop) {
    for (std::size_t i = 0; i < std::max<std::size_t>(workerCount, 1); ++i) {
        workers_.push_back(std::make_unique<SerialQueue>("orvane.peaks." + std::to_string(i)));
    }
    WorkspaceHooks& hooks = workspace_.hooks;
    hooks.regeneratePeaks = [this] { regeneratePeaks(); };
    hooks.generateTrackPeaks = [this](const CDTrack& track) { generateTrackPeaks(track); };
    hooks.loadPreviewPeaks = [this](const std::filesystem::path& file) { loadPreviewPeaks(file); };
}

PeakHooks::~PeakHooks() {
    WorkspaceHooks& hooks = workspace_.hooks;
    hooks.regeneratePeaks = nullptr;
    hooks.generateTrackPeaks = nullptr;
    hooks.loadPreviewPeaks = nullptr;
    // Expire the token first: the workers, joined as the vector goes, skip what is still queued.
    alive_.reset();
}

void PeakHooks::schedule(const std::filesystem::path& file, Delivery deliver) {
    std::weak_ptr<int> alive = alive_;
    SerialQueue& worker = *workers_[nextWorker_];
    nextWorker_ = (nextWorker_ + 1) % workers_.size();
    worker.async([alive, file, deliver = std::move(deliver), &loop = loop_]() mutable {
        if (alive.expired()) {
            return;
        }
        std::vector<float> peaks = WaveformGenerator::generatePeaks(file);
        loop.post([alive, deliver = std::move(deliver), peaks = std::move(peaks)]() mutable {
            // A result that arrives after the hooks are gone is of no use to anyone.
            if (alive.lock()) {
                deliver(std::move(peaks));
            }
        });
    });
}

void PeakHooks::regeneratePeaks() {
    // Who wants each file: track ids for peaksCache, and whether a take of some stack uses it.
    struct Users {
        std::vector<Uuid> trackIDs;
        bool isTake = false;
    };
    std::map<FileURL, Users> byFile;
    for (const auto& track : workspace_.project().tracks) {
        if (track.audioFileURL) {
            byFile[*track.audioFileURL].trackIDs.push_back(track.id);
        }
        for (const auto& version : track.versions) {
            byFile[version.url].isTake = true;
        }
    }
    workspace_.clearTakePeaksCache();
    WorkspaceState& workspace = workspace_;
    for (auto& [url, users] : byFile) {
        schedule(url.path(), [&workspace, url, users = std::move(users)](std::vector<float> peaks) {
            if (users.isTake) {
                workspace.storeTakePeaks(url, peaks);
            }
            for (const auto& id : users.trackIDs) {
                workspace.storePeaks(id, peaks);
            }
        });
    }
}

void PeakHooks::generateTrackPeaks(const CDTrack& track) {
    if (!track.audioFileURL) {
        return;
    }
    WorkspaceState& workspace = workspace_;
    schedule(track.audioFileURL->path(), [&workspace, id = track.id](std::vector<float> peaks) {
        workspace.storePeaks(id, std::move(peaks));
    });
}

void PeakHooks::loadPreviewPeaks(const std::filesystem::path& file) {
    WorkspaceState& workspace = workspace_;
    schedule(file, [&workspace, file](std::vector<float> peaks) {
        workspace.setPreviewPeaks(file, std::move(peaks));
    });
}

void PeakHooks::waitUntilReadsDone() {
    for (auto& worker : workers_) {
        worker->waitUntilIdle();
    }
}

} // namespace orvane
