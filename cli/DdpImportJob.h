#pragma once
// The whole of `orvane-cli ddp import`: a fileset read back into a project document and its track
// files, all or nothing. The WAV files are cut into a hidden folder beside the audio folder and the
// document is written beside its final name; both move into place only once everything is whole,
// so a failure or an interrupt leaves neither a half-written document nor stray audio. Runs on the
// command's thread; `progress` is called there.

#include "delivery/DDPReader.h"
#include "model/CDProject.h"

#include <filesystem>
#include <optional>
#include <string>
#include <tl/expected.hpp>

namespace orvane::cli {

struct DdpImportRequest {
    std::filesystem::path fileset;
    std::filesystem::path projectPath;
    // Where the track files go; nothing means "<fileset's name> Audio" beside the document,
    // numbered like the desktop's choice when taken.
    std::optional<std::filesystem::path> audioDir;
};

struct DdpImportResult {
    CDProject project; // as saved: its tracks point at the files in audioDir
    std::filesystem::path projectPath;
    std::filesystem::path audioDir;
};

struct DdpImportFailure {
    bool cancelled = false;
    std::string message; // the user's text; empty when cancelled
};

// The name of the hidden folder the track files are made in, before the UUID.
inline constexpr std::string_view importPartialPrefix = ".orvane-ddp-import-partial-";

tl::expected<DdpImportResult, DdpImportFailure> importFileset(const DdpImportRequest& request,
                                                              const DDPReader::ImportProgress& progress);

} // namespace orvane::cli
