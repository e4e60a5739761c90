// Playback soak: the real engine (producer, ring, callback) plays a disc of four tracks, one of them
// at 48 kHz so the producer converts as it goes, with fades and a crossfade, looped, for N minutes on
// the offline device paced to real time, while a second thread spins on the other core. It prints the
// underruns next to its peer in the same run: the renderer alone, how many times faster than real
// time it fills the producer's blocks.
//
// usage: bench_playback [--minutes N | --seconds N]   (default 10 minutes)

#include "model/CDTrack.h"
#include "model/FileURL.h"
#include "model/TimelineCalculator.h"
#include "monitoring/PlaybackEngine.h"
#include "platform/AudioFileWriter.h"
#include "platform/DefaultsStore.h"
#include "platform/MainLoop.h"
#include "platform/OfflineAudioOutput.h"
#include "render/TimelineRenderer.h"

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace fs = std::filesystem;
using namespace orvane;

namespace {

constexpr double trackSeconds = 30.0;

bool writeTone(const fs::path& file, double rate, double hz) {
    AudioWriteSettings settings;
    settings.sampleRate = rate;
    auto writer = AudioFileWriter::open(file, settings);
    if (!writer)
        return false;
    const auto frames = static_cast<std::int64_t>(trackSeconds * rate);
    AudioBuffer block(rate, 2, 4096);
    for (std::int64_t done = 0; done < frames;) {
        const auto n = static_cast<std::size_t>(std::min<std::int64_t>(4096, frames - done));
        for (std::size_t i = 0; i < n; ++i) {
            const double t = static_cast<double>(done + static_cast<std::int64_t>(i)) / rate;
            block.channel(0)[i] = static_cast<float>(0.4 * std::sin(2 * M_PI * hz * t));
            block.channel(1)[i] = static_cast<float>(0.3 * std::sin(2 * M_PI * hz * 1.5 * t));
        }
        block.setFrameLength(n);
        if (!writer->write(block))
            return false;
        done += static_cast<std::int64_t>(n);
    }
    return writer->finish().has_value();
}

CDProject makeDisc(const fs::path& folder) {
    CDProject project;
    const double rates[] = {44100, 48000, 44100, 44100};
    for (int i = 0; i < 4; ++i) {
        const auto file = folder / ("t" + std::to_string(i) + ".wav");
        if (!writeTone(file, rates[i], 220.0 * (i + 1))) {
            std::fprintf(stderr, "bench_playback: can't write %s\n", file.c_str());
            std::exit(1);
        }
        CDTrack t = CDTrack::make("T", std::nullopt, i == 0 ? 150 : (i == 2 ? -75 : 75),
                                  static_cast<std::int64_t>(trackSeconds * 44100));
        t.audioFileURL = FileURL::fromPath(file);
        t.fadeInSamples = 22050;
        t.fadeOutSamples = 44100;
        t.gainEnabled = i == 3;
        t.gainDB = -2.0f;
        project.tracks.push_back(t);
    }
    return project;
}

// The peer: the renderer alone over the whole disc in producer-sized blocks, as a speed factor.
double rendererSpeed(const CDProject& project, const std::vector<TrackPosition>& positions) {
    const auto snapshot = TimelineRenderer::Snapshot::make(project, positions);
    TimelineRenderer renderer;
    std::vector<float> l(PlaybackEngine::fillBlockFrames), r(PlaybackEngine::fillBlockFrames);
    const auto start = std::chrono::steady_clock::now();
    for (std::int64_t at = 0; at < snapshot.totalSamples; at += PlaybackEngine::fillBlockFrames)
        renderer.render(l.data(), r.data(), at, PlaybackEngine::fillBlockFrames, snapshot);
    const double took = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return static_cast<double>(snapshot.totalSamples) / 44100.0 / took;
}

} // namespace

int main(int argc, char** argv) {
    double seconds = 600.0;
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string option = argv[i];
        const double value = std::atof(argv[i + 1]);
        if (option == "--minutes" && value > 0)
            seconds = value * 60.0;
        else if (option == "--seconds" && value > 0)
            seconds = value;
        else {
            std::fprintf(stderr, "usage: bench_playback [--minutes N | --seconds N]\n");
            return 2;
        }
    }

    const fs::path folder =
        fs::temp_directory_path() / ("orvane-bench-playback-" + std::to_string(::getpid()));
    fs::create_directories(folder);
    const CDProject project = makeDisc(folder);
    const auto positions = TimelineCalculator::calculatePositions(project).value();
    const double speed = rendererSpeed(project, positions);

    MainLoop loop;
    DefaultsStore defaults(folder / "defaults.json");
    OfflineAudioOutput output(OfflineAudioOutputSettings{OfflinePacing::realTime, std::nullopt, 0.0});
    PlaybackEngine engine(loop, defaults, output);
    engine.load(project, positions);
    engine.setLoopRange(0, engine.totalSamples());
    // The stream starts once the ring is full, as a player's first buffer would be.
    output.stop();
    engine.play();
    while (engine.ringFilledFrames() < 65536 - PlaybackEngine::fillBlockFrames)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    engine.reopenOutput(OfflineAudioOutput::deviceID);

    std::atomic<bool> busy{true};
    std::thread spinner([&] {
        volatile double sink = 0;
        while (busy.load(std::memory_order_relaxed))
            for (int i = 0; i < 100000; ++i)
                sink = sink + std::sqrt(static_cast<double>(i));
    });

    const auto start = std::chrono::steady_clock::now();
    std::uint64_t worstRing = 65536;
    while (std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() < seconds) {
        loop.runOneTurn();
        worstRing = std::min<std::uint64_t>(worstRing, static_cast<std::uint64_t>(engine.ringFilledFrames()));
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    busy = false;
    spinner.join();
    engine.pause();
    output.stop();

    const double played = static_cast<double>(output.framesPulled()) / 44100.0;
    std::printf("%-44s %12s\n", "playback soak (busy second core)", "value");
    std::printf("%-44s %12.1f\n", "seconds played", played);
    std::printf("%-44s %12llu\n", "callback underruns (target 0)",
                static_cast<unsigned long long>(engine.underrunCount()));
    std::printf("%-44s %12llu\n", "device late blocks", static_cast<unsigned long long>(output.underruns()));
    std::printf("%-44s %12.3f\n", "lowest ring fill seen (seconds)",
                static_cast<double>(worstRing) / 44100.0);
    std::printf("%-44s %12.1f\n", "peer: renderer alone (x real time)", speed);
    std::error_code ec;
    fs::remove_all(folder, ec);
    return engine.underrunCount() == 0 ? 0 : 1;
}
