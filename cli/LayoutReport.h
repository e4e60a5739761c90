#pragma once
// The disc layout of a project as orvane-cli prints it, as text for people and JSON for scripts.

#include "model/AudioBlock.h"
#include "model/CDProject.h"
#include "model/DDPError.h"
#include "model/TrackPosition.h"

#include <optional>
#include <string>
#include <tl/expected.hpp>
#include <vector>

namespace orvane::cli {

struct LayoutReport {
    std::vector<TrackPosition> positions;
    std::vector<AudioBlock> blocks;
    std::optional<DDPError> error;
};

LayoutReport makeLayoutReport(const CDProject& project);
std::string layoutText(const LayoutReport& report);
std::string layoutJSON(const LayoutReport& report); // one object and a newline

// Reads and decodes a project document; the error is the document's own text.
tl::expected<CDProject, std::string> loadProjectDocument(const std::string& path);

} // namespace orvane::cli
