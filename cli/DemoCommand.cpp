// orvane-cli demo: a small album made from synthesised audio, so the whole road can be tried without
// any material of one's own: files at several rates and containers, a crossfade, an audible pre-gap,
// sub-indexes, fades, gain and an envelope.

#include "cli/Commands.h"
#include "cli/DemoAudio.h"
#include "model/CDProject.h"
#include "model/FileURL.h"
#include "model/RedBook.h"
#include "platform/AudioFileWriter.h"
#include "workspace/ProjectStore.h"

#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

namespace orvane::cli {

namespace {

constexpr const char* kHelp = R"(usage: orvane-cli demo OUTDIR

Synthesises five short source files (WAV, AIFF and FLAC at 44.1, 48 and 96 kHz) into OUTDIR and
writes OUTDIR/Demo.ovproj, an album that uses them with a crossfade, an audible pre-gap,
sub-indexes, fades, gain and an envelope. OUTDIR is created if needed; existing files of the same
names are replaced.
)";

struct DemoSource {
    const char* fileName;
    const char* title;
    const char* isrc;
    double sampleRate;
    AudioSampleFormat sampleFormat;
    double seconds;
    DemoVoice voice;
};

const std::vector<DemoSource>& demoSources() {
    static const std::vector<DemoSource> sources{
        {"01 Opening.wav", "Opening", "NLA1E2600001", 44100.0, AudioSampleFormat::int16, 24.0, {220.0, 0.0}},
        {"02 Segue.wav", "Segue", "NLA1E2600002", 44100.0, AudioSampleFormat::int24, 18.0, {329.63, 0.3}},
        {"03 Interlude.flac",
         "Interlude",
         "NLA1E2600003",
         48000.0,
         AudioSampleFormat::int24,
         12.0,
         {261.63, 0.8}},
        {"04 Ballad.aiff", "Ballad", "NLA1E2600004", 44100.0, AudioSampleFormat::int16, 26.0, {196.0, 0.1}},
        {"05 Closing.wav", "Closing", "NLA1E2600005", 96000.0, AudioSampleFormat::int24, 15.0, {246.94, 0.5}},
    };
    return sources;
}

bool writeSource(const std::filesystem::path& path, const DemoSource& source, std::string& error) {
    AudioWriteSettings settings;
    settings.sampleFormat = source.sampleFormat;
    settings.sampleRate = source.sampleRate;
    settings.channelCount = 2;
    auto writer = AudioFileWriter::open(path, settings);
    if (!writer) {
        error = writer.error().message;
        return false;
    }
    const auto totalFrames = static_cast<std::int64_t>(source.seconds * source.sampleRate);
    DemoSynth synth{source.voice, source.sampleRate, totalFrames};
    AudioBuffer buffer{source.sampleRate, 2, 8192};
    for (std::int64_t done = 0; done < totalFrames;) {
        const auto n = static_cast<std::size_t>(std::min<std::int64_t>(8192, totalFrames - done));
        synth.render(buffer.channel(0), buffer.channel(1), n);
        buffer.setFrameLength(n);
        if (auto written = writer->write(buffer); !written) {
            error = written.error().message;
            return false;
        }
        done += static_cast<std::int64_t>(n);
    }
    if (auto finished = writer->finish(); !finished) {
        error = finished.error().message;
        return false;
    }
    return true;
}

CDProject demoProject(const std::filesystem::path& folder) {
    CDProject project;
    project.albumTitle = "Orvane Demo";
    project.albumPerformer = "The Test Signals";
    project.mcn = "4006381333931";
    project.genreCode = 5;
    project.masterNote = "Synthesised demo material";

    for (const auto& source : demoSources()) {
        const auto frames = static_cast<std::int64_t>(source.seconds * source.sampleRate);
        CDTrack track = CDTrack::make(source.title, std::string{source.isrc}, RedBook::track1PregapFrames,
                                      RedBook::discSamplesForFileLength(frames, source.sampleRate));
        track.audioFileURL = FileURL::fromPath(folder / source.fileName);
        track.performer = "The Test Signals";
        project.tracks.push_back(std::move(track));
    }
    auto& tracks = project.tracks;
    tracks[0].fadeInSamples = 44100;
    tracks[0].fadeInCurve = 0.5f;
    // A one-second crossfade into track 2 with an equal-power law.
    tracks[1].preGap = CDTime::frames(-75);
    tracks[1].crossfadeCurve = 1.0f;
    // Track 3 starts after two seconds of silence, with half a second of audible pre-gap.
    tracks[2].indexLocked = false;
    tracks[2].index01OffsetFrames = 37;
    tracks[3].preGap = CDTime::frames(75);
    tracks[3].gainEnabled = true;
    tracks[3].gainDB = -1.5f;
    tracks[3].envelopeEnabled = true;
    tracks[3].gainPoints = {GainPoint{Uuid::random(), 0, 0.0f, std::nullopt},
                            GainPoint{Uuid::random(), 44100 * 10, -3.0f, std::nullopt},
                            GainPoint{Uuid::random(), 44100 * 20, 0.0f, 0.5f}};
    tracks[3].subIndexFrames = {750, 1500};
    tracks[4].fadeOutSamples = 44100 * 3;
    tracks[4].fadeOutCurve = -0.5f;
    return project;
}

} // namespace

int runDemo(Args args) {
    if (wantsHelp(args)) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    if (args.size() != 1 || args[0].empty() || args[0][0] == '-') {
        std::fputs(kHelp, stderr);
        return 2;
    }
    const std::filesystem::path folder = std::filesystem::absolute(args[0]);
    std::error_code ec;
    std::filesystem::create_directories(folder, ec);
    if (ec) {
        std::fprintf(stderr, "orvane-cli demo: cannot create %s: %s\n", folder.c_str(), ec.message().c_str());
        return 1;
    }
    for (const auto& source : demoSources()) {
        std::string error;
        if (!writeSource(folder / source.fileName, source, error)) {
            std::fprintf(stderr, "orvane-cli demo: %s: %s\n", source.fileName, error.c_str());
            return 1;
        }
        std::printf("wrote %s\n", (folder / source.fileName).c_str());
    }
    const auto document = folder / ("Demo." + std::string{ProjectStore::fileExtension});
    try {
        ProjectStore::save(demoProject(folder), document);
    } catch (const ProjectStoreError& e) {
        std::fprintf(stderr, "orvane-cli demo: %s\n", e.what());
        return 1;
    }
    std::printf("wrote %s\n", document.c_str());
    return 0;
}

} // namespace orvane::cli
