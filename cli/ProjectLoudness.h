#pragma once
// The loudness a project document carries for the sheets and reports: each track's stored figures
// while they still match the track's file, and the album figure formed from the stored energies when
// every track has them. Nothing is measured here.

#include "delivery/PQSheetContent.h"
#include "model/CDProject.h"
#include "model/TrackLoudness.h"

#include <optional>

namespace orvane::cli {

struct ProjectLoudness {
    TrackLoudnessMap perTrack;
    std::optional<TrackLoudness> album;
};

ProjectLoudness storedProjectLoudness(const CDProject& project);

} // namespace orvane::cli
