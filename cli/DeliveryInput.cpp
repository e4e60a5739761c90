#include "cli/DeliveryInput.h"

#include "cli/LayoutReport.h"
#include "model/TimelineCalculator.h"

namespace orvane::cli {

tl::expected<LaidOutProject, std::string> loadLaidOutProject(const std::string& path) {
    auto project = loadProjectDocument(path);
    if (!project)
        return tl::unexpected(project.error());
    auto positions = TimelineCalculator::calculatePositions(*project);
    if (!positions)
        return tl::unexpected("The disc cannot be laid out: " + positions.error().description() + ".");
    return LaidOutProject{std::move(*project), std::move(*positions)};
}

} // namespace orvane::cli
