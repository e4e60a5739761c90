// orvane-cli play: plays a project's disc through the real playback engine (ring, producer and
// output callback), showing the time, the track and the meters, or records what reached the
// output to a WAV through the offline device.

#include "cli/Commands.h"
#include "model/TimelineCalculator.h"
#include "monitoring/PlaybackEngine.h"
#include "platform/DefaultsStore.h"
#include "platform/MainLoop.h"
#include "platform/OfflineAudioOutput.h"
#include "platform/SystemAudioOutput.h"
#include "workspace/ProjectStore.h"

#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <optional>
#include <string>
#include <thread>

namespace orvane::cli {

namespace {

constexpr const char* kHelp =
    R"(usage: orvane-cli play PROJECT [--from SECONDS] [--seconds N] [--device NAME|offline]
                       [--capture OUT.wav [--fast]]

Plays the project's disc through the playback engine and shows the time, the track and the
meters on one line (plain lines when the output is not a terminal). Playback ends at the end of
the disc, after --seconds, or on Ctrl-C.

  --from SECONDS     start at this time on the disc (default 0)
  --seconds N        play at most N seconds
  --device NAME      an output device by name or uid ('orvane-cli devices' lists them); 'offline'
                     plays on the offline device's clock without sound
  --capture OUT.wav  play on the offline device and record exactly what reached the output as a
                     32-bit float stereo WAV at 44.1 kHz
  --fast             with --capture: as fast as the engine renders, not in real time

exit status: 0 played, 1 the project, the device or the capture failed, 2 usage error
)";

struct PlayOptions {
    std::string project;
    double fromSeconds = 0.0;
    std::optional<double> seconds;
    std::optional<std::string> device;
    std::optional<std::string> capture;
    bool fast = false;
};

std::optional<double> parseSeconds(const std::string& text) {
    try {
        std::size_t used = 0;
        const double value = std::stod(text, &used);
        if (used != text.size() || !std::isfinite(value) || value < 0)
            return std::nullopt;
        return value;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

// Fills `options`; gives the usage error's text, or nothing when the arguments are good.
std::optional<std::string> parseOptions(Args args, PlayOptions& options) {
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        const bool takesValue = a == "--from" || a == "--seconds" || a == "--device" || a == "--capture";
        if (takesValue && i + 1 >= args.size())
            return a + " needs a value";
        if (a == "--from" || a == "--seconds") {
            const auto value = parseSeconds(args[++i]);
            if (!value)
                return a + " takes a number of seconds, 0 or more";
            (a == "--from" ? options.fromSeconds : options.seconds.emplace()) = *value;
        } else if (a == "--device") {
            options.device = args[++i];
        } else if (a == "--capture") {
            options.capture = args[++i];
        } else if (a == "--fast") {
            options.fast = true;
        } else if (!a.empty() && a[0] == '-') {
            return "unknown option '" + a + "'";
        } else if (options.project.empty()) {
            options.project = a;
        } else {
            return "one project at a time";
        }
    }
    if (options.project.empty())
        return "a project is needed";
    if (options.fast && !options.capture)
        return "--fast needs --capture";
    if (options.capture && options.device && *options.device != OfflineAudioOutput::deviceUID)
        return "--capture plays on the offline device only";
    return std::nullopt;
}

std::string levelText(float linear) {
    if (linear <= 0.0f)
        return " -inf";
    char text[16];
    std::snprintf(text, sizeof text, "%5.1f", 20.0 * std::log10(static_cast<double>(linear)));
    return text;
}

// What is being heard now. The published playhead moves only on display ticks, which a --fast run
// outpaces, so a rolling transport is read from the output's own counters.
double statusTime(const PlaybackEngine& engine) {
    return engine.isPlaying() ? engine.heardPosition().seconds : engine.currentTime();
}

// One status line: time, track, peak levels in dBFS and the running integrated loudness.
// `meterClock` is the host time the meters are read at: the present, or in a --fast run the output's
// own clock, which runs ahead of the present.
std::string statusLine(const PlaybackEngine& engine, double meterClock) {
    const double t = statusTime(engine);
    const auto track = engine.trackIndex(t);
    const auto levels = engine.metering().meterLevels(meterClock);
    const auto lufs = engine.metering().rtIntegratedLUFS();
    char text[160];
    std::snprintf(text, sizeof text, "%02d:%05.2f  track %s  L %s  R %s dBFS  %s LUFS",
                  static_cast<int>(t / 60), std::fmod(t, 60.0),
                  track ? std::to_string(*track + 1).c_str() : "-", levelText(levels.peakL).c_str(),
                  levelText(levels.peakR).c_str(),
                  lufs ? std::to_string(static_cast<int>(std::lround(*lufs))).c_str() : "-");
    return text;
}

class StatusPrinter {
  public:
    StatusPrinter() : terminal_(::isatty(STDOUT_FILENO) == 1) {}
    // On a terminal the line is redrawn in place; elsewhere a plain line each `plainEvery` seconds.
    void show(const PlaybackEngine& engine, bool force = false,
              std::optional<double> meterClock = std::nullopt) {
        const double clock = meterClock.value_or(Metering::mediaTimeSeconds());
        const double t = statusTime(engine);
        if (terminal_) {
            std::printf("\r%s\033[K", statusLine(engine, clock).c_str());
            std::fflush(stdout);
        } else if (force || !lastPlain_ || t - *lastPlain_ >= 1.0 || t < *lastPlain_) {
            std::printf("%s\n", statusLine(engine, clock).c_str());
            lastPlain_ = t;
        }
    }
    void finish() {
        if (terminal_)
            std::printf("\n");
    }

  private:
    bool terminal_;
    std::optional<double> lastPlain_;
};

// Waits (bounded) for the producer to put `frames` frames in the ring; false if it never does.
bool waitForRing(const PlaybackEngine& engine, std::int64_t frames) {
    const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (engine.ringFilledFrames() < frames) {
        if (std::chrono::steady_clock::now() > giveUp)
            return false;
        std::this_thread::sleep_for(std::chrono::microseconds(500));
    }
    return true;
}

// Frames to play from `from` on: to the end of the disc, or --seconds.
std::int64_t framesToPlay(const PlaybackEngine& engine, const PlayOptions& options) {
    const double rest = std::max(engine.totalTime() - engine.currentTime(), 0.0);
    const double seconds = options.seconds ? std::min(*options.seconds, rest) : rest;
    return static_cast<std::int64_t>(std::llround(seconds * PlaybackEngine::sampleRate));
}

// --fast: this thread is the output's clock, pulling only what the producer has made, so the
// capture is the whole span without an underrun.
int playFast(PlaybackEngine& engine, OfflineAudioOutput& offline, MainLoop& loop, std::int64_t frames) {
    StatusPrinter printer;
    std::int64_t done = 0;
    std::optional<double> outputClock;
    while (done < frames) {
        const std::int64_t n = std::min<std::int64_t>(frames - done, 4096);
        if (!waitForRing(engine, n)) {
            std::fprintf(stderr, "orvane-cli play: the producer stopped delivering audio\n");
            return 1;
        }
        auto pulled = offline.pull(static_cast<std::size_t>(n));
        if (!pulled) {
            std::fprintf(stderr, "orvane-cli play: %s\n", pulled.error().c_str());
            return 1;
        }
        if (!pulled->blockHostTimesSeconds.empty())
            outputClock = pulled->blockHostTimesSeconds.back();
        done += n;
        loop.runOneTurn();
        printer.show(engine, false, outputClock);
    }
    printer.show(engine, true, outputClock);
    printer.finish();
    return 0;
}

// Real time: the device's thread pulls; this one runs the main loop and the status line.
int playRealTime(PlaybackEngine& engine, MainLoop& loop, std::int64_t frames) {
    StatusPrinter printer;
    const auto start = std::chrono::steady_clock::now();
    const double seconds = static_cast<double>(frames) / PlaybackEngine::sampleRate;
    while (engine.isPlaying()) {
        loop.runOneTurn();
        printer.show(engine);
        if (std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() >= seconds)
            break;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    printer.show(engine, true);
    printer.finish();
    return 0;
}

std::optional<std::uint32_t> findDevice(AudioOutput& output, const std::string& nameOrUID) {
    for (const auto& d : output.devices())
        if (d.uid == nameOrUID || d.name == nameOrUID)
            return d.id;
    return std::nullopt;
}

int playThrough(AudioOutput& output, OfflineAudioOutput* offline, const PlayOptions& options,
                const CDProject& project, const std::vector<TrackPosition>& positions) {
    std::optional<std::uint32_t> device;
    if (options.device && !options.capture) {
        device = findDevice(output, *options.device);
        if (!device) {
            std::fprintf(stderr, "orvane-cli play: unknown output device '%s'\n", options.device->c_str());
            return 1;
        }
    }
    MainLoop loop;
    PlaybackEngine engine(loop, DefaultsStore::standard(), output);
    engine.load(project, positions);
    engine.seek(options.fromSeconds);
    const std::int64_t frames = framesToPlay(engine, options);
    if (frames <= 0 && !positions.empty()) {
        std::fprintf(stderr, "orvane-cli play: nothing to play from %.3f s on (the disc is %.3f s long)\n",
                     options.fromSeconds, engine.totalTime());
        return 1;
    }
    if (options.capture) {
        // The stream starts only once the ring is full, so the capture begins with the first frame
        // played and holds no silence ahead of it.
        output.stop();
        offline->setCapturePath(std::filesystem::path(*options.capture));
        offline->setPacing(options.fast ? OfflinePacing::manual : OfflinePacing::realTime);
    } else if (device) {
        engine.reopenOutput(device);
    }
    if (!engine.isEngineRunning() && !options.capture)
        return 1; // the engine said why
    engine.play();
    if (!engine.isPlaying()) {
        std::fprintf(stderr, "orvane-cli play: the project has no tracks to play\n");
        return 1;
    }
    if (options.capture) {
        if (!waitForRing(engine, 16384)) {
            std::fprintf(stderr, "orvane-cli play: the producer delivered no audio\n");
            return 1;
        }
        engine.reopenOutput(OfflineAudioOutput::deviceID);
        if (!engine.isEngineRunning())
            return 1;
    }
    const int status =
        options.fast ? playFast(engine, *offline, loop, frames) : playRealTime(engine, loop, frames);
    engine.pause();
    output.stop();
    if (offline && options.capture) {
        if (const auto error = offline->captureError(); !error.empty()) {
            std::fprintf(stderr, "orvane-cli play: the capture failed: %s\n", error.c_str());
            return 1;
        }
    }
    std::printf("played %.3f s, %llu underruns\n", static_cast<double>(frames) / PlaybackEngine::sampleRate,
                static_cast<unsigned long long>(engine.underrunCount()));
    return status;
}

} // namespace

int runPlay(Args args) {
    if (wantsHelp(args)) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    PlayOptions options;
    if (const auto usage = parseOptions(args, options)) {
        std::fprintf(stderr, "orvane-cli play: %s\n%s", usage->c_str(), kHelp);
        return 2;
    }
    CDProject project;
    try {
        project = ProjectStore::load(options.project).project;
    } catch (const ProjectStoreError& error) {
        std::fprintf(stderr, "orvane-cli play: %s\n", error.what());
        return 1;
    }
    const auto positions = TimelineCalculator::calculatePositions(project);
    if (!positions) {
        std::fprintf(stderr, "orvane-cli play: the disc can't be laid out: %s\n",
                     positions.error().description().c_str());
        return 1;
    }
    if (options.capture) {
        OfflineAudioOutput offline;
        return playThrough(offline, &offline, options, project, *positions);
    }
    const auto system = makeSystemAudioOutput();
    return playThrough(*system, nullptr, options, project, *positions);
}

} // namespace orvane::cli
