#pragma once
// The input of the delivery commands: a project document and its disc layout. The command's thread.

#include "model/CDProject.h"
#include "model/TrackPosition.h"

#include <string>
#include <tl/expected.hpp>
#include <vector>

namespace orvane::cli {

struct LaidOutProject {
    CDProject project;
    std::vector<TrackPosition> positions;
};

// Reads the document and lays its disc out; the error is the user's text (the document's own, or
// "The disc cannot be laid out: ...").
tl::expected<LaidOutProject, std::string> loadLaidOutProject(const std::string& path);

} // namespace orvane::cli
