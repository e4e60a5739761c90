// The timeline canvas on screen, driven with synthetic mouse events.

#include "app/tests/TimelineViewTest.h"

#include "app/MainWindow.h"
#include "app/NotificationCenter.h"
#include "app/OrvaneApp.h"
#include "app/Theme.h"
#include "app/TimelineView.h"
#include "app/TransportBar.h"
#include "app/WaveformStripCache.h"
#include "app/tests/AppTestSupport.h"
#include "interface/TimelineGeometry.h"
#include "interface/TimelineOverlays.h"
#include "interface/TransportBar.h"
#include "model/RedBook.h"

#include <QAction>
#include <QApplication>
#include <QLabel>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QPushButton>
#include <QTest>
#include <QWheelEvent>
#include <cmath>
#include <memory>

using namespace orvane;
using namespace orvane::app;
using namespace orvane::app::testing;

namespace {

constexpr double pps = 40.0;              // a second is 40 points
constexpr std::int64_t seconds8 = 352800; // 8 s of disc samples

// Every region the view was asked to paint.
class PaintRecorder final : public QObject {
  public:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Paint) {
            regions.push_back(static_cast<QPaintEvent*>(event)->region());
        }
        return QObject::eventFilter(watched, event);
    }
    std::vector<QRegion> regions;
};

// Min/max pairs of a steady tone, one pair per 32 samples.
std::vector<float> tonePeaks(std::int64_t samples) {
    std::vector<float> peaks(static_cast<std::size_t>(samples / 32) * 2);
    for (std::size_t b = 0; b < peaks.size() / 2; ++b) {
        peaks[2 * b] = -0.6f;
        peaks[2 * b + 1] = 0.6f;
    }
    return peaks;
}

std::vector<CDTrack> tracks(int count) {
    std::vector<CDTrack> list;
    for (int i = 0; i < count; ++i) {
        list.push_back(CDTrack::make("Track " + std::to_string(i + 1), std::nullopt, 150, seconds8));
    }
    return list;
}

// A workspace holding the given tracks as the saved state, and a timeline of its own on screen.
class Harness {
  public:
    explicit Harness(std::vector<CDTrack> list) : app_(headlessOptions()) {
        CDProject project;
        project.tracks = std::move(list);
        workspace().importProject(std::move(project));
        workspace().recalculateTimeline(ReloadPlayback::yes);
        for (const auto& track : workspace().project().tracks) {
            workspace().storePeaks(track.id, tonePeaks(track.sourceAudioSamples));
        }
        view = std::make_unique<TimelineView>(workspace(), app_.loop(), &app_.engine());
        view->resize(1400, 320);
        view->setPixelsPerSecond(pps);
        view->show();
        valid = QTest::qWaitForWindowExposed(view.get());
        settle();
    }

    ~Harness() { view.reset(); } // the view leaves the workspace before the app goes

    WorkspaceState& workspace() { return app_.workspace(); }
    OrvaneApp& app() { return app_; }
    const CDTrack& track(std::size_t i) { return workspace().project().tracks.at(i); }
    const TrackPosition& position(std::size_t i) { return workspace().trackPositions().at(i); }
    TimelineGeometry::Lane lane() const { return TimelineGeometry::lane(view->canvasHeight()); }
    double x(std::int64_t frame) const { return view->xForFrame(static_cast<double>(frame)); }

    // Lets the turn end (the undo group closes there) and every asked repaint happen.
    void settle() {
        for (int i = 0; i < 3; ++i) {
            QCoreApplication::sendPostedEvents();
            QCoreApplication::processEvents();
            app_.driver().runUntilIdle();
        }
    }

    void send(QEvent::Type type, QPointF at, Qt::MouseButton button, Qt::MouseButtons held,
              Qt::KeyboardModifiers keys = {}) {
        QMouseEvent event(type, at, view->mapToGlobal(at), button, held, keys);
        QApplication::sendEvent(view.get(), &event);
    }

    // A left-button drag in `steps` moves, each followed by its repaints; released unless asked not to.
    void drag(QPointF from, QPointF to, Qt::KeyboardModifiers keys = {}, bool release = true, int steps = 4) {
        send(QEvent::MouseButtonPress, from, Qt::LeftButton, Qt::LeftButton, keys);
        settle();
        for (int step = 1; step <= steps; ++step) {
            send(QEvent::MouseMove, from + (to - from) * (double(step) / steps), Qt::NoButton, Qt::LeftButton,
                 keys);
            settle();
        }
        if (release) {
            send(QEvent::MouseButtonRelease, to, Qt::LeftButton, Qt::NoButton, keys);
            settle();
        }
    }

    void doubleClick(QPointF at) {
        send(QEvent::MouseButtonPress, at, Qt::LeftButton, Qt::LeftButton);
        send(QEvent::MouseButtonRelease, at, Qt::LeftButton, Qt::NoButton);
        send(QEvent::MouseButtonDblClick, at, Qt::LeftButton, Qt::LeftButton);
        send(QEvent::MouseButtonRelease, at, Qt::LeftButton, Qt::NoButton);
        settle();
    }

    // Undoes once; true when that was the only step there was.
    bool undoOnlyStep() {
        if (!workspace().canUndo()) {
            return false;
        }
        workspace().undo();
        settle();
        return !workspace().canUndo();
    }

    std::unique_ptr<TimelineView> view;
    bool valid = false;

  private:
    static AppOptions headlessOptions() {
        AppOptions options;
        options.offlineAudio = true;
        return options;
    }
    PrivateHome home_;
    OrvaneApp app_;
};

} // namespace

// A fade-in pulled out of its handle: the view repaints only that track's band while it moves, the
// strip cache rebuilds only that track, and release plus undo are one step.
void TimelineViewTest::fadeDragRepaintsOnlyItsTrackAndUndoesInOneStep() {
    Harness h(tracks(5));
    QVERIFY(h.valid);
    // Nothing changed: a second full paint rebuilds no outline.
    const std::size_t before = h.view->stripCache().builds();
    QVERIFY(before > 0);
    h.view->repaint();
    QCOMPARE(h.view->stripCache().builds(), before);

    PaintRecorder recorder;
    h.view->installEventFilter(&recorder);
    const double x0 = h.x(h.position(2).audioStartLBA);
    h.drag(QPointF(x0, h.lane().top + 2.0), QPointF(x0 + 60.0, h.lane().top + 2.0), {}, false);
    QVERIFY(!recorder.regions.empty());
    QRegion painted;
    for (const QRegion& region : recorder.regions) {
        painted += region;
    }
    // The band the logic names for one track reaches 100 points past its ends, no further.
    const double bandLeft = h.x(h.position(2).startLBA) - 102.0;
    const double bandRight = h.x(h.position(2).endLBA) + 102.0;
    QVERIFY2(painted.boundingRect().left() >= bandLeft && painted.boundingRect().right() <= bandRight,
             qPrintable(QStringLiteral("painted %1..%2, band %3..%4")
                            .arg(painted.boundingRect().left())
                            .arg(painted.boundingRect().right())
                            .arg(bandLeft)
                            .arg(bandRight)));
    QVERIFY(!painted.intersects(QRect(0, 0, static_cast<int>(h.x(h.position(1).audioStartLBA)), 300)));
    const std::size_t rebuilt = h.view->stripCache().builds() - before;
    QVERIFY2(rebuilt >= 1 && rebuilt <= 4, qPrintable(QString::number(rebuilt)));
    // The document is untouched until release.
    QCOMPARE(h.track(2).fadeInSamples, std::int64_t(0));

    h.send(QEvent::MouseButtonRelease, QPointF(x0 + 60.0, h.lane().top + 2.0), Qt::LeftButton, Qt::NoButton);
    h.view->removeEventFilter(&recorder);
    h.settle();
    QCOMPARE(h.track(2).fadeInSamples, Viewport::samplesForDistance(60.0, pps));
    QCOMPARE(h.track(1).fadeInSamples, std::int64_t(0));
    QVERIFY(h.undoOnlyStep());
    QCOMPARE(h.track(2).fadeInSamples, std::int64_t(0));
}

// The trim edge at a track's end pulled left: the audio ends earlier, the next track follows.
void TimelineViewTest::trimDragShortensTheTrackInOneStep() {
    Harness h(tracks(3));
    QVERIFY(h.valid);
    const std::int64_t nextStart = h.position(1).audioStartLBA;
    const double x1 = h.x(h.position(0).audioEndLBA);
    const double y = h.lane().top + 0.6 * h.lane().height;
    h.drag(QPointF(x1 - 1.0, y), QPointF(x1 - 81.0, y));
    const std::int64_t trimmed = h.track(0).trimEndSamples;
    QVERIFY2(std::abs(trimmed - Viewport::samplesForDistance(80.0, pps)) <= RedBook::samplesPerFrame,
             qPrintable(QString::number(trimmed)));
    QCOMPARE(h.track(0).trimStartSamples, std::int64_t(0));
    QVERIFY(h.position(1).audioStartLBA < nextStart);
    QVERIFY(h.undoOnlyStep());
    QCOMPARE(h.track(0).trimEndSamples, std::int64_t(0));
    QCOMPARE(h.position(1).audioStartLBA, nextStart);
}

// Two tracks overlapping by two seconds: the crossfade's handle dragged up bends the curve.
void TimelineViewTest::crossfadeHandleSetsTheCurveInOneStep() {
    auto list = tracks(2);
    list[1].preGap = CDTime::frames(-150);
    Harness h(std::move(list));
    QVERIFY(h.valid);
    const auto overlap = TimelineOverlays::crossfadeOverlapRect(h.position(0), h.position(1), pps, h.lane());
    QVERIFY(overlap.has_value());
    QCOMPARE(overlap->width, 80.0);
    const Point handle = TimelineOverlays::crossfadeHandlePoint(*overlap, 0.0f);
    const QPointF at(handle.x - h.view->originX(), handle.y);
    const double toY = handle.y - 30.0;
    h.drag(at, QPointF(at.x(), toY));
    const float curve = h.track(1).crossfadeCurve;
    QVERIFY(curve > 0.0f);
    QCOMPARE(curve, TimelineOverlays::crossfadeCurveFromY(toY, h.lane()));
    QCOMPARE(h.track(0).crossfadeCurve, 0.0f);
    QVERIFY(h.undoOnlyStep());
    QCOMPARE(h.track(1).crossfadeCurve, 0.0f);
}

// A point of the envelope dragged down, one added by a double click in the audio, and one removed by
// a double click on it: one undo step each.
void TimelineViewTest::envelopePointsAreMovedAddedAndRemoved() {
    auto list = tracks(2);
    list[0].envelopeEnabled = true;
    list[0].gainPoints.push_back(GainPoint{Uuid::random(), 2 * 44100, -6.0f, std::nullopt});
    Harness h(std::move(list));
    QVERIFY(h.valid);
    const TimelineOverlays::AudioSpan span{h.x(h.position(0).audioStartLBA) + h.view->originX(),
                                           h.x(h.position(0).audioEndLBA) + h.view->originX()};
    const Point p = TimelineOverlays::envelopePoint(h.track(0).gainPoints[0], h.track(0), span, h.lane());
    const QPointF at(p.x - h.view->originX(), p.y);
    h.drag(at, at + QPointF(0.0, 40.0));
    QCOMPARE(h.track(0).gainPoints.size(), std::size_t(1));
    QCOMPARE(h.track(0).gainPoints[0].gainDB, TimelineOverlays::dBAtY(p.y + 40.0, h.lane()));
    QVERIFY(h.undoOnlyStep());
    QCOMPARE(h.track(0).gainPoints[0].gainDB, -6.0f);

    // Six seconds in, at the lane's middle height.
    const double addX = h.x(h.position(0).audioStartLBA) + 6.0 * pps;
    h.doubleClick(QPointF(addX, h.lane().top + 0.5 * h.lane().height));
    QCOMPARE(h.track(0).gainPoints.size(), std::size_t(2));
    h.doubleClick(at);
    QCOMPARE(h.track(0).gainPoints.size(), std::size_t(1));
    QVERIFY(h.track(0).gainPoints[0].positionSamples > 5 * 44100);
    h.workspace().undo();
    h.settle();
    QCOMPARE(h.track(0).gainPoints.size(), std::size_t(2));
}

// An unlocked track's INDEX 01 flag dragged a second to the right.
void TimelineViewTest::indexFlagMovesInOneStep() {
    auto list = tracks(2);
    list[1].indexLocked = false;
    Harness h(std::move(list));
    QVERIFY(h.valid);
    const std::int64_t index01 = h.position(1).index01LBA;
    const QPointF flag(h.x(index01) + 6.0, h.lane().bottom + 6.0);
    h.drag(flag, flag + QPointF(pps, 0.0));
    QCOMPARE(h.track(1).index01OffsetFrames, std::int64_t(RedBook::framesPerSecond));
    QCOMPARE(h.position(1).index01LBA, index01 + RedBook::framesPerSecond);
    QCOMPARE(h.track(0).index01OffsetFrames, std::int64_t(0));
    QVERIFY(h.undoOnlyStep());
    QCOMPARE(h.position(1).index01LBA, index01);
}

// The loop's end flag let go 5 points from the playhead lands on it; with Ctrl it stays where it is.
void TimelineViewTest::loopEdgeSnapsToThePlayheadUnlessCtrlIsHeld() {
    Harness h(tracks(3));
    QVERIFY(h.valid);
    h.workspace().setSnapEnabled(true);
    const std::int64_t playhead = 10 * RedBook::framesPerSecond + 30; // clear of every track edge
    h.app().engine().seek(playhead * RedBook::samplesPerFrame);
    h.workspace().setCurrentSample(playhead * RedBook::samplesPerFrame);
    h.workspace().setLoopStartFrame(2 * RedBook::framesPerSecond);
    h.workspace().setLoopEndFrame(6 * RedBook::framesPerSecond);
    h.settle();
    const double target = h.x(playhead) + 5.0;
    const QPointF flag(h.x(6 * RedBook::framesPerSecond) - 3.0, h.lane().bottom + 6.0);

    h.drag(flag, QPointF(target - 3.0, flag.y()), Qt::ControlModifier);
    const std::int64_t unsnapped = h.workspace().loopEndFrame().value_or(-1);
    QCOMPARE(unsnapped, Viewport::frameAtX(target - 3.0 + h.view->originX(), pps));
    QVERIFY(unsnapped != playhead);

    QCOMPARE(std::llround(h.workspace().currentTime() * RedBook::framesPerSecond), playhead);
    const QPointF moved(h.x(unsnapped) - 3.0, flag.y());
    h.drag(moved, QPointF(moved.x() - 1.0, flag.y()));
    QCOMPARE(h.workspace().loopEndFrame(), std::optional<std::int64_t>(playhead));
}

// View > "Waveform GPU (OpenGL)" writes the setting and posts the renderer notification once a toggle.
void TimelineViewTest::rendererToggleWritesTheSettingAndTellsTheViews() {
    PrivateHome home;
    AppOptions options;
    options.offlineAudio = true;
    OrvaneApp app(options);
    app.showWindow();
    QVERIFY(QTest::qWaitForWindowExposed(&app.window()));
    int told = 0;
    const auto observer =
        NotificationCenter::shared().observe(NotificationCenter::waveRendererChanged, [&told] { ++told; });
    QAction* action = app.window().findAction(QStringLiteral("Waveform GPU (OpenGL)"));
    QVERIFY(action != nullptr);
    QVERIFY(action->isCheckable());
    QVERIFY(!app.settings().metalWaveform());
    action->trigger();
    QVERIFY(app.settings().metalWaveform());
    QCOMPARE(told, 1);
    action->trigger();
    QVERIFY(!app.settings().metalWaveform());
    QCOMPARE(told, 2);
    NotificationCenter::shared().remove(observer);
    action->trigger();
    QCOMPARE(told, 2);
}

// The transport's TRK field follows the playhead into the second track and back out of the disc.
void TimelineViewTest::transportShowsTheTrackUnderThePlayhead() {
    PrivateHome home;
    AppOptions options;
    options.offlineAudio = true;
    OrvaneApp app(options);
    CDProject project;
    project.tracks = tracks(3);
    app.workspace().importProject(std::move(project));
    app.workspace().recalculateTimeline(ReloadPlayback::yes);
    app.showWindow();
    QVERIFY(QTest::qWaitForWindowExposed(&app.window()));
    auto* number = app.window().findChild<QLabel*>(QStringLiteral("trackText"));
    QVERIFY(number != nullptr);
    // The second track's audio runs from 12 s to 20 s; 15 s lies inside it.
    const auto at = [&](double seconds) {
        const auto sample = static_cast<std::int64_t>(seconds * RedBook::sampleRate);
        app.engine().seek(sample);
        app.workspace().setCurrentSample(sample);
        QCoreApplication::processEvents();
        return number->text();
    };
    QCOMPARE(at(15.0), QStringLiteral("02"));
    QCOMPARE(at(3.0), QStringLiteral("01"));
    QCOMPARE(at(25.0), QStringLiteral("03"));
}

// A wheel turn without keys zooms in about the pointer: the frame under it stays under it.
void TimelineViewTest::wheelZoomKeepsTheFrameUnderThePointer() {
    Harness h(tracks(3));
    QVERIFY(h.valid);
    h.view->scrollToOrigin(200.0);
    h.settle();
    const QPointF pointer(700.0, h.lane().top + 20.0);
    const double frameBefore = h.view->frameForX(pointer.x());
    QWheelEvent wheel(pointer, h.view->mapToGlobal(pointer), QPoint(), QPoint(0, 120), Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(h.view.get(), &wheel);
    h.settle();
    QVERIFY(h.view->pixelsPerSecond() > pps);
    // Within half a point of where it was.
    QVERIFY(std::abs(h.view->xForFrame(frameBefore) - pointer.x()) < 0.5);
    QVERIFY(h.view->originX() > 200.0);
}

namespace {

// The height of the waveform's colour down column `x` of the lane: its pixels, green well above the
// lane's ground.
int waveformColumnHeight(const QImage& image, int x, const TimelineGeometry::Lane& lane) {
    int count = 0;
    for (int y = static_cast<int>(lane.top) + 2; y < static_cast<int>(lane.bottom) - 2; ++y) {
        count += qGreen(image.pixel(x, y)) > 0x58 ? 1 : 0;
    }
    return count;
}

} // namespace

// At one sample a point the track shows its file's 330 Hz tone as a thin line that rises and falls,
// not the solid band of its peaks; zoomed out again the band returns.
void TimelineViewTest::closeZoomDrawsTheSamplesRatherThanPeaks() {
    PrivateHome home;
    const auto wav = home.path() / "tone.wav";
    writeSineWav(wav, 8.0, 330.0);
    std::vector<CDTrack> list = tracks(1);
    list[0].audioFileURL = FileURL::fromPath(wav);
    Harness h(std::move(list));
    QVERIFY(h.valid);
    const auto& lane = h.lane();
    const auto picture = [&] {
        h.view->invalidateLayer();
        QImage image(h.view->size(), QImage::Format_ARGB32_Premultiplied);
        h.view->render(&image);
        return image;
    };
    // Two seconds into the audio, at 44100 points a second.
    h.view->setPixelsPerSecond(44100.0);
    h.view->scrollToOrigin(h.x(h.position(0).audioStartLBA) + h.view->originX() + 2.0 * 44100.0);
    h.settle();
    const QImage close = picture();
    std::vector<int> heights;
    for (int x = 100; x < 1300; x += 7) {
        heights.push_back(waveformColumnHeight(close, x, lane));
    }
    std::sort(heights.begin(), heights.end());
    const int band = static_cast<int>(0.6 * lane.height);
    QVERIFY2(heights.front() >= 1, "a column shows no waveform at all");
    QVERIFY2(
        heights[heights.size() / 2] < band / 4,
        qPrintable(QStringLiteral("median column %1 of band %2").arg(heights[heights.size() / 2]).arg(band)));
    // The line follows the tone: its row moves across one period (about 134 points).
    const auto rowOf = [&](int x) {
        for (int y = static_cast<int>(lane.top) + 2; y < static_cast<int>(lane.bottom) - 2; ++y) {
            if (qGreen(close.pixel(x, y)) > 0x58) {
                return y;
            }
        }
        return -1;
    };
    int lowest = 1 << 30;
    int highest = -1;
    for (int x = 400; x < 534; ++x) {
        lowest = std::min(lowest, rowOf(x));
        highest = std::max(highest, rowOf(x));
    }
    QVERIFY(highest - lowest > static_cast<int>(lane.height / 4));

    h.view->setPixelsPerSecond(pps);
    h.view->scrollToOrigin(0.0);
    h.settle();
    const QImage far = picture();
    const int middle = static_cast<int>(h.x(h.position(0).audioStartLBA + 4 * RedBook::framesPerSecond));
    // The band spans the tone's swing, as tall as the line's whole travel above.
    QVERIFY(waveformColumnHeight(far, middle, lane) >= (highest - lowest) * 3 / 4);
    QVERIFY(waveformColumnHeight(far, middle, lane) > 4 * heights[heights.size() / 2]);
}

namespace {

// One 8 s track of a swelling tone, as the strip cache reads it, `width` points wide.
struct StripFixture {
    std::vector<float> peaks;
    std::vector<StripTrack> list;
    StripView view;

    explicit StripFixture(double width) {
        CDTrack track = CDTrack::make("Tone", std::nullopt, 150, seconds8);
        track.fadeInSamples = 44100;
        peaks.resize(static_cast<std::size_t>(seconds8 / 32) * 2);
        for (std::size_t b = 0; b < peaks.size() / 2; ++b) {
            const float level = 0.1f + 0.8f * std::fabs(std::sin(0.01f * static_cast<float>(b)));
            peaks[2 * b] = -level;
            peaks[2 * b + 1] = 0.7f * level;
        }
        StripTrack strip{track, &peaks, 30.25, 30.25 + width};
        list.push_back(strip);
        view.pps = width / 8.0;
        view.lane = TimelineGeometry::lane(260.0);
    }
};

// The fade shading the painter lays over a picture; the comparison needs only some overlay.
void shade(QPainter& painter, const StripFixture& f) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(0, 0, 0, 95));
    painter.drawRect(QRectF(f.list[0].x0, f.view.lane.top, 17.5, 40.0));
}

} // namespace

// Copying the kept picture gives the pixels that filling the outline and its overlay in place gives,
// at whole and at fractional scroll offsets.
void TimelineViewTest::keptPictureGivesThePixelsOfTheFilledOutline() {
    const StripFixture f(300.0);
    const QColor colour(0x4f, 0xb3, 0xff);
    const QColor ground(0x20, 0x23, 0x28);
    for (const double offset : {0.0, -12.0, -12.37, -0.5}) {
        WaveformStripCache cache;
        const auto overlay = [&](QPainter& p) { shade(p, f); };
        QImage direct(400, 260, QImage::Format_ARGB32_Premultiplied);
        direct.fill(ground);
        {
            QPainter p(&direct);
            p.translate(offset, 0.0);
            p.setRenderHint(QPainter::Antialiasing, true);
            p.setPen(Qt::NoPen);
            p.setBrush(colour);
            for (const QPolygonF& outline : cache.outlines(f.list, 0, f.view, 0.0, 400.0)) {
                p.drawPolygon(outline);
            }
            overlay(p);
        }
        QImage copied(400, 260, QImage::Format_ARGB32_Premultiplied);
        copied.fill(ground);
        {
            QPainter p(&copied);
            p.translate(offset, 0.0);
            const auto picture = cache.picture(f.list, 0, f.view, 0.0, 400.0, colour,
                                               QPointF(p.deviceTransform().dx(), 0.0), overlay);
            QVERIFY(picture.has_value());
            p.drawImage(picture->origin, *picture->image);
        }
        int worst = 0;
        int coloured = 0;
        for (int y = 0; y < direct.height(); ++y) {
            for (int x = 0; x < direct.width(); ++x) {
                const QRgb a = direct.pixel(x, y);
                const QRgb b = copied.pixel(x, y);
                worst = std::max({worst, std::abs(qRed(a) - qRed(b)), std::abs(qGreen(a) - qGreen(b)),
                                  std::abs(qBlue(a) - qBlue(b))});
                coloured += qBlue(a) > 0x80 ? 1 : 0;
            }
        }
        QVERIFY2(coloured > 5000, "the outline was filled at all");
        // Blending the coverage apart rounds once more: one step either way.
        QVERIFY2(worst <= 2,
                 qPrintable(QStringLiteral("offset %1: worst channel step %2").arg(offset).arg(worst)));
    }
}

// A picture is first made for a track shown whole; a second draw reuses it; a new colour or
// sub-pixel offset makes a new one; a track too wide to keep is left to its outlines.
void TimelineViewTest::keptPictureIsReusedUntilItsLookChanges() {
    const StripFixture f(300.0);
    WaveformStripCache cache;
    const auto overlay = [&](QPainter& p) { shade(p, f); };
    // Shown only in part, the track gets no first picture; once shown whole, it is kept for partial
    // paints too.
    QVERIFY(!cache.picture(f.list, 0, f.view, 0.0, 200.0, Qt::cyan, QPointF(), overlay).has_value());
    const auto first = cache.picture(f.list, 0, f.view, 0.0, 400.0, Qt::cyan, QPointF(), overlay);
    QVERIFY(first.has_value());
    const auto part = cache.picture(f.list, 0, f.view, 0.0, 200.0, Qt::cyan, QPointF(), overlay);
    QVERIFY(part.has_value());
    QCOMPARE(part->image->cacheKey(), first->image->cacheKey());
    const qint64 key = first->image->cacheKey();
    const auto again = cache.picture(f.list, 0, f.view, 0.0, 400.0, Qt::cyan, QPointF(-40.0, 0.0), overlay);
    QVERIFY(again.has_value());
    QCOMPARE(again->image->cacheKey(), key);
    QCOMPARE(cache.builds(), std::size_t{1});
    const auto recoloured = cache.picture(f.list, 0, f.view, 0.0, 400.0, Qt::red, QPointF(), overlay);
    QVERIFY(recoloured.has_value());
    QVERIFY(recoloured->image->cacheKey() != key);
    const auto shifted = cache.picture(f.list, 0, f.view, 0.0, 400.0, Qt::red, QPointF(0.5, 0.0), overlay);
    QVERIFY(shifted.has_value());
    QCOMPARE(shifted->origin.x() + 0.5, std::floor(shifted->origin.x() + 0.5));
    QCOMPARE(cache.builds(), std::size_t{1}); // the outline itself was kept throughout

    const StripFixture wide(WaveformStripCache::maxPictureWidth + 10.0);
    QVERIFY(!cache.picture(wide.list, 0, wide.view, 0.0, 400.0, Qt::red, QPointF(), overlay).has_value());
    QVERIFY(!cache.outlines(wide.list, 0, wide.view, 0.0, 400.0).empty());
}

namespace {

// The window with three 8 s tracks (audio 2–10 s, 12–20 s, 22–30 s) and its transport bar.
struct BarHarness {
    PrivateHome home;
    std::unique_ptr<OrvaneApp> app;
    app::TransportBar* bar = nullptr;

    BarHarness() {
        AppOptions options;
        options.offlineAudio = true;
        app = std::make_unique<OrvaneApp>(options);
        CDProject project;
        project.tracks = tracks(3);
        app->workspace().importProject(std::move(project));
        app->workspace().recalculateTimeline(ReloadPlayback::yes);
        app->showWindow();
        bar = dynamic_cast<app::TransportBar*>(
            app->window().findChild<QWidget*>(QStringLiteral("transportBar")));
    }
    QString text(const char* name) const {
        auto* label = app->window().findChild<QLabel*>(QString::fromLatin1(name));
        return label ? label->text() : QStringLiteral("(none)");
    }
    void seek(double seconds) {
        const auto sample = static_cast<std::int64_t>(seconds * RedBook::sampleRate);
        app->engine().seek(sample);
        app->workspace().setCurrentSample(sample);
        QCoreApplication::processEvents();
    }
};

} // namespace

// A click on the display steps TIME, TRK −, TOT − and back, each showing what the bar's rules give,
// and the chosen mode outlives the window.
void TimelineViewTest::timeDisplayCyclesItsModesAndRemembersThem() {
    auto h = std::make_unique<BarHarness>();
    QVERIFY(h->bar != nullptr);
    h->seek(15.0);
    const auto& positions = h->app->workspace().displayPositions();
    const double total = static_cast<double>(positions.back().endLBA) / RedBook::framesPerSecond;
    auto* display = h->app->window().findChild<QWidget*>(QStringLiteral("timeDisplay"));
    QVERIFY(display != nullptr);
    QCOMPARE(display->toolTip(), QString::fromUtf8(orvane::TransportBar::timeModeTooltip.data()));
    using Mode = orvane::TransportBar::TimeMode;
    for (const Mode mode : {Mode::elapsed, Mode::trackRemaining, Mode::discRemaining, Mode::elapsed}) {
        const auto expected = orvane::TransportBar::timeDisplay(mode, 15.0, total, positions);
        QCOMPARE(h->text("timeLegend"), QString::fromStdString(expected.legend));
        QCOMPARE(h->text("timeText"), QString::fromStdString(expected.time));
        QCOMPARE(h->text("trackText"), QStringLiteral("02"));
        QTest::mouseClick(display, Qt::LeftButton);
    }
    // Track remaining: the second track ends at 20 s plus its 2 s gap before the third.
    QCOMPARE(h->text("timeLegend"), QStringLiteral("TRK −"));
    QVERIFY(h->text("timeText") != QStringLiteral("00:15:00"));

    // The mode is a stored setting: a new window opens on it.
    QCOMPARE(h->bar->timeMode(), Mode::trackRemaining);
    h->app.reset();
    AppOptions options;
    options.offlineAudio = true;
    OrvaneApp reopened(options);
    auto* bar = dynamic_cast<app::TransportBar*>(
        reopened.window().findChild<QWidget*>(QStringLiteral("transportBar")));
    QVERIFY(bar != nullptr);
    QCOMPARE(bar->timeMode(), Mode::trackRemaining);
}

// The pin key sets and clears the locked play start and the display marks it; the outer keys'
// tooltips and the display's marks follow the stored pre-roll.
void TimelineViewTest::pinAndPrerollShowOnTheKeysAndTheDisplay() {
    BarHarness h;
    QVERIFY(h.bar != nullptr);
    h.seek(5.0);
    auto* pin = h.app->window().findChild<QPushButton*>(QStringLiteral("pinButton"));
    auto* previous = h.app->window().findChild<QPushButton*>(QStringLiteral("previousButton"));
    auto* next = h.app->window().findChild<QPushButton*>(QStringLiteral("nextButton"));
    QVERIFY(pin && previous && next);
    QCOMPARE(pin->toolTip(), QString::fromUtf8(orvane::TransportBar::pinTooltip.data()));
    QVERIFY(!h.text("transportMarks").contains(QStringLiteral("PIN")));
    pin->click();
    QCoreApplication::processEvents();
    QVERIFY(h.app->workspace().lockedPlayStartSample().has_value());
    QVERIFY(pin->isChecked());
    QVERIFY(h.text("transportMarks").contains(QStringLiteral("PIN")));
    pin->click();
    QCoreApplication::processEvents();
    QVERIFY(!h.app->workspace().lockedPlayStartSample().has_value());
    QVERIFY(!h.text("transportMarks").contains(QStringLiteral("PIN")));

    QCOMPARE(previous->toolTip(), QString::fromStdString(orvane::TransportBar::previousTooltip(0.0)));
    QVERIFY(h.app->workspace().setPrerollSeconds(3.0));
    // A fresh window reads the stored pre-roll into both keys and the display.
    h.app.reset();
    AppOptions options;
    options.offlineAudio = true;
    OrvaneApp reopened(options);
    auto* reopenedPrevious = reopened.window().findChild<QPushButton*>(QStringLiteral("previousButton"));
    auto* reopenedNext = reopened.window().findChild<QPushButton*>(QStringLiteral("nextButton"));
    QVERIFY(reopenedPrevious && reopenedNext);
    QCOMPARE(reopenedPrevious->toolTip(), QString::fromStdString(orvane::TransportBar::previousTooltip(3.0)));
    QCOMPARE(reopenedNext->toolTip(), QString::fromStdString(orvane::TransportBar::nextTooltip(3.0)));
    auto* marks = reopened.window().findChild<QLabel*>(QStringLiteral("transportMarks"));
    QVERIFY(marks && marks->text().contains(QStringLiteral("3 s")));
}

int main(int argc, char** argv) {
    return runWindowTests<TimelineViewTest>(argc, argv);
}
