// Times a batch delivery (DDP, WAV tracks, FLAC or AAC preview; one render) beside the same parts
// made one by one: a DDP export, then the track files and the preview cut and encoded from its
// IMAGE.DAT. The batch should cost no more than that sum (target at most 1.3x): it adds nothing but
// its own folder and bookkeeping. Usage: bench_batch [MINUTES] [ROUNDS] [light] (defaults 20, 3,
// FLAC). The table shows each case's fastest round, since other work on a shared machine only ever
// adds time. Data lives in a temporary folder, removed at the end.

#include "bench/common/ToneSource.h"
#include "delivery/AudioExporter.h"
#include "delivery/BatchDelivery.h"
#include "delivery/DDPExport.h"
#include "delivery/PreviewExporter.h"
#include "model/FileURL.h"
#include "model/TimelineCalculator.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

using namespace orvane;
namespace fs = std::filesystem;

namespace {

constexpr int trackCount = 8;

double seconds(const std::chrono::steady_clock::time_point& since) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

CDProject makeProject(const fs::path& folder, double minutes) {
    CDProject project;
    project.albumTitle = "Bench";
    const auto frames = static_cast<std::int64_t>(minutes * 60.0 * 44100.0 / trackCount);
    for (int i = 0; i < trackCount; ++i) {
        const fs::path source = folder / ("source" + std::to_string(i) + ".wav");
        bench::writeToneSource(source, 44100.0, frames, 220.0 + 40.0 * i);
        CDTrack track =
            CDTrack::make("Track " + std::to_string(i + 1), std::nullopt, i == 0 ? 150 : 75, frames);
        track.audioFileURL = FileURL::fromPath(source);
        project.tracks.push_back(std::move(track));
    }
    return project;
}

} // namespace

int main(int argc, char** argv) {
    const double minutes = argc > 1 ? std::atof(argv[1]) : 20.0;
    const int rounds = argc > 2 ? std::max(1, std::atoi(argv[2])) : 3;
    const PreviewFormat format =
        argc > 3 && std::string(argv[3]) == "light" ? PreviewFormat::light : PreviewFormat::quality;
    const fs::path folder = fs::temp_directory_path() / ("orvane-bench-batch-" + std::to_string(::getpid()));
    fs::create_directories(folder);
    const CDProject project = makeProject(folder, minutes);
    const auto positions = TimelineCalculator::calculatePositions(project);
    if (!positions) {
        std::fprintf(stderr, "layout failed\n");
        return 1;
    }

    double ddpBest = 1e300, tracksBest = 1e300, previewBest = 1e300, batchBest = 1e300;
    for (int round = 0; round < rounds; ++round) {
        const fs::path run = folder / ("round" + std::to_string(round));
        fs::create_directories(run / "tracks");
        fs::create_directories(run / "preview");
        ::sync();
        auto start = std::chrono::steady_clock::now();
        Exporter::exportDDP(project, *positions, run / "ddp", {});
        ddpBest = std::min(ddpBest, seconds(start));
        const fs::path image = run / "ddp" / "IMAGE.DAT";
        start = std::chrono::steady_clock::now();
        AudioExporter::exportTracks(project, *positions, run / "tracks", AudioExporter::Format::wav, image);
        tracksBest = std::min(tracksBest, seconds(start));
        start = std::chrono::steady_clock::now();
        PreviewExporter::exportPreview(project, *positions, format, run / "preview", "", image);
        previewBest = std::min(previewBest, seconds(start));
        ::sync();
        start = std::chrono::steady_clock::now();
        BatchDelivery::exportDelivery(project, *positions, run / "batch", {true, true, true, false}, format,
                                      "", {});
        batchBest = std::min(batchBest, seconds(start));
        fs::remove_all(run);
    }
    fs::remove_all(folder);

    const double sum = ddpBest + tracksBest + previewBest;
    std::printf("disc: %.1f min, %d tracks; preview %s; fastest of %d rounds\n", minutes, trackCount,
                format == PreviewFormat::quality ? "FLAC" : "AAC", rounds);
    std::printf("%-44s %8s\n", "case", "wall s");
    std::printf("%-44s %8.2f\n", "DDP export", ddpBest);
    std::printf("%-44s %8.2f\n", "WAV tracks from its image", tracksBest);
    std::printf("%-44s %8.2f\n", "preview from its image", previewBest);
    std::printf("%-44s %8.2f\n", "sum of the parts", sum);
    std::printf("%-44s %8.2f\n", "batch delivery (DDP, WAV, preview)", batchBest);
    std::printf("batch / sum of the parts: %.2f (target at most 1.30)\n", batchBest / sum);
    return 0;
}
