// orvane-cli play: plays a project's disc through the real playback engine (ring, producer and
// output callback), showing the time, the track and the meters, or records what reached the
// output to a WAV through the offline device.

#include "cli/Commands.h"
#include "model/RedBook.h"
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
#include <utility>

namespace orvane::cli {

namespace {

constexpr const char* kHelp =
    R"(usage: orvane-cli play PROJECT [--from TIME] [--seconds N] [--loop IN OUT]
                       [--device NAME|offline] [--capture OUT.wav [--fast]]

Plays the project's disc through the playback engine and shows the time, the track and the
meters on one line (plain lines when the output is not a terminal). Playback ends at the end of
the disc, after --seconds, or on Ctrl-C.

  --from TIME        start here on the disc (default 0): seconds (12.5), CD frames (930f) or
                     minutes:seconds:frames (00:12:30)
  --seconds N        play at most N seconds
  --loop IN OUT      loop between two places on the disc, given like --from; the loop plays
                     until --seconds runs out, so --seconds is needed with it
  --device NAME      an output device by name or uid ('orvane-cli devices' lists them); 'offline'
                     plays on the offline device's clock without sound
  --capture OUT.wav  play on the offline device and record exactly what reached the output as a
                     32-bit float stereo WAV at 44.1 kHz
  --fast             with --capture: as fast as the engine renders, not in real time

exit status: 0 played, 1 the project, the device or the capture failed, 2 usage error
)";

struct PlayOptions {
    std::string project;
    std::int64_t fromSample = 0;
    std::optional<std::pair<std::int64_t, std::int64_t>> loopSamples;
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

// A place on the disc as a sample: seconds (rounded to the nearest sample), "930f" frames, or
// "mm:ss:ff". Frames are exact, so a loop given in frames plays exactly those frames.
std::optional<std::int64_t> parsePlace(const std::string& text) {
    constexpr std::int64_t spf = RedBook::samplesPerFrame;
    if (!text.empty() && text.back() == 'f') {
        const std::string digits = text.substr(0, text.size() - 1);
        if (digits.empty() || digits.size() > 12 ||
            digits.find_first_not_of("0123456789") != std::string::npos)
            return std::nullopt;
        return std::stoll(digits) * spf;
    }
    int minutes = 0;
    int seconds = 0;
    int frames = 0;
    char tail = 0;
    if (text.find(':') != std::string::npos) {
        if (std::sscanf(text.c_str(), "%3d:%2d:%2d%c", &minutes, &seconds, &frames, &tail) != 3 ||
            minutes < 0 || seconds < 0 || seconds > 59 || frames < 0 || frames > 74)
            return std::nullopt;
        return ((static_cast<std::int64_t>(minutes) * 60 + seconds) * RedBook::framesPerSecond + frames) *
               spf;
    }
    const auto value = parseSeconds(text);
    if (!value || *value > 1e7)
        return std::nullopt;
    return std::llround(*value * PlaybackEngine::sampleRate);
}

// Fills `options`; gives the usage error's text, or nothing when the arguments are good.
std::optional<std::string> parseOptions(Args args, PlayOptions& options) {
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        const bool takesValue = a == "--from" || a == "--seconds" || a == "--device" || a == "--capture";
        if (takesValue && i + 1 >= args.size())
            return a + " needs a value";
        if (a == "--loop" && i + 2 >= args.size())
            return "--loop needs two places";
        if (a == "--seconds") {
            const auto value = parseSeconds(args[++i]);
            if (!value)
                return a + " takes a number of seconds, 0 or more";
            options.seconds = *value;
        } else if (a == "--from") {
            const auto place = parsePlace(args[++i]);
            if (!place)
                return "--from takes seconds, frames (930f) or mm:ss:ff";
            options.fromSample = *place;
        } else if (a == "--loop") {
            const auto in = parsePlace(args[++i]);
            const auto out = parsePlace(args[++i]);
            if (!in || !out || *in >= *out)
                return "--loop takes two places, the first before the second";
            options.loopSamples = std::make_pair(*in, *out);
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
    if (options.loopSamples && !options.seconds)
        return "--loop needs --seconds";
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
    return engine.isPlaying()
               ? static_cast<double>(engine.heardPosition().sample) / PlaybackEngine::sampleRate
               : engine.currentTime();
}

// One status line: time, track, peak levels in dBFS and the running integrated loudness.
// `meterClock` is the host time the meters are read at: the present, or in a --fast run the output's
// own clock, which runs ahead of the present.
std::string statusLine(const PlaybackEngine& engine, double meterClock) {
    const double t = statusTime(engine);
    const auto track = engine.trackIndex(std::llround(t * PlaybackEngine::sampleRate));
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

// Frames to play from `from` on: to the end of the disc, or --seconds (a loop never ends by itself).
std::int64_t framesToPlay(const PlaybackEngine& engine, const PlayOptions& options) {
    const std::int64_t rest = std::max<std::int64_t>(engine.totalSamples() - engine.currentSample(), 0);
    const std::int64_t wanted =
        options.seconds ? std::llround(*options.seconds * PlaybackEngine::sampleRate) : rest;
    return options.loopSamples ? wanted : std::min(wanted, rest);
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
    if (options.loopSamples)
        engine.setLoopRange(options.loopSamples->first, options.loopSamples->second);
    engine.seek(options.fromSample);
    const std::int64_t frames = framesToPlay(engine, options);
    if (frames <= 0 && !positions.empty()) {
        std::fprintf(stderr, "orvane-cli play: nothing to play from %.3f s on (the disc is %.3f s long)\n",
                     static_cast<double>(options.fromSample) / PlaybackEngine::sampleRate,
                     engine.totalTime());
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
