#pragma once
// The delivery commands of the menus: CUE import, CUE + image, track files, client previews and the
// batch delivery. Each asks its panel, runs its engine in a progress window whose "Cancel" stops it,
// and ends in the success alert or a failure alert with the engine's own text (a cancel shows
// nothing). The run* halves take the panel's answer, so that a script or a test can drive the same
// road without the panel; they return what was written, nothing when nothing was. GUI thread.

#include "app/DeliveryDialogs.h"
#include "delivery/AudioExporter.h"
#include "delivery/PreviewManifest.h"

#include <filesystem>
#include <optional>

namespace orvane::app {

class OrvaneApp;

namespace DeliveryCommands {

// "Import CUE Sheet…": unsaved changes first, then the sheet, then the audio folder.
void importCUE(OrvaneApp& app);
// Imports `sheet`, cutting an image's tracks into a fresh "<sheet> Audio" folder inside
// `audioParent`; on success the project replaces the open one. A failure or cancel removes that
// folder and leaves the open project as it was. Returns whether the project was imported.
bool runCUEImport(OrvaneApp& app, const std::filesystem::path& sheet,
                  const std::filesystem::path& audioParent);

// "CUE + Image (WAV)…"
void exportCUEImage(OrvaneApp& app);
std::optional<std::filesystem::path> runCUEExport(OrvaneApp& app, const std::filesystem::path& cue);

// "Tracks as WAV…", "Tracks as AIFF…"
void exportTracks(OrvaneApp& app, AudioExporter::Format format);
// Returns the folder when files were written.
std::optional<std::filesystem::path> runTracksExport(OrvaneApp& app, AudioExporter::Format format,
                                                     const std::filesystem::path& folder);

// "Client CD Preview" > "Quality (FLAC)…", "Light (AAC)…", "Smartphone…"
void exportPreview(OrvaneApp& app, PreviewFormat format);
// Returns the preview's folder, page or zip.
std::optional<std::filesystem::path> runPreviewExport(OrvaneApp& app, PreviewFormat format,
                                                      const PreviewChoice& choice);

// "Batch Delivery…"
void batchDelivery(OrvaneApp& app);
// Returns the delivery folder.
std::optional<std::filesystem::path> runBatchDelivery(OrvaneApp& app, const BatchChoice& choice);

} // namespace DeliveryCommands

} // namespace orvane::app
