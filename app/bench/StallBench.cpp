// orvane_stall_bench [seconds]: how long the GUI thread goes without turning its event loop while the
// desktop plays a 99-track disc on the offline device with every meter shown, the playhead followed
// across the timeline. A watchdog timer asks to fire every millisecond and records each gap between
// two firings; the same watchdog over the idle window is the peer. Prints a table; the target is no
// gap over 16 ms during playback (60 s unless told otherwise).

#include "app/MainWindow.h"
#include "app/OrvaneApp.h"
#include "app/Theme.h"
#include "app/tests/AppTestSupport.h"
#include "workspace/ProjectStore.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTimer>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

using namespace orvane;
using namespace orvane::app;

namespace {

constexpr int trackCount = 99;
constexpr double trackSeconds = 79.0 * 60.0 / trackCount - 2.0;

struct Gaps {
    double worstMs = 0.0;
    double p99Ms = 0.0;
    int over16 = 0;
    std::size_t ticks = 0;
};

// Runs the event loop for `seconds` with a 1 ms watchdog and sums up the gaps it saw.
Gaps watch(double seconds) {
    std::vector<double> gaps;
    QElapsedTimer clock;
    clock.start();
    qint64 last = clock.nsecsElapsed();
    QTimer watchdog;
    watchdog.setTimerType(Qt::PreciseTimer);
    watchdog.setInterval(1);
    QObject::connect(&watchdog, &QTimer::timeout, [&] {
        const qint64 now = clock.nsecsElapsed();
        gaps.push_back(static_cast<double>(now - last) / 1e6);
        last = now;
    });
    watchdog.start();
    QTimer::singleShot(static_cast<int>(seconds * 1000.0), [] { QCoreApplication::exit(0); });
    QCoreApplication::exec();
    watchdog.stop();
    Gaps result;
    result.ticks = gaps.size();
    if (gaps.empty()) {
        return result;
    }
    result.over16 =
        static_cast<int>(std::count_if(gaps.begin(), gaps.end(), [](double g) { return g > 16.0; }));
    std::sort(gaps.begin(), gaps.end());
    result.worstMs = gaps.back();
    result.p99Ms = gaps[std::min(gaps.size() - 1, gaps.size() * 99 / 100)];
    return result;
}

} // namespace

int main(int argc, char** argv) {
    const double seconds = argc > 1 ? std::max(1.0, std::atof(argv[1])) : 60.0;
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QTemporaryDir home;
    qputenv("XDG_CONFIG_HOME", (home.path() + QStringLiteral("/config")).toUtf8());
    qputenv("XDG_DATA_HOME", (home.path() + QStringLiteral("/data")).toUtf8());
    const auto document =
        testing::writeSharedSourceDisc(home.path().toStdString(), trackCount, trackSeconds, 440.0);

    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    Theme::apply(application);
    AppOptions options;
    options.offlineAudio = true;
    OrvaneApp app(options);
    AppSettings& settings = app.settings();
    settings.setShowVUMeter(true);
    settings.setShowSpectrum(true);
    settings.setShowCorrelation(true);
    settings.setShowRTLufs(true);
    settings.setShowInspector(true);
    app.openDocuments({document});
    app.window().resize(1920, 1080);
    app.showWindow();
    // Let the document open and its first peaks and layout settle before anything is timed.
    watch(2.0);
    if (app.workspace().project().tracks.size() != trackCount) {
        std::fprintf(stderr, "the document did not open\n");
        return 1;
    }
    app.workspace().setScrollMode(ScrollMode::page);
    const Gaps idle = watch(std::min(seconds, 10.0));
    app.engine().seek(0);
    app.engine().play();
    const Gaps playing = watch(seconds);
    const bool played = app.engine().isPlaying() && app.engine().currentSample() > 0;
    app.engine().stop();

    std::printf("%-52s %8s %8s %8s %8s\n", "case (1920 x 1080, offscreen, all meters)", "worst ms", "p99 ms",
                ">16 ms", "ticks");
    std::printf("%-52s %8.2f %8.2f %8d %8zu\n", "peer: idle window", idle.worstMs, idle.p99Ms, idle.over16,
                idle.ticks);
    std::printf("%-52s %8.2f %8.2f %8d %8zu\n", "playing, page follow, offline device", playing.worstMs,
                playing.p99Ms, playing.over16, playing.ticks);
    std::printf("(%.0f s of playback%s)\n", seconds, played ? "" : "; playback did not run");
    std::printf("target: no stall over 16 ms while playing -> %s\n",
                playing.worstMs <= 16.0 ? "met" : "missed");
    return played ? 0 : 1;
}
