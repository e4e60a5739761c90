#pragma once
// Everything that goes out at the end of a job, in one run and from one render: the DDP fileset,
// WAV tracks, a client preview and the PQ sheet, together in one delivery folder. The disc is
// rendered once (into the fileset's IMAGE.DAT, or a temporary image without a fileset) and the
// other parts are cut or encoded from that image, so they cannot differ. Blocks; runs on the
// caller's background thread and calls `progress` there.

#include "delivery/PreviewManifest.h"
#include "model/CDProject.h"
#include "model/TrackPosition.h"

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace orvane::BatchDelivery {

inline constexpr std::string_view errorDomain = "BatchDelivery";
inline constexpr std::string_view temporaryImagePrefix = "OrvaneBatch-";

// Codes of ExportError under errorDomain.
enum class ErrorCode {
    noTracks = 1,        // "Project contains no tracks to export."
    nothingSelected = 2, // "No delivery components selected."
};

struct Components {
    bool ddp = true;
    bool wav = true;
    bool preview = true;
    bool pqSheet = true;
    bool operator==(const Components&) const = default;
};

// A file of the PQ sheet, made by the caller: name and bytes.
using PQFile = std::pair<std::string, std::string>;

// Status text and fraction of the whole (0...1); false stops with UserCancelledError.
using Progress = std::function<bool(double fraction, const std::string& status)>;

// `name` inside `folder`, or the name with " 2", " 3" ... behind it, whichever is free first.
std::filesystem::path uniqueURL(const std::filesystem::path& folder, const std::string& name);

// Makes "<album> Delivery" (made unique) in outputDirectory (created if missing) with the chosen
// parts, and returns it. The bar is shared by weight: the image 6, WAV 1, the preview 2. A failure
// or cancel leaves the delivery folder with what it holds so far; the temporary image goes on every
// way out. Throws ExportError (this domain for its own codes), PreviewExportError or
// UserCancelledError. PQ file names must be plain names (no folders).
std::filesystem::path exportDelivery(const CDProject& project, const std::vector<TrackPosition>& positions,
                                     const std::filesystem::path& outputDirectory,
                                     const Components& components, PreviewFormat previewFormat,
                                     const std::string& approvalEmail, const std::vector<PQFile>& pqFiles,
                                     const Progress& progress = {});

} // namespace orvane::BatchDelivery
