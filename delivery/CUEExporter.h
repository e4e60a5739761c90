#pragma once
// A finished disc as one WAV image with a CUE sheet beside it, for plants and tools that take
// CUE + WAV. The image is the master render, copied behind a 44-byte WAV header; the sheet's times
// count frames from the start of that image, so its INDEX points are the DDP's PQ points. Runs
// synchronously on the caller's background thread; `progress` is called on that thread.

#include "model/CDProject.h"
#include "model/TrackPosition.h"
#include "render/Exporter.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace orvane::CUEExporter {

inline constexpr std::string_view errorDomain = "CUEExporter";
inline constexpr std::string_view temporaryImagePrefix = "OrvaneCUE-";

// Codes of ExportError under errorDomain.
enum class ErrorCode {
    noTracks = 1,         // "Project contains no tracks."
    cannotEncodeText = 2, // "Cannot encode CUE text."
};

// The sheet for an image named imageFileName: every line ends in a line feed, times are mm:ss:ff
// from the image's first frame, double quotes inside values become single quotes.
std::string cueText(const CDProject& project, const std::vector<TrackPosition>& positions,
                    std::string_view imageFileName);

// Writes the image ("<sheet's name>.wav" beside it) and then the sheet at `cue`. The temporary image
// goes on every way out. Throws ExportError (this domain for its own codes, "Exporter" for a render
// or write failure) or UserCancelledError when `progress` answers false.
void exportCUE(const CDProject& project, const std::vector<TrackPosition>& positions,
               const std::filesystem::path& cue, const Exporter::FractionProgress& progress = {});

} // namespace orvane::CUEExporter
