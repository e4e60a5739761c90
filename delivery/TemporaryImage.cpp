#include "delivery/TemporaryImage.h"

#include "model/Uuid.h"

#include <system_error>

namespace orvane {

namespace {

void removeQuietly(const std::filesystem::path& file) {
    std::error_code ec;
    std::filesystem::remove(file, ec); // a temporary that cannot go is no reason to fail the job
}

} // namespace

TemporaryImage::TemporaryImage(const CDProject& project, const std::vector<TrackPosition>& positions,
                               std::string_view prefix, const Exporter::FractionProgress& progress)
    : path_(std::filesystem::temp_directory_path() /
            (std::string(prefix) + Uuid::random().string() + ".dat")) {
    const std::int64_t frames = positions.empty() ? 0 : positions.back().endLBA;
    try {
        const double share =
            Exporter::prerenderSRC(project, frames, Exporter::imageSampleRate,
                                   [&](double f, const std::string&) { return !progress || progress(f); });
        Exporter::writeImage(project, positions, path_,
                             [&](double f) { return !progress || progress(share + (1.0 - share) * f); });
    } catch (...) {
        removeQuietly(path_);
        throw;
    }
}

TemporaryImage::~TemporaryImage() {
    removeQuietly(path_);
}

} // namespace orvane
