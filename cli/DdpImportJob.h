#pragma once
// The whole of `orvane-cli ddp import`: a fileset read back into a project document and its track
// files, all or nothing (see ImportJob.h). Runs on the command's thread; `progress` is called there.

#include "cli/ImportJob.h"
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

using DdpImportResult = ImportedDocument;
using DdpImportFailure = ImportFailure;

// The name of the hidden folder the track files are made in, before the UUID.
inline constexpr std::string_view importPartialPrefix = ".orvane-ddp-import-partial-";

tl::expected<DdpImportResult, DdpImportFailure> importFileset(const DdpImportRequest& request,
                                                              const DDPReader::ImportProgress& progress);

} // namespace orvane::cli
