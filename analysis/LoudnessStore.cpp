#include "analysis/LoudnessStore.h"

#include "analysis/LoudnessAnalyzer.h"
#include "workspace/WorkspaceState.h"

#include <vector>

namespace orvane {

void LoudnessStore::changed() {
    if (onChange)
        onChange();
}

void LoudnessStore::storeLoudnessData(const CDProject& project, TrackLoudnessData data, const Uuid& id) {
    const auto figures = data.summary();
    loudnessData_[id] = std::move(data);
    if (figures)
        loudness_[id] = *figures;
    else
        loudness_.erase(id);
    rederiveAlbumLoudness(project);
    changed();
}

void LoudnessStore::setLoudness(const Uuid& id, TrackLoudness figures) {
    loudness_[id] = figures;
    changed();
}

void LoudnessStore::forget(const CDProject& project, const Uuid& id) {
    loudness_.erase(id);
    loudnessData_.erase(id);
    rederiveAlbumLoudness(project);
    changed();
}

void LoudnessStore::clear() {
    loudness_.clear();
    loudnessData_.clear();
    albumLoudness_.reset();
    changed();
}

void LoudnessStore::rederiveAlbumLoudness(const CDProject& project) {
    std::vector<TrackLoudnessData> datas;
    datas.reserve(project.tracks.size());
    for (const auto& track : project.tracks) {
        const auto found = loudnessData_.find(track.id);
        if (found == loudnessData_.end()) {
            datas.clear();
            break;
        }
        datas.push_back(found->second);
    }
    auto album = datas.empty() ? std::nullopt : LoudnessAnalyzer::albumSummary(datas);
    if (album != albumLoudness_) {
        albumLoudness_ = std::move(album);
        changed();
    }
}

void LoudnessStore::seedLoudnessFromProject(const CDProject& project) {
    loudness_.clear();
    loudnessData_.clear();
    albumLoudness_.reset();
    for (const auto& track : project.tracks) {
        if (track.loudness && track.loudness->matches(track.audioFileURL)) {
            loudness_[track.id] =
                TrackLoudness{track.loudness->lufs, track.loudness->truePeak, track.loudness->lra};
            if (auto data = TrackLoudnessData::unpacked(*track.loudness))
                loudnessData_[track.id] = std::move(*data);
        }
        for (const auto& take : track.versions) {
            if (take.loudness && take.loudness->matches(take.url))
                loudness_[take.id] =
                    TrackLoudness{take.loudness->lufs, take.loudness->truePeak, take.loudness->lra};
        }
    }
    rederiveAlbumLoudness(project);
    changed();
}

std::optional<StoredLoudness> LoudnessStore::storedLoudness(const Uuid& id, const std::optional<FileURL>& url,
                                                            bool includeBlocks) const {
    const auto print = StoredLoudness::fingerprint(url);
    if (!print)
        return std::nullopt;
    if (includeBlocks) {
        if (const auto data = loudnessData_.find(id); data != loudnessData_.end())
            return data->second.stored(print->fileSize, print->fileModified);
    }
    const auto figures = loudness_.find(id);
    if (figures == loudness_.end())
        return std::nullopt;
    StoredLoudness out;
    out.fileSize = print->fileSize;
    out.fileModified = print->fileModified;
    out.lufs = figures->second.lufs;
    out.truePeak = figures->second.truePeak;
    out.lra = figures->second.lra;
    return out;
}

CDProject LoudnessStore::projectWithLoudness(const CDProject& project) const {
    CDProject out = project;
    for (auto& track : out.tracks) {
        track.loudness = storedLoudness(track.id, track.audioFileURL, true);
        for (auto& take : track.versions)
            take.loudness = storedLoudness(take.id, take.url, false);
    }
    return out;
}

void LoudnessStore::attach(WorkspaceState& workspace) {
    WorkspaceHooks& hooks = workspace.hooks;
    hooks.projectWithLoudness = [this](const CDProject& project) { return projectWithLoudness(project); };
    hooks.clearLoudness = [this] { clear(); };
    hooks.seedLoudnessFromProject = [this, &workspace] { seedLoudnessFromProject(workspace.project()); };
    hooks.rederiveAlbumLoudness = [this, &workspace] { rederiveAlbumLoudness(workspace.project()); };
    hooks.forgetLoudness = [this, &workspace](const Uuid& id) { forget(workspace.project(), id); };
}

void LoudnessStore::detach(WorkspaceState& workspace) {
    WorkspaceHooks& hooks = workspace.hooks;
    hooks.projectWithLoudness = nullptr;
    hooks.clearLoudness = nullptr;
    hooks.seedLoudnessFromProject = nullptr;
    hooks.rederiveAlbumLoudness = nullptr;
    hooks.forgetLoudness = nullptr;
}

} // namespace orvane
