#pragma once
// A finished disc cut into one WAV or AIFF file a track, from the master render: each file holds
// what a CD player gives from the track's INDEX 01 up to the next track's pre-gap, bit for bit as
// it stands in the image. Runs synchronously on the caller's background thread; `progress` is
// called on that thread.

#include "model/CDProject.h"
#include "model/TrackPosition.h"
#include "render/Exporter.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvane::AudioExporter {

inline constexpr std::string_view errorDomain = "AudioExporter";
inline constexpr std::string_view temporaryImagePrefix = "OrvaneTracks-";
inline constexpr std::string_view partialFolderPrefix = ".orvane-tracks-partial-";

// Codes of ExportError under errorDomain.
enum class ErrorCode {
    noTracks = 1,           // "Project contains no tracks."
    cannotCreateFormat = 2, // "Cannot create buffer format."
    cannotAllocate = 3,     // "Cannot allocate buffer."
};

enum class Format { wav, aiff };

// "wav" or "aif": the files' extension.
std::string_view rawValue(Format format);
// "WAV" or "AIFF", for titles.
std::string_view shortName(Format format);

// "NN Title.ext": "/" and ":" become "-", blanks around the title go, an empty title is
// "Track NN". Control characters become "-" and a very long title is cut, so the name is always one
// file name inside its folder. `index` counts from 1.
std::string fileName(std::int64_t index, std::string_view title, Format format);

// Writes the track files into `folder`, which exists, replacing files of the same names. Cuts from
// `preparedImage` when given (progress then runs 0...1 over the files), else renders a temporary
// image first (0...0.7 for the render). Throws ExportError or UserCancelledError.
void exportTracks(const CDProject& project, const std::vector<TrackPosition>& positions,
                  const std::filesystem::path& folder, Format format,
                  const std::optional<std::filesystem::path>& preparedImage,
                  const Exporter::FractionProgress& progress = {});

// exportTracks as one whole: the files are made in a hidden ".orvane-tracks-partial-" + UUID folder
// inside `folder` (created if missing) and moved into it only at the end, so a failure or cancel
// leaves it as it was apart from files already moved. Returns the number of files.
std::size_t exportTrackFiles(const CDProject& project, const std::vector<TrackPosition>& positions,
                             const std::filesystem::path& folder, Format format,
                             const Exporter::FractionProgress& progress = {});

} // namespace orvane::AudioExporter
