// The desktop driven as a user would: documents opened from outside, fades, trims and crossfades
// dragged on the timeline with the mouse, undo, save and reopen, the close guard, and the recovery
// copy through a normal quit and through a crash of a child process.

#include "app/tests/AppWindowTest.h"

#include "app/MainWindow.h"
#include "app/OrvaneApp.h"
#include "app/Theme.h"
#include "app/TimelineView.h"
#include "app/TrackTableModel.h"
#include "app/tests/AppTestSupport.h"
#include "app/tests/LoudnessWindowTest.h"
#include "workspace/AutosaveStore.h"
#include "workspace/ProjectStore.h"

#include <QApplication>
#include <QProcess>
#include <QTableView>
#include <QTest>
#include <QThread>
#include <atomic>
#include <csignal>
#include <cstring>
#include <fstream>
#include <thread>

using namespace orvane;
using namespace orvane::app;
using namespace orvane::app::testing;

namespace {

// Drags with the left button from one point to another on the widget, in a few steps, and lets the
// event loop go idle afterwards so the gesture ends its turn.
void drag(QWidget* widget, QPointF from, QPointF to) {
    QTest::mousePress(widget, Qt::LeftButton, {}, from.toPoint());
    for (int step = 1; step <= 4; ++step) {
        const QPointF at = from + (to - from) * (step / 4.0);
        QTest::mouseMove(widget, at.toPoint());
    }
    QTest::mouseRelease(widget, Qt::LeftButton, {}, to.toPoint());
    QTest::qWait(20);
}

const CDTrack& trackAt(OrvaneApp& app, std::size_t index) {
    return app.workspace().project().tracks.at(index);
}

// Edits the project through the timeline: a fade-in dragged on the first track. Shared by the
// in-process tests and the crashing child.
void dragFadeIn(OrvaneApp& app, double pixels) {
    TimelineView& timeline = app.window().timeline();
    const QRectF clip = timeline.clipRect(0);
    const QPointF handle(timeline.xForFrame(app.workspace().trackPositions().at(0).audioStartLBA +
                                            trackAt(app, 0).fadeInSamples / 588.0),
                         clip.top());
    drag(&timeline, handle, handle + QPointF(pixels, 0));
}

// The child of the crash test: opens the document, makes an edit, lets one autosave tick write the
// copy, and dies without a normal quit.
int runCrashingChild(const char* document) {
    auto clock = std::make_shared<ManualClock>();
    auto app = startWith(document, clock);
    if (!app || app->workspace().project().tracks.empty()) {
        return 3;
    }
    dragFadeIn(*app, 80);
    clock->advanceBy(WorkspaceState::autosaveIntervalSeconds);
    app->driver().runUntilIdle();
    app->workspace().autosaveQueue().waitUntilIdle();
    std::raise(SIGKILL);
    return 4;
}

} // namespace

// The shell: the window's minimum size, its menus in order, and "Close Project".
void AppWindowTest::windowHasTheCommandMenus() {
    PrivateHome home;
    OrvaneApp app(headless());
    app.showWindow();
    QVERIFY(QTest::qWaitForWindowExposed(&app.window()));
    QCOMPARE(app.window().minimumSize(), QSize(1200, 600));
    for (const char* text :
         {"Open Project\u2026", "Save Project", "Save Project As\u2026", "Import DDP\u2026", "Undo", "Redo",
          "Snap", "Show Inspector", "Validate Project\u2026", "Verify DDP Fileset\u2026", "DDP Fileset\u2026",
          "PQ Sheet", "Keyboard Shortcuts", "About Orvane", "Close Project"}) {
        QVERIFY2(app.window().findAction(QString::fromUtf8(text)) != nullptr, text);
    }
    QCOMPARE(app.window().findAction(QStringLiteral("DDP Fileset\u2026"))->shortcut(),
             QKeySequence(QStringLiteral("Ctrl+E")));
    // Commands whose engine isn't here are absent, not disabled.
    QVERIFY(app.window().findAction(QStringLiteral("Burn Audio CD\u2026")) == nullptr);
    QVERIFY(app.window().findAction(QStringLiteral("No Recent Projects")) != nullptr);
}

// Fade, trim and crossfade dragged with the mouse are one undo step each; the saved document
// reopens as the same project.
void AppWindowTest::dragUndoSaveAndReopen() {
    PrivateHome home;
    const auto document = writeProject(home.path(), 2, 12.0);
    auto app = startWith(document);
    QVERIFY(app);
    QTRY_COMPARE(app->workspace().project().tracks.size(), std::size_t(2));
    QVERIFY(!app->workspace().isModified());
    TimelineView& timeline = app->window().timeline();

    dragFadeIn(*app, 60);
    const std::int64_t fadeIn = trackAt(*app, 0).fadeInSamples;
    const double expectedFrames = timeline.frameForX(60) - timeline.frameForX(0);
    QVERIFY(fadeIn > 0);
    QVERIFY(std::abs(fadeIn / 588.0 - expectedFrames) <= 1.0);

    const QRectF clip = timeline.clipRect(0);
    drag(&timeline, QPointF(clip.right(), clip.center().y()), QPointF(clip.right() - 40, clip.center().y()));
    const std::int64_t trimEnd = trackAt(*app, 0).trimEndSamples;
    QVERIFY(trimEnd > 0);

    // Moving the second clip left past its gap overlaps the first: a crossfade.
    const QRectF second = timeline.clipRect(1);
    const double gapPixels = timeline.xForFrame(300) - timeline.xForFrame(0);
    drag(&timeline, second.center(), second.center() - QPointF(gapPixels, 0));
    QVERIFY(trackAt(*app, 1).preGap.totalFrames < 0);
    QVERIFY(app->workspace().trackPositions()[1].audioStartLBA <
            app->workspace().trackPositions()[0].audioEndLBA);

    app->workspace().undo();
    QTest::qWait(20);
    QCOMPARE(trackAt(*app, 1).preGap.totalFrames, std::int64_t(150));
    QCOMPARE(trackAt(*app, 0).trimEndSamples, trimEnd);
    QCOMPARE(trackAt(*app, 0).fadeInSamples, fadeIn);
    QVERIFY(app->workspace().isModified());

    QVERIFY(app->saveProject());
    QVERIFY(!app->workspace().isModified());
    const CDProject saved = app->workspace().project();
    QVERIFY(ProjectStore::load(document).project == saved);
    app.reset();

    auto reopened = startWith(document);
    QVERIFY(reopened);
    QTRY_VERIFY(reopened->workspace().project() == saved);
    QVERIFY(!reopened->workspace().isModified());
}

// The close button on a modified project asks first: "Cancel" keeps everything, "Don't Save"
// empties the project but keeps the window.
void AppWindowTest::closeButtonAsksAboutChanges() {
    PrivateHome home;
    auto app = startWith(writeProject(home.path(), 1, 8.0));
    QVERIFY(app);
    QTRY_COMPARE(app->workspace().project().tracks.size(), std::size_t(1));
    dragFadeIn(*app, 50);
    const CDProject edited = app->workspace().project();
    QVERIFY(app->workspace().isModified());

    auto cancel = answerNextAlert(QStringLiteral("Cancel"));
    app->window().close();
    QVERIFY(cancel->seen);
    QVERIFY(app->workspace().project() == edited);
    QVERIFY(app->window().isVisible());

    auto discard = answerNextAlert(QStringLiteral("Don't Save"));
    app->window().close();
    QVERIFY(discard->seen);
    QVERIFY(app->workspace().project().tracks.empty());
    QVERIFY(app->window().isVisible());
    QVERIFY(!app->workspace().isModified());
}

// A document that isn't one gives "Open Failed" with the reason, and the open project stays.
void AppWindowTest::corruptDocumentShowsOpenFailed() {
    PrivateHome home;
    const auto good = writeProject(home.path(), 1, 4.0);
    auto app = startWith(good);
    QVERIFY(app);
    QTRY_COMPARE(app->workspace().project().tracks.size(), std::size_t(1));
    const CDProject before = app->workspace().project();
    const auto corrupt = home.path() / "Broken.ovproj";
    std::ofstream(corrupt) << "{\"version\": 1, \"project\": {\"tracks\": 7}";
    auto alert = answerNextAlert(QStringLiteral("OK"));
    app->openDocuments({corrupt});
    QTRY_VERIFY(alert->seen);
    QCOMPARE(alert->text, QStringLiteral("Open Failed"));
    QVERIFY(!alert->informativeText.isEmpty());
    QVERIFY(app->workspace().project() == before);
}

// An autosave tick keeps unsaved work; a normal quit (after "Don't Save") removes the copy.
void AppWindowTest::normalQuitLeavesNoRecoveryCopy() {
    PrivateHome home;
    auto clock = std::make_shared<ManualClock>();
    auto app = startWith(writeProject(home.path(), 1, 8.0), clock);
    QVERIFY(app);
    QTRY_COMPARE(app->workspace().project().tracks.size(), std::size_t(1));
    dragFadeIn(*app, 50);
    clock->advanceBy(WorkspaceState::autosaveIntervalSeconds);
    app->driver().runUntilIdle();
    app->workspace().autosaveQueue().waitUntilIdle();
    QVERIFY(std::filesystem::exists(home.recoveryFile()));

    auto question = answerNextAlert(QStringLiteral("Don't Save"));
    QVERIFY(app->shouldTerminate());
    QVERIFY(question->seen);
    QVERIFY(!std::filesystem::exists(home.recoveryFile()));
}

// A process killed with unsaved work leaves its copy; the next start offers it, and "Restore"
// brings the edit back as an unsaved change.
void AppWindowTest::crashedRunIsOfferedAtNextStart() {
    PrivateHome home;
    const auto document = writeProject(home.path(), 1, 8.0);
    QProcess child;
    child.setProgram(QCoreApplication::applicationFilePath());
    child.setArguments({QStringLiteral("--crash-child"), QString::fromStdString(document.string())});
    child.setProcessChannelMode(QProcess::ForwardedChannels);
    child.start();
    QVERIFY(child.waitForFinished(120000));
    QCOMPARE(child.exitStatus(), QProcess::CrashExit);
    QVERIFY(std::filesystem::exists(home.recoveryFile()));
    const auto copy = AutosaveStore::load(home.recoveryFile().parent_path());
    QVERIFY(copy.has_value());
    QVERIFY(copy->project.tracks.at(0).fadeInSamples > 0);

    auto restore = answerNextAlert(QStringLiteral("Restore"));
    OrvaneApp app(headless());
    app.showWindow();
    QTRY_VERIFY(restore->seen);
    QCOMPARE(restore->text, QStringLiteral("Restore Auto-Saved Project?"));
    QVERIFY(restore->informativeText.contains(QStringLiteral("\u201cWindow Test\u201d")));
    QVERIFY(app.workspace().project() == copy->project);
    QVERIFY(app.workspace().isModified());
    QCOMPARE(app.workspace().projectFileURL(), std::optional<std::filesystem::path>(document));
}

// Of several documents delivered together only the first is taken, and it opens only once the
// recovery question (here "Discard") has been answered.
void AppWindowTest::documentWaitsForTheRecoveryQuestion() {
    PrivateHome home;
    const auto first = writeProject(home.path(), 2, 4.0);
    std::filesystem::create_directories(home.path() / "other");
    const auto second = writeProject(home.path() / "other", 1, 4.0);
    CDProject lost;
    lost.albumTitle = "Lost Work";
    AutosaveStore::write(lost, std::nullopt, home.recoveryFile().parent_path());

    auto discard = answerNextAlert(QStringLiteral("Discard"));
    OrvaneApp app(headless());
    app.openDocuments({home.path() / "notes.txt", first, second});
    QCOMPARE(app.pendingProjectURL(), std::optional<std::filesystem::path>(first));
    app.showWindow();
    QVERIFY(app.workspace().project().tracks.empty()); // nothing opens before the question
    QTRY_VERIFY(discard->seen);
    QVERIFY(discard->informativeText.contains(QStringLiteral("\u201cLost Work\u201d")));
    QTRY_COMPARE(app.workspace().project().tracks.size(), std::size_t(2));
    QCOMPARE(app.workspace().projectFileURL(), std::optional<std::filesystem::path>(first));
    QVERIFY(!std::filesystem::exists(home.recoveryFile()));
}

// Typing in the table edits the track as one undo step; an ISRC that isn't one is refused and the
// cell keeps the old value.
void AppWindowTest::tableEditsAreUndoableAndRefuseBadISRC() {
    PrivateHome home;
    auto app = startWith(writeProject(home.path(), 2, 4.0));
    QVERIFY(app);
    QTRY_COMPARE(app->workspace().project().tracks.size(), std::size_t(2));
    QAbstractItemModel* model = app->window().trackTable().model();
    const int title = TrackTableModel::section("title");
    const int isrc = TrackTableModel::section("isrc");
    QVERIFY(model->setData(model->index(1, title), QStringLiteral("Second Light")));
    app->driver().runTurn(); // the edit's undo step closes with the turn, as after a keystroke
    QCOMPARE(trackAt(*app, 1).title, std::string("Second Light"));
    QCOMPARE(model->index(1, title).data().toString(), QStringLiteral("Second Light"));

    // With two tracks a valid code asks whether to number the rest; this answer keeps it to one.
    auto question = answerNextAlert(QStringLiteral("No"));
    QVERIFY(model->setData(model->index(0, isrc), QStringLiteral("GBABC2600001")));
    QTRY_VERIFY(question->seen);
    app->driver().runTurn();
    QCOMPARE(question->text, QStringLiteral("Auto-increment ISRC?"));
    QCOMPARE(trackAt(*app, 0).isrc, std::optional<std::string>("GBABC2600001"));
    QVERIFY(!trackAt(*app, 1).isrc);
    auto refused = answerNextAlert(QStringLiteral("OK"));
    QVERIFY(!model->setData(model->index(0, isrc), QStringLiteral("not an isrc")));
    QTRY_VERIFY(refused->seen);
    QCOMPARE(trackAt(*app, 0).isrc, std::optional<std::string>("GBABC2600001"));
    app->driver().runTurn();

    app->workspace().undo();
    QTest::qWait(20);
    QVERIFY(!trackAt(*app, 0).isrc);
    QCOMPARE(trackAt(*app, 1).title, std::string("Second Light"));
}

// Work posted to the core's main loop from another thread runs on the GUI thread, and a loop timer
// fires through Qt's event loop without anyone calling the loop by hand.
void AppWindowTest::mainLoopRunsWorkPostedFromOtherThreads() {
    PrivateHome home;
    OrvaneApp app(headless());
    std::atomic<bool> ranOnGuiThread{false};
    std::atomic<bool> ran{false};
    std::thread poster([&] {
        app.loop().post([&] {
            ranOnGuiThread = QThread::currentThread() == qApp->thread();
            ran = true;
        });
    });
    poster.join();
    QTRY_VERIFY(ran.load());
    QVERIFY(ranOnGuiThread.load());

    bool fired = false;
    app.loop().addTimer(0.05, TimerRepeat::once, [&] { fired = true; });
    app.driver().runTurn(); // the driver learns of the new deadline at the end of a turn
    QTRY_VERIFY(fired);
}

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    Theme::apply(application);
    if (argc == 3 && std::strcmp(argv[1], "--crash-child") == 0) {
        return runCrashingChild(argv[2]);
    }
    AppWindowTest test;
    LoudnessWindowTest loudness;
    const int failed = QTest::qExec(&test, argc, argv);
    return failed + QTest::qExec(&loudness, argc, argv);
}
