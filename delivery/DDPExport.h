#pragma once
// Writes a project's DDP 2.00 fileset into a folder: the streams, the rendered image and
// checksum.md5 are made in a hidden partial folder and moved into the target only when all of them
// are whole, so a failed or cancelled export leaves the target as it was. Runs synchronously on the
// caller's background thread; `progress` is called on that thread.
#include "model/CDProject.h"
#include "model/TrackPosition.h"
#include "render/Exporter.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace orvane::Exporter {

inline constexpr std::string_view partialFolderPrefix = ".orvane-ddp-partial-";

// A file placed beside the fileset and listed in its checksum.md5: name and bytes.
using ExtraFile = std::pair<std::string, std::string>;

// Throws ExportError, or UserCancelledError when `progress` answers false.
void exportDDP(const CDProject& project, const std::vector<TrackPosition>& positions,
               const std::filesystem::path& targetDirectory, const std::vector<ExtraFile>& extraFiles,
               const StatusProgress& progress = {});

} // namespace orvane::Exporter
