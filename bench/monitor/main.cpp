// Times the playback producer's render on one core: a 44.1 kHz disc with fades, crossfades, gain and
// envelopes, and a 96 kHz source on the streamed conversion path, each beside the plain read of the
// same files (the floor no render can beat). Calls are 4096 samples, as the producer makes them.
// Then measures what monitoring delivers: a 997 Hz tone at -1 dBFS from 44.1, 48 and 96 kHz files,
// played by the real engine into the offline device and captured, from the start and after a seek;
// THD+N is everything but the fitted tone, over the capture less its first 100 ms.
// Usage: bench_monitor [SECONDS_PER_TRACK] (default 60). Data lives in a temporary folder, removed at the
// end.

#include "bench/common/ToneSource.h"
#include "model/CDTrack.h"
#include "model/FileURL.h"
#include "model/TimelineCalculator.h"
#include "monitoring/PlaybackEngine.h"
#include "platform/AudioFileReader.h"
#include "platform/AudioFileWriter.h"
#include "platform/DefaultsStore.h"
#include "platform/MainLoop.h"
#include "platform/OfflineAudioOutput.h"
#include "render/TimelineRenderer.h"
#include "testsupport/ToneFit.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

using namespace orvane;
namespace fs = std::filesystem;

namespace {

constexpr int trackCount = 10;
constexpr std::int64_t callSamples = 4096;
constexpr int repeats = 3;

template <class F> double bestSeconds(F&& f) {
    double best = 1e300;
    for (int k = 0; k < repeats; ++k) {
        const auto start = std::chrono::steady_clock::now();
        f();
        best =
            std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    return best;
}

// What the producer does: the timeline from `from` to its end in 4096-sample calls into buffers made once.
void renderAll(const TimelineRenderer::Snapshot& snapshot, std::int64_t from = 0) {
    TimelineRenderer renderer;
    std::vector<float> l(callSamples);
    std::vector<float> r(callSamples);
    double sink = 0.0;
    for (std::int64_t at = from; at < snapshot.totalSamples; at += callSamples) {
        renderer.render(l.data(), r.data(), at, callSamples, snapshot);
        sink += l[callSamples / 2];
    }
    if (sink == 12345.678)
        std::puts("");
}

// Reads every source through the file layer in blocks of the same duration, and does nothing else.
void readAll(const std::vector<fs::path>& sources) {
    for (const auto& source : sources) {
        auto reader = AudioFileReader::open(source);
        if (!reader)
            std::exit(1);
        const auto frames = static_cast<std::size_t>(reader->sampleRate() * callSamples / 44100.0);
        AudioBuffer buffer = reader->makeBuffer(frames);
        while (reader->read(buffer).value_or(0) > 0) {
        }
    }
}

TimelineRenderer::Snapshot snapshotOf(const CDProject& project) {
    auto positions = TimelineCalculator::calculatePositions(project);
    if (!positions) {
        std::fprintf(stderr, "layout failed\n");
        std::exit(1);
    }
    return TimelineRenderer::Snapshot::make(project, *positions);
}

CDProject editedDisc(const fs::path& folder, double seconds, std::vector<fs::path>& sources) {
    const auto trackSamples = static_cast<std::int64_t>(seconds * 44100.0);
    CDProject project;
    for (int k = 0; k < trackCount; ++k) {
        const fs::path file = folder / ("t" + std::to_string(k) + ".wav");
        bench::writeToneSource(file, 44100.0, trackSamples, 220.0 + 40.0 * k);
        sources.push_back(file);
        // Every third track crossfades into its predecessor over two seconds.
        const std::int64_t preGap = k == 0 ? 150 : (k % 3 == 0 ? -150 : 75);
        CDTrack t = CDTrack::make("T" + std::to_string(k), std::nullopt, preGap, trackSamples);
        t.audioFileURL = FileURL::fromPath(file);
        t.fadeInSamples = 44100;
        t.fadeOutSamples = 88200;
        t.fadeOutCurve = 0.4f;
        t.crossfadeCurve = k % 2 == 0 ? 0.0f : 1.0f;
        t.gainEnabled = k % 2 == 0;
        t.gainDB = -1.5f;
        if (k % 2 == 1) {
            t.envelopeEnabled = true;
            t.envelopeSmoothing = 0.5f;
            t.gainPoints = {GainPoint{Uuid::random(), 0, -3.0f, std::nullopt},
                            GainPoint{Uuid::random(), trackSamples / 3, 0.0f, std::nullopt},
                            GainPoint{Uuid::random(), trackSamples * 2 / 3, -6.0f, 0.2f}};
        }
        project.tracks.push_back(t);
    }
    return project;
}

void row(const char* name, double discSeconds, double wall, double target) {
    const double speed = discSeconds / wall;
    if (target > 0.0)
        std::printf("%-52s %9.3f %11.1fx %9.0fx  %s\n", name, wall, speed, target,
                    speed > target ? "met" : "MISSED");
    else
        std::printf("%-52s %9.3f %11.1fx %10s\n", name, wall, speed, "-");
}

// Plays `count` samples of the disc from `from` samples into the first track's audio (past its
// pre-gap) through the engine into the offline device, pulling as fast as the producer fills the
// ring, and returns the left channel of what the output received.
std::vector<double> capture(const CDProject& project, const fs::path& folder, std::int64_t from,
                            std::int64_t count) {
    const auto positions = TimelineCalculator::calculatePositions(project).value();
    MainLoop loop;
    DefaultsStore defaults(folder / "defaults.json");
    OfflineAudioOutput output(OfflineAudioOutputSettings{OfflinePacing::manual, std::nullopt, 0.0});
    PlaybackEngine engine(loop, defaults, output);
    engine.load(project, positions);
    engine.seek(positions.front().audioStartLBA * RedBook::samplesPerFrame + from);
    engine.play();
    std::vector<double> left;
    while (static_cast<std::int64_t>(left.size()) < count) {
        const std::int64_t n = std::min<std::int64_t>(count - static_cast<std::int64_t>(left.size()), 4096);
        const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (engine.ringFilledFrames() < n && std::chrono::steady_clock::now() < giveUp)
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        auto pulled = output.pull(static_cast<std::size_t>(n));
        if (!pulled) {
            std::fprintf(stderr, "capture failed\n");
            std::exit(1);
        }
        left.insert(left.end(), pulled->left.begin(), pulled->left.end());
        loop.runOneTurn();
    }
    engine.pause();
    return left;
}

// THD+N of a capture of the 997 Hz tone in dB against the tone, leaving out its first 100 ms.
double thdPlusNoiseDB(const std::vector<double>& y) {
    const std::size_t skip = 4410;
    const testing::ToneFit fit = testing::fitTone(y, 44100, 997.0, skip, y.size() - skip);
    return testing::dB(std::hypot(fit.residualRms, fit.dc) / (fit.amplitude / std::sqrt(2.0)));
}

void captureQuality(const fs::path& folder) {
    const double amplitude = std::pow(10.0, -1.0 / 20.0);
    std::printf("\n%-52s %12s %12s %10s\n", "monitoring capture, 997 Hz at -1 dBFS", "from start",
                "after seek", "target");
    for (const double rate : {44100.0, 48000.0, 96000.0}) {
        const fs::path file = folder / ("tone" + std::to_string(static_cast<int>(rate)) + ".wav");
        const auto frames = static_cast<std::int64_t>(8 * rate);
        AudioWriteSettings settings;
        settings.sampleFormat = AudioSampleFormat::float32;
        settings.sampleRate = rate;
        auto writer = AudioFileWriter::open(file, settings);
        AudioBuffer buffer(rate, 2, static_cast<std::size_t>(frames));
        for (std::int64_t n = 0; n < frames; ++n)
            buffer.channel(0)[n] = buffer.channel(1)[n] =
                static_cast<float>(amplitude * std::sin(2.0 * M_PI * 997.0 * static_cast<double>(n) / rate));
        buffer.setFrameLength(static_cast<std::size_t>(frames));
        if (!writer || !writer->write(buffer) || !writer->finish()) {
            std::fprintf(stderr, "writing %s failed\n", file.c_str());
            std::exit(1);
        }
        CDProject project;
        CDTrack t = CDTrack::make("Tone", std::nullopt, 0, RedBook::discSamplesForFileLength(frames, rate));
        t.audioFileURL = FileURL::fromPath(file);
        project.tracks.push_back(t);
        const double fromStart = thdPlusNoiseDB(capture(project, folder, 0, 5 * 44100));
        const double afterSeek = thdPlusNoiseDB(capture(project, folder, 44100 + 12345, 5 * 44100));
        char name[64];
        std::snprintf(name, sizeof name, "%.1f kHz source", rate / 1000.0);
        const double target = rate == 44100.0 ? -140.0 : -120.0;
        std::printf("%-52s %11.1f %12.1f %10.0f  %s\n", name, fromStart, afterSeek, target,
                    std::max(fromStart, afterSeek) <= target ? "met" : "MISSED");
    }
}

} // namespace

int main(int argc, char** argv) {
    const double seconds = argc > 1 ? std::atof(argv[1]) : 60.0;
    if (!(seconds >= 5.0)) {
        std::fprintf(stderr, "usage: bench_monitor [SECONDS_PER_TRACK >= 5]\n");
        return 2;
    }
    const fs::path folder =
        fs::temp_directory_path() / ("orvane-bench-monitor-" + std::to_string(::getpid()));
    fs::create_directories(folder);

    std::vector<fs::path> sources;
    const auto disc = snapshotOf(editedDisc(folder, seconds, sources));
    const double discSeconds = static_cast<double>(disc.totalSamples) / 44100.0;

    const fs::path hiFile = folder / "hi.wav";
    const auto hiFrames = static_cast<std::int64_t>(seconds * 96000.0);
    bench::writeToneSource(hiFile, 96000.0, hiFrames, 997.0);
    CDProject hiProject;
    CDTrack hi =
        CDTrack::make("96k", std::nullopt, 150, RedBook::discSamplesForFileLength(hiFrames, 96000.0));
    hi.audioFileURL = FileURL::fromPath(hiFile);
    hi.fadeInSamples = 44100;
    hi.gainEnabled = true;
    hi.gainDB = -1.0f;
    hiProject.tracks.push_back(hi);
    const auto hiDisc = snapshotOf(hiProject);
    // Only the track's audio is timed, not the silent pre-gap before it.
    const std::int64_t hiStart = hiDisc.positions.front().audioStartLBA * TimelineRenderer::samplesPerFrame;
    const double hiSeconds = static_cast<double>(hiDisc.totalSamples - hiStart) / 44100.0;

    const double discFloor = bestSeconds([&] { readAll(sources); });
    const double discRender = bestSeconds([&] { renderAll(disc); });
    const double hiFloor = bestSeconds([&] { readAll({hiFile}); });
    const double hiRender = bestSeconds([&] { renderAll(hiDisc, hiStart); });

    std::printf("44.1 kHz disc: %d tracks of %.0f s, 24-bit stereo, %.1f min; 96 kHz source: %.0f s; "
                "calls of %lld samples, best of %d, one thread\n",
                trackCount, seconds, discSeconds / 60.0, hiSeconds, static_cast<long long>(callSamples),
                repeats);
    std::printf("%-52s %9s %12s %10s\n", "case", "seconds", "x realtime", "target");
    row("44.1 kHz read floor (same files, no processing)", discSeconds, discFloor, 0.0);
    row("44.1 kHz disc render (fades, xfades, gain, env)", discSeconds, discRender, 100.0);
    row("96 kHz read floor (same file, no processing)", hiSeconds, hiFloor, 0.0);
    row("96 kHz render (streamed conversion, fade, gain)", hiSeconds, hiRender, 20.0);
    captureQuality(folder);
    fs::remove_all(folder);
    return 0;
}
