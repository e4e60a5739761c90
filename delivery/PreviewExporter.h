#pragma once
// The client preview: the rendered disc as one compressed audio file with a self-contained HTML player
// (track list, CD-Text, timing, an Approve button that opens a ready-made mail), or one HTML file with
// the audio inside. A client listens in any browser, with no server.
//
// Every operation blocks and runs on the caller's background thread; `progress` is called on that
// thread. Nothing here holds state between calls.
#include "delivery/PreviewManifest.h"
#include "model/CDProject.h"
#include "model/TrackPosition.h"
#include "platform/AudioFileWriter.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvane {

enum class PreviewExportErrorCode {
    noTracks = 1,     // "Project contains no tracks to export."
    bufferFailed = 2, // "Cannot create buffer format." / "Cannot allocate buffer."
    writeFailed = 3,  // the encoder, a read of the image or a write of the output failed; names the file
    zipFailed = 4,    // "Failed to create .zip (exit N)."
};

// Thrown by the preview operations; `message` is the user's text. A failed render throws the
// render's own ExportError instead, and a stop through `progress` throws UserCancelledError.
struct PreviewExportError {
    std::string domain = "PreviewExporter";
    PreviewExportErrorCode code = PreviewExportErrorCode::writeFailed;
    std::string message;
};

namespace PreviewExporter {

using Format = PreviewFormat;
using Manifest = PreviewManifest;

// The manifest of the project's disc (see PreviewManifests::build).
inline Manifest buildManifest(const CDProject& project, const std::vector<TrackPosition>& positions,
                              Format format, const std::string& audioFile, const std::string& approvalEmail) {
    return PreviewManifests::build(project, positions, format, audioFile, approvalEmail);
}

// Answer false to stop; the operation then throws UserCancelledError.
using Progress = std::function<bool(double fraction)>;

// "Quality (FLAC)", "Light (AAC)", "Smartphone (self-contained)".
std::string_view shownName(PreviewFormat format);
// The audio writer's settings: FLAC 16-bit, or AAC at 160,000 bit/s; 44,100 Hz stereo either way.
AudioWriteSettings encoderSettings(PreviewFormat format);

// The album title with "/" and ":" made "-", trimmed; "Untitled" when nothing is left.
std::string safeName(const CDProject& project);

// Makes the preview in outputDirectory (which must exist) and returns the folder
// (S + " Preview (Quality)" or " Preview (Light)", with " 2", " 3"... when the name is taken) or, for
// smartphone, the file S + " Preview (Smartphone).html", which replaces one of that name. Encodes
// preparedImage (a disc image of 16-bit little-endian stereo, last endLBA x 2352 bytes) when given,
// else renders one into the temporary folder ("OrvanePreview-" UUID ".dat"). Everything is built
// aside and moved into place at the end; every temporary file goes on every way out. Memory stays a
// few megabytes whatever the disc's length.
std::filesystem::path exportPreview(const CDProject& project, const std::vector<TrackPosition>& positions,
                                    PreviewFormat format, const std::filesystem::path& outputDirectory,
                                    const std::string& approvalEmail,
                                    const std::optional<std::filesystem::path>& preparedImage = std::nullopt,
                                    const Progress& progress = {});

// Encodes byteLength bytes of a disc image into `to` with the writer's settings, 4 MiB at a time.
// Throws PreviewExportError (writeFailed for a short or unreadable image or a failed encoder) or
// UserCancelledError; `to` is then incomplete and the caller's to remove.
void encodeImage(const std::filesystem::path& from, std::int64_t byteLength, const std::filesystem::path& to,
                 const AudioWriteSettings& settings, const Progress& progress = {});

// Packs a finished folder or file into its path + ".zip" with /usr/bin/zip, keeping the top folder;
// with a password the archive is encrypted so that `unzip -P` opens it. Replaces a zip of that name.
// Returns the zip's path. Throws PreviewExportError zipFailed for a non-zero exit, writeFailed when
// the tool cannot be started.
std::filesystem::path zipBundle(const std::filesystem::path& source, const std::string& password = {});

} // namespace PreviewExporter

} // namespace orvane
