// orvane_timeline_shot OUTDIR: the main window on a hand-built disc that shows every timeline shape
// (fades, an envelope with a hovered point, a crossfade, unlocked INDEX flags with a sub-index, a loop,
// the pin and the playhead), written as PNGs of the window and of the timeline alone. A developer's
// tool for looking at the canvas; never installed.

#include "app/MainWindow.h"
#include "app/OrvaneApp.h"
#include "app/Theme.h"
#include "app/TimelineView.h"
#include "interface/TimelineOverlays.h"
#include "model/RedBook.h"

#include <QApplication>
#include <QDir>
#include <QMouseEvent>
#include <QTimer>
#include <cmath>
#include <cstdio>

using namespace orvane;
using namespace orvane::app;

namespace {

// Peaks of a phrase that swells and breathes, one min/max pair per 32 samples.
std::vector<float> phrasePeaks(std::int64_t samples, double seed) {
    std::vector<float> peaks(static_cast<std::size_t>(samples / 32) * 2);
    const double buckets = static_cast<double>(peaks.size() / 2);
    for (std::size_t b = 0; b < peaks.size() / 2; ++b) {
        const double t = static_cast<double>(b) / buckets;
        const double body = 0.35 + 0.35 * std::sin(3.0 * t + seed) * std::sin(11.0 * t + 2.0 * seed);
        const double beat = 0.18 * std::pow(std::fabs(std::sin(static_cast<double>(b) * 0.0021 + seed)), 6.0);
        const auto level = static_cast<float>(std::clamp(std::fabs(body) + beat + 0.08, 0.0, 0.98));
        peaks[2 * b] = -level * 0.94f;
        peaks[2 * b + 1] = level;
    }
    return peaks;
}

CDProject disc() {
    CDProject project;
    project.albumTitle = "Canvas";
    const char* titles[] = {"Overture", "Long Way Down", "Glass Harbour", "Coda"};
    const double seconds[] = {26.0, 34.0, 30.0, 22.0};
    for (int i = 0; i < 4; ++i) {
        CDTrack track = CDTrack::make(titles[i], std::nullopt, 150,
                                      static_cast<std::int64_t>(seconds[i] * RedBook::sampleRate));
        track.fadeInSamples = i == 0 ? 3 * RedBook::sampleRate : 0;
        track.fadeOutSamples = 2 * RedBook::sampleRate;
        track.fadeOutCurve = -0.4f;
        project.tracks.push_back(track);
    }
    // An envelope dipping under the second track's middle.
    CDTrack& second = project.tracks[1];
    second.envelopeEnabled = true;
    second.gainPoints = {{Uuid::random(), 6 * RedBook::sampleRate, 0.0f, std::nullopt},
                         {Uuid::random(), 12 * RedBook::sampleRate, -9.0f, std::nullopt},
                         {Uuid::random(), 20 * RedBook::sampleRate, -9.0f, std::nullopt},
                         {Uuid::random(), 26 * RedBook::sampleRate, -2.0f, std::nullopt}};
    second.indexLocked = false;
    second.index01OffsetFrames = 75;
    second.subIndexFrames = {10 * RedBook::framesPerSecond};
    // The third track crossfades out of the second over three seconds.
    project.tracks[2].preGap = CDTime::frames(-3 * RedBook::framesPerSecond);
    project.tracks[2].crossfadeCurve = 0.5f;
    project.tracks[2].fadeOutSamples = 0;
    project.tracks[1].fadeOutSamples = 0;
    project.tracks[3].indexLocked = false;
    return project;
}

} // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    if (argc != 2) {
        std::fprintf(stderr, "usage: orvane_timeline_shot OUTDIR\n");
        return 2;
    }
    const QString outDir = QString::fromLocal8Bit(argv[1]);
    QDir().mkpath(outDir);
    Theme::apply(application);
    Theme::registerBundleFonts(Theme::fontFolder());

    AppOptions options;
    options.offlineAudio = true;
    OrvaneApp app(options);
    WorkspaceState& workspace = app.workspace();
    workspace.importProject(disc());
    workspace.recalculateTimeline(ReloadPlayback::yes);
    double seed = 0.3;
    for (const auto& track : workspace.project().tracks) {
        workspace.storePeaks(track.id, phrasePeaks(track.sourceAudioSamples, seed));
        seed += 1.7;
    }
    workspace.setSelectedTrackID(workspace.project().tracks[1].id);
    workspace.setLoopStartFrame(44 * RedBook::framesPerSecond);
    workspace.setLoopEndFrame(52 * RedBook::framesPerSecond);
    app.engine().seek(47 * RedBook::sampleRate);
    workspace.setCurrentSample(47 * RedBook::sampleRate);
    app.showWindow();
    MainWindow& window = app.window();
    window.resize(1600, 900);
    TimelineView& timeline = window.timeline();

    QTimer::singleShot(400, [&] {
        timeline.setPixelsPerSecond(timeline.width() / 124.0);
        // The pointer resting on the envelope's second point shows its level.
        const auto& track = workspace.project().tracks[1];
        const auto& position = workspace.trackPositions()[1];
        const TimelineOverlays::AudioSpan span{timeline.xForFrame(position.audioStartLBA) +
                                                   timeline.originX(),
                                               timeline.xForFrame(position.audioEndLBA) + timeline.originX()};
        const auto lane = TimelineGeometry::lane(timeline.canvasHeight());
        const Point p = TimelineOverlays::envelopePoint(track.gainPoints[1], track, span, lane);
        const QPointF at(p.x - timeline.originX(), p.y);
        QMouseEvent hover(QEvent::MouseMove, at, timeline.mapToGlobal(at), Qt::NoButton, Qt::NoButton, {});
        QApplication::sendEvent(&timeline, &hover);
    });
    QTimer::singleShot(900, [&] {
        for (const auto& [image, name] :
             {std::pair{window.grab().toImage(), QStringLiteral("timeline-window.png")},
              std::pair{timeline.grab().toImage(), QStringLiteral("timeline.png")}}) {
            const QString path = outDir + QLatin1Char('/') + name;
            std::printf("%s %s\n", image.save(path) ? "wrote" : "could not write", qPrintable(path));
        }
        QCoreApplication::exit(0);
    });
    return application.exec();
}
