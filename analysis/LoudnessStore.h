#pragma once
// The loudness measurements of the open project: the figures of every track and take that has any
// (keyed by track id, or take id), the block data of the tracks' active takes, and the album figure
// derived from them. It saves them into the project tied to the measured file's size and date, and
// takes them up again on opening only while the file is unchanged. The project value itself never
// holds them, so measuring is no edit and no undo step.
// Main thread only (the jobs post their results here). attach() wires a store to a workspace's
// hooks; without a workspace (the command line) the project is passed to each call.

#include "analysis/TrackLoudnessData.h"
#include "model/CDProject.h"
#include "model/FileURL.h"
#include "model/StoredLoudness.h"
#include "model/TrackLoudness.h"
#include "model/Uuid.h"

#include <functional>
#include <map>
#include <optional>

namespace orvane {

class WorkspaceState;

class LoudnessStore final {
  public:
    LoudnessStore() = default;
    LoudnessStore(const LoudnessStore&) = delete;
    LoudnessStore& operator=(const LoudnessStore&) = delete;

    const std::map<Uuid, TrackLoudness>& loudness() const { return loudness_; }
    const std::optional<TrackLoudness>& albumLoudness() const { return albumLoudness_; }
    const std::map<Uuid, TrackLoudnessData>& loudnessData() const { return loudnessData_; }

    // Called after every change of the figures or the album figure.
    std::function<void()> onChange;

    // A track's active take measured: keeps the data, sets or removes its figures, and derives the
    // album figure again over `project`'s tracks.
    void storeLoudnessData(const CDProject& project, TrackLoudnessData data, const Uuid& id);
    // A take of a stack measured: figures only.
    void setLoudness(const Uuid& id, TrackLoudness figures);
    // Forgets one track's or take's measurement (its file was replaced).
    void forget(const CDProject& project, const Uuid& id);
    void clear();

    // The album figure from the block data of every track in running order; absent unless every
    // track has some.
    void rederiveAlbumLoudness(const CDProject& project);

    // Replaces everything by what `project` stores and still matches its files.
    void seedLoudnessFromProject(const CDProject& project);
    // The copy of `project` to write: each track and take with its measurement, or none.
    CDProject projectWithLoudness(const CDProject& project) const;
    // The measurement of one id as the document keeps it, tied to the file at `url` as it is now.
    std::optional<StoredLoudness> storedLoudness(const Uuid& id, const std::optional<FileURL>& url,
                                                 bool includeBlocks) const;

    // Installs the workspace's loudness hooks so that saving, opening and track-list changes reach
    // this store. The store must outlive the workspace's use of them, or detach() first.
    void attach(WorkspaceState& workspace);
    void detach(WorkspaceState& workspace);

  private:
    void changed();

    std::map<Uuid, TrackLoudness> loudness_;
    std::optional<TrackLoudness> albumLoudness_;
    std::map<Uuid, TrackLoudnessData> loudnessData_;
};

} // namespace orvane
