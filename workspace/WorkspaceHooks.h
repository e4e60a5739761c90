#pragma once
// The seams through which the workspace calls subsystems that are built on top of it: waveform
// peaks, loudness storage, the recovery copy and the vinyl side projection. Each subsystem installs
// its functions once, on the main thread, when it is wired to the workspace. An empty hook is
// skipped; the workspace invents no behaviour of its own for these steps, it only keeps them in
// their order.

#include "model/CDProject.h"
#include "model/CDTrack.h"
#include "model/Uuid.h"

#include <filesystem>
#include <functional>

namespace orvane {

struct WorkspaceHooks {
    // Peaks: rebuild peaksCache and takePeaksCache for the whole project in the background.
    std::function<void()> regeneratePeaks;
    // Peaks: generate one track's peaks in the background and store them under its id.
    std::function<void(const CDTrack& track)> generateTrackPeaks;
    // Peaks: generate the peaks of the auditioned file in the background and hand them to
    // setPreviewPeaks; a result for a file the audition has since left is dropped there.
    std::function<void(const std::filesystem::path& file)> loadPreviewPeaks;

    // Loudness: the copy of the project written by a save, with the measurements held in memory
    // merged in. Without the hook the project is written as it is.
    std::function<CDProject(const CDProject& project)> projectWithLoudness;
    // Loudness: empty the measurements and the album figure (a document is replaced).
    std::function<void()> clearLoudness;
    // Loudness: take up the measurements stored in a freshly opened project.
    std::function<void()> seedLoudnessFromProject;
    // Loudness: derive the album figure again after the track list changed.
    std::function<void()> rederiveAlbumLoudness;

    // Recovery copy: delete the file. Runs on the workspace's autosave queue, never on the main
    // thread.
    std::function<void()> clearRecoveryFile;

    // Loudness: forget the measurement held in memory for a track or take (its file was replaced).
    std::function<void(const Uuid& id)> forgetLoudness;

    // Spectral imprints: drop what is cached or in flight for a track or take, or for everything.
    std::function<void(const Uuid& id)> invalidateSpectral;
    std::function<void()> clearSpectralCache;

    // Take audition: draw the audition's waveform again (its converter may have changed), and start
    // auditioning a take of a track (sourceID: the take, or the track for its active take).
    std::function<void()> refreshPreviewWaveform;
    std::function<void(const Uuid& trackID, const Uuid& sourceID, bool autoPlay)> startPreview;

    // Vinyl: rebuild the projection of the active side (setSideProjection) from the project.
    std::function<void()> refreshVinylSide;
};

} // namespace orvane
