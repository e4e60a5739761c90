#pragma once
// The master render of a whole disc as a temporary image for a delivery to cut or copy from: made
// in the temporary folder under the job's prefix ("OrvaneCUE-", "OrvaneTracks-" ... then a UUID and
// ".dat") and removed when the object goes, on every way out. Lives on the job's background thread.

#include "model/CDProject.h"
#include "model/TrackPosition.h"
#include "render/Exporter.h"

#include <filesystem>
#include <string_view>
#include <vector>

namespace orvane {

class TemporaryImage final {
  public:
    // Fills the SRC cache and renders the image; `progress` sees the whole of that as 0...1.
    // Throws ExportError, or UserCancelledError when `progress` answers false (the file is then
    // already gone).
    TemporaryImage(const CDProject& project, const std::vector<TrackPosition>& positions,
                   std::string_view prefix, const Exporter::FractionProgress& progress = {});
    ~TemporaryImage();
    TemporaryImage(const TemporaryImage&) = delete;
    TemporaryImage& operator=(const TemporaryImage&) = delete;

    const std::filesystem::path& path() const noexcept { return path_; }

  private:
    std::filesystem::path path_;
};

} // namespace orvane
