#include "delivery/BatchDelivery.h"

#include "delivery/AudioExporter.h"
#include "delivery/DDPExport.h"
#include "delivery/DDPWriter.h"
#include "delivery/PreviewExporter.h"
#include "delivery/TemporaryImage.h"
#include "platform/AtomicFile.h"

#include <algorithm>
#include <memory>
#include <system_error>

namespace orvane::BatchDelivery {

namespace {

namespace fs = std::filesystem;

constexpr double kImageWeight = 6.0;
constexpr double kWAVWeight = 1.0;
constexpr double kPreviewWeight = 2.0;

[[noreturn]] void fail(ErrorCode code, std::string message) {
    throw ExportError{std::string(errorDomain), static_cast<ExportErrorCode>(code), std::move(message),
                      std::nullopt};
}

[[noreturn]] void writeFailed(const std::string& name, const std::string& reason) {
    throw ExportError{"Exporter", ExportErrorCode::writeFailed, "Writing " + name + " failed: " + reason,
                      std::nullopt};
}

fs::path makeFolder(const fs::path& folder) {
    std::error_code ec;
    fs::create_directory(folder, ec);
    if (ec)
        writeFailed(folder.filename().string(), ec.message());
    return folder;
}

// One phase of the bar: a start and a span in weights, over the sum of the weights.
struct Phase {
    const Progress& progress;
    double start;
    double span;
    double total;
    std::string status;

    bool operator()(double f) const { return (*this)(f, status); }
    bool operator()(double f, const std::string& text) const {
        return !progress || progress((start + std::clamp(f, 0.0, 1.0) * span) / total, text);
    }
};

void writePQFiles(const fs::path& folder, const std::vector<PQFile>& files) {
    for (const auto& [name, bytes] : files) {
        // A caller's name is a file name in the delivery folder and nothing else.
        if (name.empty() || name == "." || name == ".." || name.find('/') != std::string::npos)
            writeFailed(name, "not a plain file name");
        if (auto written = AtomicFile::write(folder / name, bytes); !written)
            throw ExportError{"Exporter", ExportErrorCode::writeFailed, written.error(), std::nullopt};
    }
}

} // namespace

fs::path uniqueURL(const fs::path& folder, const std::string& name) {
    std::error_code ec;
    fs::path candidate = folder / name;
    for (int n = 2; fs::exists(fs::symlink_status(candidate, ec)); ++n)
        candidate = folder / (name + " " + std::to_string(n));
    return candidate;
}

fs::path exportDelivery(const CDProject& project, const std::vector<TrackPosition>& positions,
                        const fs::path& outputDirectory, const Components& components,
                        PreviewFormat previewFormat, const std::string& approvalEmail,
                        const std::vector<PQFile>& pqFiles, const Progress& progress) {
    if (positions.empty())
        fail(ErrorCode::noTracks, "Project contains no tracks to export.");
    if (!components.ddp && !components.wav && !components.preview && !components.pqSheet)
        fail(ErrorCode::nothingSelected, "No delivery components selected.");
    std::error_code ec;
    fs::create_directories(outputDirectory, ec);
    if (ec)
        writeFailed(outputDirectory.filename().string(), ec.message());
    const fs::path delivery =
        makeFolder(uniqueURL(outputDirectory, PreviewExporter::safeName(project) + " Delivery"));

    const double total =
        kImageWeight + (components.wav ? kWAVWeight : 0.0) + (components.preview ? kPreviewWeight : 0.0);
    // The one render of the job: the fileset's image, or a temporary one without a fileset.
    std::unique_ptr<TemporaryImage> temporary;
    fs::path image;
    if (components.ddp) {
        const fs::path ddp = makeFolder(delivery / "DDP");
        const Phase phase{progress, 0.0, kImageWeight, total, ""};
        Exporter::exportDDP(project, positions, ddp, {},
                            [&](double f, const std::string& text) { return phase(f, text); });
        image = ddp / std::string(DDPWriter::audioFileName);
    } else if (components.wav || components.preview) {
        const Phase phase{progress, 0.0, kImageWeight, total, "Rendering audio\u2026"};
        temporary = std::make_unique<TemporaryImage>(project, positions, temporaryImagePrefix, phase);
        image = temporary->path();
    }
    double start = kImageWeight;
    if (components.wav) {
        const fs::path wav = makeFolder(delivery / "WAV");
        const Phase phase{progress, start, kWAVWeight, total, "Writing WAV tracks\u2026"};
        if (!phase(0.0))
            throw UserCancelledError{};
        AudioExporter::exportTracks(project, positions, wav, AudioExporter::Format::wav, image, phase);
        start += kWAVWeight;
    }
    if (components.preview) {
        const Phase phase{progress, start, kPreviewWeight, total,
                          std::string("Encoding preview (") +
                              (previewFormat == PreviewFormat::quality ? "FLAC" : "AAC") + ")\u2026"};
        if (!phase(0.0))
            throw UserCancelledError{};
        PreviewExporter::exportPreview(project, positions, previewFormat, delivery, approvalEmail, image,
                                       phase);
    }
    if (components.pqSheet)
        writePQFiles(delivery, pqFiles);
    if (progress)
        progress(1.0, "Finalizing\u2026");
    return delivery;
}

} // namespace orvane::BatchDelivery
