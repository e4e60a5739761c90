#include "cli/ProjectLoudness.h"

#include "analysis/LoudnessStore.h"

namespace orvane::cli {

ProjectLoudness storedProjectLoudness(const CDProject& project) {
    LoudnessStore store;
    store.seedLoudnessFromProject(project);
    ProjectLoudness out;
    for (const auto& track : project.tracks)
        if (const auto found = store.loudness().find(track.id); found != store.loudness().end())
            out.perTrack[track.id] = found->second;
    out.album = store.albumLoudness();
    return out;
}

} // namespace orvane::cli
