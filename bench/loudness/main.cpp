// The loudness analyser against libebur128, on the same synthetic signals in one run.
//
//   bench_loudness [ALBUM_MINUTES]   (default 74)
//
// 1. Broadcast test signals (steady and stepped 1 kHz sines, inter-sample-peak sines): integrated
//    loudness, loudness range and true peak of both, with the differences.
// 2. Single-thread throughput of a whole-track analysis with true peak, file reading included.
// 3. A synthetic album of ALBUM_MINUTES minutes measured on two threads.

#include "analysis/LoudnessAnalyzer.h"
#include "analysis/LoudnessJobs.h"
#include "model/CDTrack.h"
#include "model/FileURL.h"
#include "platform/AudioFileReader.h"
#include "platform/AudioFileWriter.h"

#include <ebur128.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <numbers>
#include <string>
#include <vector>

namespace {

using namespace orvane;
namespace fs = std::filesystem;

using Signal = std::function<float(std::int64_t n)>;

void writeWav(const fs::path& path, double rate, std::int64_t frames, const Signal& signal,
              AudioSampleFormat format) {
    AudioWriteSettings settings;
    settings.sampleFormat = format;
    settings.sampleRate = rate;
    auto writer = AudioFileWriter::open(path, settings);
    if (!writer) {
        std::fprintf(stderr, "%s\n", writer.error().message.c_str());
        std::exit(1);
    }
    constexpr std::size_t block = 65536;
    AudioBuffer buffer(rate, 2, block);
    for (std::int64_t at = 0; at < frames; at += static_cast<std::int64_t>(block)) {
        const auto n = static_cast<std::size_t>(std::min<std::int64_t>(block, frames - at));
        for (std::size_t i = 0; i < n; ++i) {
            const float v = signal(at + static_cast<std::int64_t>(i));
            buffer.channel(0)[i] = v;
            buffer.channel(1)[i] = v;
        }
        buffer.setFrameLength(n);
        if (!writer->write(buffer)) {
            std::fprintf(stderr, "could not write %s\n", path.c_str());
            std::exit(1);
        }
    }
    if (!writer->finish()) {
        std::fprintf(stderr, "could not finish %s\n", path.c_str());
        std::exit(1);
    }
}

struct Section {
    double dBFS;
    double seconds;
};

Signal sections(std::vector<Section> parts, double rate) {
    std::vector<std::int64_t> ends;
    std::vector<double> amplitudes;
    std::int64_t at = 0;
    for (const auto& s : parts) {
        at += static_cast<std::int64_t>(std::llround(s.seconds * rate));
        ends.push_back(at);
        amplitudes.push_back(std::pow(10.0, s.dBFS / 20.0));
    }
    return [=](std::int64_t n) {
        std::size_t k = 0;
        while (k + 1 < ends.size() && n >= ends[k])
            ++k;
        return static_cast<float>(amplitudes[k] *
                                  std::sin(2.0 * std::numbers::pi * 1000.0 * static_cast<double>(n) / rate));
    };
}

// A sine whose samples start at a phase, with 10 ms rises and falls.
Signal phasedSine(double hz, double phaseDegrees, double dBFS, std::int64_t frames, double rate) {
    const double amplitude = std::pow(10.0, dBFS / 20.0);
    const auto ramp = static_cast<std::int64_t>(0.01 * rate);
    return [=](std::int64_t n) {
        const std::int64_t edge = std::min(n, frames - 1 - n);
        const double shape =
            edge >= ramp ? 1.0 : 0.5 - 0.5 * std::cos(std::numbers::pi * edge / double(ramp));
        return static_cast<float>(
            shape * amplitude *
            std::sin(2.0 * std::numbers::pi * hz * n / rate + phaseDegrees * std::numbers::pi / 180.0));
    };
}

// Programme-like material: low-passed noise and two partials under a slow swell, at a base level.
Signal programme(double baseDB, std::uint32_t seed) {
    struct State {
        std::uint32_t x;
        double low = 0.0;
    };
    auto state = std::make_shared<State>(State{seed});
    const double gain = std::pow(10.0, baseDB / 20.0);
    return [=](std::int64_t n) {
        state->x = state->x * 1664525u + 1013904223u;
        const double white = static_cast<double>(state->x >> 8) / 16777216.0 - 0.5;
        state->low += 0.08 * (white - state->low);
        const double t = static_cast<double>(n) / 44100.0;
        const double swell = 0.55 + 0.45 * std::sin(2.0 * std::numbers::pi * t / (17.0 + seed % 7));
        const double tone = 0.3 * std::sin(2.0 * std::numbers::pi * 220.0 * t) +
                            0.15 * std::sin(2.0 * std::numbers::pi * 3300.0 * t);
        return static_cast<float>(gain * swell * (2.5 * state->low + tone + 0.05 * white));
    };
}

CDTrack trackOf(const fs::path& path) {
    auto reader = AudioFileReader::open(path);
    CDTrack track = CDTrack::make(
        path.stem().string(), std::nullopt, 150,
        reader ? static_cast<std::int64_t>(reader->lengthFrames() * 44100.0 / reader->sampleRate()) : 0);
    track.audioFileURL = FileURL::fromPath(path);
    return track;
}

struct Figures {
    double lufs = NAN, lra = NAN, truePeak = NAN;
};

Figures ours(const fs::path& path) {
    const auto data = LoudnessAnalyzer::analyzeTrackData(trackOf(path));
    Figures f;
    if (!data)
        return f;
    if (const auto summary = data->summary()) {
        f.lufs = summary->lufs;
        f.lra = summary->lra.value_or(NAN);
    }
    f.truePeak = LoudnessAnalyzer::truePeakDB(data->peak);
    return f;
}

Figures theirs(const fs::path& path) {
    auto reader = AudioFileReader::open(path);
    if (!reader)
        return {};
    const auto channels = static_cast<unsigned>(reader->channelCount());
    ebur128_state* st = ebur128_init(channels, static_cast<unsigned long>(reader->sampleRate()),
                                     EBUR128_MODE_I | EBUR128_MODE_LRA | EBUR128_MODE_TRUE_PEAK);
    const std::size_t block = static_cast<std::size_t>(reader->sampleRate()) * 5;
    AudioBuffer buffer = reader->makeBuffer(block);
    std::vector<float> interleaved(block * channels);
    for (;;) {
        const auto got = reader->read(buffer, block);
        if (!got || *got == 0)
            break;
        for (std::size_t i = 0; i < *got; ++i)
            for (unsigned c = 0; c < channels; ++c)
                interleaved[i * channels + c] = buffer.channel(static_cast<int>(c))[i];
        ebur128_add_frames_float(st, interleaved.data(), *got);
    }
    Figures f;
    ebur128_loudness_global(st, &f.lufs);
    ebur128_loudness_range(st, &f.lra);
    double peak = 0.0;
    for (unsigned c = 0; c < channels; ++c) {
        double p = 0.0;
        ebur128_true_peak(st, c, &p);
        peak = std::max(peak, p);
    }
    f.truePeak = 20.0 * std::log10(std::max(peak, 1e-9));
    ebur128_destroy(&st);
    return f;
}

double seconds(const std::function<void()>& body) {
    const auto start = std::chrono::steady_clock::now();
    body();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

} // namespace

int main(int argc, char** argv) {
    const double albumMinutes = argc > 1 ? std::atof(argv[1]) : 74.0;
    const fs::path dir = fs::temp_directory_path() / ("orvane-bench-loudness-" + std::to_string(::getpid()));
    fs::create_directories(dir);

    struct Case {
        const char* name;
        fs::path file;
    };
    std::vector<Case> cases;
    const auto addSections = [&](const char* name, std::vector<Section> parts, double rate = 48000.0) {
        double total = 0;
        for (const auto& p : parts)
            total += p.seconds;
        const auto path = dir / ("case-" + std::to_string(cases.size()) + ".wav");
        writeWav(path, rate, static_cast<std::int64_t>(std::llround(total * rate)), sections(parts, rate),
                 AudioSampleFormat::float32);
        cases.push_back({name, path});
    };
    const auto addSine = [&](const char* name, double hz, double phase, double dB, double rate) {
        const auto frames = static_cast<std::int64_t>(5.0 * rate);
        const auto path = dir / ("case-" + std::to_string(cases.size()) + ".wav");
        writeWav(path, rate, frames, phasedSine(hz, phase, dB, frames, rate), AudioSampleFormat::float32);
        cases.push_back({name, path});
    };
    addSections("I: -23 dBFS 20 s", {{-23.0, 20.0}});
    addSections("I: -33 dBFS 20 s", {{-33.0, 20.0}});
    addSections("I: -36/-23/-36", {{-36.0, 10.0}, {-23.0, 60.0}, {-36.0, 10.0}});
    addSections("I: -72/-36/-23/-36/-72",
                {{-72.0, 10.0}, {-36.0, 10.0}, {-23.0, 60.0}, {-36.0, 10.0}, {-72.0, 10.0}});
    addSections("I: -26/-20/-26", {{-26.0, 20.0}, {-20.0, 20.1}, {-26.0, 20.0}});
    addSections("LRA: -20/-30", {{-20.0, 20.0}, {-30.0, 20.0}});
    addSections("LRA: -20/-15", {{-20.0, 20.0}, {-15.0, 20.0}});
    addSections("LRA: -40/-20", {{-40.0, 20.0}, {-20.0, 20.0}});
    addSections("LRA: -50/-35/-20/-35/-50",
                {{-50.0, 20.0}, {-35.0, 20.0}, {-20.0, 20.0}, {-35.0, 20.0}, {-50.0, 20.0}});
    addSections("44.1k -23 dBFS", {{-23.0, 20.0}}, 44100.0);
    addSine("TP: fs/4 0deg -6", 12000.0, 0.0, -6.0, 48000.0);
    addSine("TP: fs/4 45deg -6", 12000.0, 45.0, -6.0, 48000.0);
    addSine("TP: fs/6 60deg -6", 8000.0, 60.0, -6.0, 48000.0);
    addSine("TP: fs/8 67.5deg -6", 6000.0, 67.5, -6.0, 48000.0);
    addSine("TP: fs/4 45deg +3", 12000.0, 45.0, 3.0103, 48000.0);
    addSine("TP: 44.1k fs/4 45deg -1", 11025.0, 45.0, -1.0, 44100.0);

    std::printf("%-28s %9s %9s %7s | %7s %7s %6s | %7s %7s %6s\n", "signal", "I ours", "I peer", "dI",
                "LRA ours", "LRA peer", "dLRA", "TP ours", "TP peer", "dTP");
    double worstI = 0, worstLRA = 0, worstTP = 0;
    for (const auto& c : cases) {
        const Figures a = ours(c.file), b = theirs(c.file);
        const double dI = a.lufs - b.lufs, dL = a.lra - b.lra, dT = a.truePeak - b.truePeak;
        if (std::isfinite(dI))
            worstI = std::max(worstI, std::fabs(dI));
        if (std::isfinite(dL))
            worstLRA = std::max(worstLRA, std::fabs(dL));
        worstTP = std::max(worstTP, std::fabs(dT));
        std::printf("%-28s %9.3f %9.3f %7.3f | %8.2f %8.2f %6.2f | %7.2f %7.2f %6.2f\n", c.name, a.lufs,
                    b.lufs, dI, a.lra, b.lra, dL, a.truePeak, b.truePeak, dT);
    }
    std::printf("largest difference: integrated %.4f LU, LRA %.3f LU, true peak %.3f dB\n\n", worstI,
                worstLRA, worstTP);

    // Throughput: one 5-minute programme track, one thread, file reading included.
    const auto track = dir / "programme.wav";
    const double trackSeconds = 300.0;
    writeWav(track, 44100.0, static_cast<std::int64_t>(trackSeconds * 44100.0), programme(-12.0, 7u),
             AudioSampleFormat::int16);
    Figures a, b;
    double tOurs = 1e9, tPeer = 1e9;
    for (int run = 0; run < 3; ++run) {
        tOurs = std::min(tOurs, seconds([&] { a = ours(track); }));
        tPeer = std::min(tPeer, seconds([&] { b = theirs(track); }));
    }
    std::printf("whole track, %g s, one thread, true peak on (best of 3):\n", trackSeconds);
    std::printf("  ours        %.3f s  %6.1fx real time   I %.3f  LRA %.2f  TP %.2f\n", tOurs,
                trackSeconds / tOurs, a.lufs, a.lra, a.truePeak);
    std::printf("  libebur128  %.3f s  %6.1fx real time   I %.3f  LRA %.2f  TP %.2f\n", tPeer,
                trackSeconds / tPeer, b.lufs, b.lra, b.truePeak);
    std::printf("  ours / peer throughput: %.2fx\n\n", tPeer / tOurs);

    // The album on two threads.
    const int trackCount = 16;
    const double perTrack = albumMinutes * 60.0 / trackCount;
    std::vector<LoudnessJob> jobs;
    for (int i = 0; i < trackCount; ++i) {
        const auto path = dir / ("album-" + std::to_string(i) + ".wav");
        writeWav(path, 44100.0, static_cast<std::int64_t>(perTrack * 44100.0),
                 programme(-10.0 - (i % 5), 100u + i), AudioSampleFormat::int16);
        CDTrack t = trackOf(path);
        jobs.push_back(LoudnessJob{t.id, t, t.title, true});
    }
    std::atomic<bool> cancelled{false};
    std::vector<std::optional<TrackLoudnessData>> results;
    const double tAlbum = seconds([&] { results = LoudnessJobs::measureJobs(jobs, 2, cancelled); });
    std::vector<TrackLoudnessData> datas;
    for (auto& r : results)
        if (r)
            datas.push_back(*r);
    const auto album = LoudnessAnalyzer::albumSummary(datas);
    std::printf("album of %.1f min (%d tracks), two threads: %.2f s (%.0fx real time)", albumMinutes,
                trackCount, tAlbum, albumMinutes * 60.0 / tAlbum);
    if (album)
        std::printf("; album I %.2f LUFS, TP %.2f dBTP, LRA %.2f LU", album->lufs, album->truePeak,
                    album->lra.value_or(NAN));
    std::printf("\n");
    fs::remove_all(dir);
    return 0;
}
