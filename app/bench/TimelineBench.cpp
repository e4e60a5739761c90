// orvane_app_bench: the timeline's full redraw on the software path (offscreen platform) for a
// 99-track, 79-minute disc at 1920 x 1080, beside the same view drawing an empty disc (ruler and
// background only) as the peer, and the time from nothing to the first painted main window with that
// disc. Prints a table; the target for the full redraw is 8 ms.

#include "app/MainWindow.h"
#include "app/OrvaneApp.h"
#include "app/Theme.h"
#include "app/TimelineView.h"

#include <QApplication>
#include <QImage>
#include <QTemporaryDir>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <vector>

using namespace orvane;
using namespace orvane::app;

namespace {

using Clock = std::chrono::steady_clock;

CDProject longDisc() {
    CDProject project;
    project.albumTitle = "Bench";
    const std::int64_t trackSamples = (79LL * 60 * 44100) / 99 - 2 * 44100;
    for (int i = 0; i < 99; ++i) {
        CDTrack track =
            CDTrack::make("Track " + std::to_string(i + 1), std::nullopt, i == 0 ? 150 : 150, trackSamples);
        track.fadeInSamples = 44100;
        track.fadeOutSamples = 2 * 44100;
        project.tracks.push_back(track);
    }
    return project;
}

// Min/max pairs of a swelling tone, one pair per 32 samples, as the peak reader makes them.
std::vector<float> peaksFor(std::int64_t samples, int seed) {
    std::vector<float> peaks(static_cast<std::size_t>(samples / 32) * 2);
    for (std::size_t b = 0; b < peaks.size() / 2; ++b) {
        const float level = 0.2f + 0.7f * std::fabs(std::sin(0.0007f * static_cast<float>(b) + seed));
        peaks[2 * b] = -level;
        peaks[2 * b + 1] = level * 0.9f;
    }
    return peaks;
}

// Median milliseconds of `rounds` full renders of the view.
double renderMs(TimelineView& view, int rounds) {
    QImage image(view.size(), QImage::Format_ARGB32_Premultiplied);
    std::vector<double> times;
    for (int r = 0; r < rounds; ++r) {
        const auto start = Clock::now();
        view.render(&image);
        times.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QTemporaryDir home;
    qputenv("XDG_CONFIG_HOME", (home.path() + QStringLiteral("/config")).toUtf8());
    qputenv("XDG_DATA_HOME", (home.path() + QStringLiteral("/data")).toUtf8());
    QApplication application(argc, argv);
    Theme::apply(application);
    AppOptions options;
    options.offlineAudio = true;

    // Start to first paint: the app made, the disc set, the window shown and painted once.
    const auto started = Clock::now();
    OrvaneApp app(options);
    app.workspace().importProject(longDisc());
    app.window().resize(1920, 1080);
    app.showWindow();
    QImage first(app.window().size(), QImage::Format_ARGB32_Premultiplied);
    app.window().render(&first);
    const double startMs = std::chrono::duration<double, std::milli>(Clock::now() - started).count();

    TimelineView empty(app.workspace());
    empty.resize(1920, 1080);
    WorkspaceState& workspace = app.workspace();
    const CDProject disc = workspace.project();
    int seed = 0;
    for (const auto& track : disc.tracks) {
        workspace.storePeaks(track.id, peaksFor(track.sourceAudioSamples, seed++));
    }
    TimelineView full(workspace);
    full.resize(1920, 1080);
    const double fullMs = renderMs(full, 25);

    workspace.closeProject();
    const double emptyMs = renderMs(empty, 25);

    std::printf("%-52s %10s\n", "case (1920 x 1080, software)", "median ms");
    std::printf("%-52s %10.2f\n", "timeline, empty disc (peer)", emptyMs);
    std::printf("%-52s %10.2f\n", "timeline, 99 tracks / 79 min with waveforms", fullMs);
    std::printf("%-52s %10.2f\n", "start to first painted window, 99 tracks", startMs);
    std::printf("target: full redraw <= 8 ms -> %s\n", fullMs <= 8.0 ? "met" : "missed");
    return 0;
}
