// Loudness in the window, driven as a user would: the menu's analysis of the whole disc with its
// closing alerts, the figures in the table and their way through a saved document, the table's
// edits through its rules, the take inspector's measurement and tone comparison, and the mastering
// report panel from typing to the written PDF.

#include "app/tests/LoudnessWindowTest.h"

#include "app/InspectorPanel.h"
#include "app/MainWindow.h"
#include "app/OrvaneApp.h"
#include "app/ReportPanel.h"
#include "app/SpectralDifferenceView.h"
#include "app/TrackTableModel.h"
#include "app/tests/AppTestSupport.h"
#include "workspace/ProjectStore.h"

#include <poppler-document.h>
#include <poppler-page.h>

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMessageBox>
#include <QPointer>
#include <QProgressDialog>
#include <QPushButton>
#include <QTableView>
#include <QTest>
#include <QTimer>
#include <cmath>
#include <fstream>

using namespace orvane;
using namespace orvane::app;
using namespace orvane::app::testing;

namespace {

QString cell(OrvaneApp& app, int row, std::string_view column) {
    QAbstractItemModel* model = app.window().trackTable().model();
    return model->index(row, TrackTableModel::section(column)).data().toString();
}

// Runs the menu's analysis and presses "OK" on each of the next `count` message boxes; returns what
// they said, in order. One watcher for all, since a box may open inside the last one's handler.
std::vector<SeenAlert> analyseFromMenu(OrvaneApp& app, int count) {
    auto seen = std::make_shared<std::vector<SeenAlert>>();
    QTimer watcher;
    auto last = std::make_shared<QPointer<QMessageBox>>();
    QObject::connect(&watcher, &QTimer::timeout, &watcher, [seen, last, count] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (box == nullptr || box == last->data() || static_cast<int>(seen->size()) >= count) {
            return;
        }
        *last = box;
        seen->push_back(SeenAlert{box->windowTitle(), box->text(), box->informativeText(), true});
        box->buttons().front()->click();
    });
    watcher.start(10);
    app.window().findAction(QStringLiteral("Analyze Loudness (R128)"))->trigger();
    const bool answered = QTest::qWaitFor(
        [&] { return static_cast<int>(seen->size()) == count && !app.loudness().isRunning(); }, 60000);
    QTest::qWait(50); // room for a box that should not come
    if (!answered || QApplication::activeModalWidget() != nullptr) {
        seen->push_back(SeenAlert{}); // an unexpected count fails the caller's check
    }
    return *seen;
}

std::string pdfText(const std::filesystem::path& file) {
    std::unique_ptr<poppler::document> document(poppler::document::load_from_file(file.string()));
    if (!document || document->pages() < 1) {
        return {};
    }
    std::unique_ptr<poppler::page> page(document->create_page(0));
    const auto bytes = page->text().to_utf8();
    return std::string(bytes.begin(), bytes.end());
}

} // namespace

// The analysis stands in the Audio menu just before the project check, the report at the end of the
// Export menu, each with its key.
void LoudnessWindowTest::commandsStandInTheirMenusWithTheirKeys() {
    PrivateHome home;
    AppOptions options;
    options.offlineAudio = true;
    OrvaneApp app(options);
    QAction* analyze = app.window().findAction(QStringLiteral("Analyze Loudness (R128)"));
    QAction* report = app.window().findAction(QStringLiteral("Mastering Report\u2026"));
    QVERIFY(analyze && report);
    QCOMPARE(analyze->shortcut(), QKeySequence(QStringLiteral("Ctrl+L")));
    QCOMPARE(report->shortcut(), QKeySequence(QStringLiteral("Shift+Ctrl+R")));
    const auto texts = [](QAction* member) {
        QStringList list;
        for (QObject* object : member->associatedObjects()) {
            if (auto* menu = qobject_cast<QMenu*>(object)) {
                for (QAction* action : menu->actions()) {
                    if (!action->isSeparator()) {
                        list << action->text();
                    }
                }
            }
        }
        return list;
    };
    const QStringList audio = texts(analyze);
    QCOMPARE(audio.indexOf(QStringLiteral("Analyze Loudness (R128)")) + 1,
             audio.indexOf(QStringLiteral("Validate Project\u2026")));
    const QStringList exports = texts(report);
    QCOMPARE(exports.last(), QStringLiteral("Mastering Report\u2026"));
    QCOMPARE(exports.at(exports.size() - 2), QStringLiteral("PQ Sheet"));
}

// The menu measures every track, the summary names the album figure, the table shows each track's
// figures, and a saved and reopened project shows them again at once without a new measurement.
void LoudnessWindowTest::analysedFiguresSurviveSaveAndReopen() {
    PrivateHome home;
    const auto document = writeProject(home.path(), 2, 3.0);
    QString lufs0;
    QString tp1;
    {
        auto app = startWith(document);
        QVERIFY(app);
        QTRY_COMPARE(app->workspace().project().tracks.size(), std::size_t(2));
        QVERIFY(cell(*app, 0, "lufs").isEmpty());
        const auto alerts = analyseFromMenu(*app, 1);
        QCOMPARE(alerts.size(), std::size_t(1));
        QVERIFY(alerts[0].seen);
        QCOMPARE(alerts[0].text, QStringLiteral("Loudness Analysis Complete"));
        QVERIFY2(alerts[0].informativeText.startsWith(QStringLiteral("Album: ")),
                 qPrintable(alerts[0].informativeText));
        QVERIFY(!app->loudness().isRunning());
        QVERIFY(app->loudness().progressWindow() == nullptr);

        const auto figures = app->loudness().figures(app->workspace().project().tracks[0].id);
        QVERIFY(figures.has_value());
        // A full-scale sine at 0.5 sits near -9 LUFS; anything far off means the wrong audio was read.
        QVERIFY2(figures->lufs < -3.0 && figures->lufs > -20.0, qPrintable(QString::number(figures->lufs)));
        lufs0 = cell(*app, 0, "lufs");
        tp1 = cell(*app, 1, "tp");
        QCOMPARE(lufs0, QString::number(figures->lufs, 'f', 1));
        QVERIFY(!tp1.isEmpty());
        // Measuring is no edit: nothing to undo, and the document reads as unmodified.
        QVERIFY(!app->workspace().canUndo());
        QVERIFY(!app->workspace().isModified());
        QVERIFY(app->saveProject());
    }
    // The document carries the figures with the block data, tied to the measured file.
    const CDProject saved = ProjectStore::load(document).project;
    QVERIFY(saved.tracks.at(0).loudness.has_value());
    QVERIFY(saved.tracks.at(0).loudness->blocks.has_value());

    auto reopened = startWith(document);
    QVERIFY(reopened);
    QTRY_COMPARE(reopened->workspace().project().tracks.size(), std::size_t(2));
    QCOMPARE(cell(*reopened, 0, "lufs"), lufs0);
    QCOMPARE(cell(*reopened, 1, "tp"), tp1);
    QVERIFY(reopened->loudness().store().albumLoudness().has_value());
    QVERIFY(!reopened->loudness().isRunning());
    QVERIFY(reopened->loudness().progressWindow() == nullptr);
}

// While a run goes on, asking again brings its one window forward and starts nothing; "Cancel" ends
// the run with no alert at all, and the window goes.
void LoudnessWindowTest::secondRunOnlyRaisesTheWindowAndCancelEndsQuietly() {
    PrivateHome home;
    auto app = startWith(writeProject(home.path(), 3, 3.0));
    QVERIFY(app);
    QTRY_COMPARE(app->workspace().project().tracks.size(), std::size_t(3));
    // All of it inside one turn of the main loop, so no result of the run can be taken in (and no
    // closing alert shown) before "Cancel" is pressed, however fast the measuring is.
    struct Seen {
        bool done = false;
        bool runningAfterStart = false;
        QProgressDialog* first = nullptr;
        QProgressDialog* afterSecond = nullptr;
        qsizetype windows = 0;
        bool cancelPressed = false;
    };
    Seen seen;
    app->loop().post([&] {
        app->loudness().analyzeAlbum();
        seen.runningAfterStart = app->loudness().isRunning();
        seen.first = app->loudness().progressWindow();
        app->loudness().analyzeAlbum();
        seen.afterSecond = app->loudness().progressWindow();
        seen.windows = app->window().findChildren<QProgressDialog*>().size();
        if (seen.first != nullptr) {
            for (QPushButton* button : seen.first->findChildren<QPushButton*>()) {
                if (button->text() == QStringLiteral("Cancel")) {
                    button->click();
                    seen.cancelPressed = true;
                }
            }
        }
        seen.done = true;
    });
    QTRY_VERIFY(seen.done);
    QVERIFY(seen.runningAfterStart);
    QVERIFY(seen.first != nullptr);
    QCOMPARE(seen.afterSecond, seen.first);
    QCOMPARE(seen.windows, qsizetype(1));
    QVERIFY(seen.cancelPressed);
    QTRY_VERIFY_WITH_TIMEOUT(!app->loudness().isRunning(), 60000);
    QTest::qWait(100);
    QVERIFY(QApplication::activeModalWidget() == nullptr); // neither failure nor summary alert
    QVERIFY(app->loudness().progressWindow() == nullptr);
}

// A track whose file is gone is named in the failure alert, which comes before the summary; the
// summary then says why there is no album figure, and the readable track still has its figures.
void LoudnessWindowTest::failedItemsAreNamedBeforeTheSummary() {
    PrivateHome home;
    auto app = startWith(writeProject(home.path(), 2, 2.0));
    QVERIFY(app);
    QTRY_COMPARE(app->workspace().project().tracks.size(), std::size_t(2));
    // Gone after opening, as a disconnected drive would be.
    std::filesystem::remove(home.path() / "tone2.wav");
    const auto alerts = analyseFromMenu(*app, 2);
    QCOMPARE(alerts.size(), std::size_t(2));
    QCOMPARE(alerts[0].text, QStringLiteral("One item could not be measured"));
    QVERIFY(alerts[0].informativeText.contains(QStringLiteral("Tone 2")));
    QVERIFY(!alerts[0].informativeText.contains(QStringLiteral("Tone 1")));
    QCOMPARE(alerts[1].text, QStringLiteral("Loudness Analysis Complete"));
    QVERIFY(alerts[1].informativeText.startsWith(QStringLiteral("No album summary")));
    QVERIFY(!cell(*app, 0, "lufs").isEmpty());
    QVERIFY(cell(*app, 1, "lufs").isEmpty());
}

// The table shows the full column set with its headings; an edited title and pre-gap reach the
// workspace as one undo step each; an invalid ISRC is refused with its alert; measured figures and
// timing cells can't be edited.
void LoudnessWindowTest::tableShowsEveryColumnAndEditsThroughItsRules() {
    PrivateHome home;
    auto app = startWith(writeProject(home.path(), 2, 2.0));
    QVERIFY(app);
    QTRY_COMPARE(app->workspace().project().tracks.size(), std::size_t(2));
    QAbstractItemModel* model = app->window().trackTable().model();
    QCOMPARE(model->columnCount(), 22);
    QCOMPARE(model->headerData(TrackTableModel::section("tp"), Qt::Horizontal).toString(),
             QStringLiteral("dBTP"));
    QCOMPARE(model->headerData(TrackTableModel::section("title"), Qt::Horizontal).toString(),
             QStringLiteral("Track Title"));
    QCOMPARE(cell(*app, 1, "index"), QStringLiteral("  02"));
    QCOMPARE(cell(*app, 0, "format"), QStringLiteral("44.1k / 16"));
    QCOMPARE(cell(*app, 0, "filename"), QStringLiteral("tone1.wav"));

    const int title = TrackTableModel::section("title");
    QVERIFY(model->setData(model->index(1, title), QStringLiteral("Second Light")));
    app->driver().runTurn(); // the edit's undo step closes with the turn, as after a keystroke
    QCOMPARE(app->workspace().project().tracks[1].title, std::string("Second Light"));
    QCOMPARE(cell(*app, 1, "title"), QStringLiteral("Second Light"));

    const int pregap = TrackTableModel::section("pregap");
    QVERIFY(!(model->flags(model->index(0, pregap)) & Qt::ItemIsEditable)); // the first track's gap is fixed
    QVERIFY(model->setData(model->index(1, pregap), QStringLiteral("1,5")));
    app->driver().runTurn();
    QCOMPARE(app->workspace().project().tracks[1].preGap.totalFrames, std::int64_t(112));
    QCOMPARE(cell(*app, 1, "pregap"), QStringLiteral("00:01:37"));

    for (const char* fixed : {"lufs", "tp", "lra", "start", "length", "filename"}) {
        QVERIFY2(!(model->flags(model->index(1, TrackTableModel::section(fixed))) & Qt::ItemIsEditable),
                 fixed);
    }

    const int isrc = TrackTableModel::section("isrc");
    auto refused = answerNextAlert(QStringLiteral("OK"));
    QVERIFY(!model->setData(model->index(0, isrc), QStringLiteral("not an isrc")));
    QTRY_VERIFY(refused->seen);
    QCOMPARE(refused->text, QStringLiteral("Invalid ISRC Code"));
    QVERIFY(!app->workspace().project().tracks[0].isrc);

    // One undo takes back the gap alone, a second the title.
    app->workspace().undo();
    QCOMPARE(app->workspace().project().tracks[1].preGap.totalFrames, std::int64_t(150));
    QCOMPARE(app->workspace().project().tracks[1].title, std::string("Second Light"));
    app->workspace().undo();
    QCOMPARE(app->workspace().project().tracks[1].title, std::string("Tone 2"));
    QCOMPARE(cell(*app, 1, "title"), QStringLiteral("Tone 2"));
}

// A take added under a track: the table lists it under its track when expanded, its inspector
// measures it alone, and the tone graph fills in once both spectra are known.
void LoudnessWindowTest::takeInspectorMeasuresAndComparesATake() {
    PrivateHome home;
    auto app = startWith(writeProject(home.path(), 1, 2.0));
    QVERIFY(app);
    QTRY_COMPARE(app->workspace().project().tracks.size(), std::size_t(1));
    const auto brighter = home.path() / "brighter.wav";
    writeSineWav(brighter, 2.0, 3520.0);
    WorkspaceState& ws = app->workspace();
    const Uuid trackID = ws.project().tracks[0].id;
    ws.addVersionsToTrack({brighter}, trackID);
    QCOMPARE(ws.project().tracks[0].versions.size(), std::size_t(1));
    const Uuid takeID = ws.project().tracks[0].versions[0].id;

    ws.setExpandedTrackIDs({trackID});
    QAbstractItemModel* model = app->window().trackTable().model();
    QCOMPARE(model->rowCount(), 2);
    QCOMPARE(cell(*app, 1, "filename"), QStringLiteral("tone1.wav"));

    // Choosing the take's row opens the take page on that take.
    app->window().trackTable().selectRow(1);
    QCOMPARE(ws.selectedVersionID(), std::optional<Uuid>(takeID));
    auto* takeList = app->window().inspector().findChild<QListWidget*>(QStringLiteral("takeStack"));
    QVERIFY(takeList);
    QCOMPARE(takeList->currentRow(), 1);

    auto* label = app->window().inspector().findChild<QLabel*>(QStringLiteral("takeLoudness"));
    QCOMPARE(label->text(), QStringLiteral("Not measured"));
    app->window().inspector().findChild<QPushButton*>(QStringLiteral("takeAnalyze"))->click();
    QTRY_VERIFY_WITH_TIMEOUT(app->loudness().figures(takeID).has_value(), 60000);
    QTRY_VERIFY(!app->loudness().isRunning());
    QVERIFY(!app->loudness().figures(trackID)); // the take alone was measured
    QVERIFY(label->text().endsWith(QStringLiteral("dBTP")) || label->text().endsWith(QStringLiteral("LRA")));
    QVERIFY(!cell(*app, 1, "lufs").isEmpty());
    QVERIFY(cell(*app, 0, "lufs").isEmpty());

    SpectralDifferenceView& graph = app->window().inspector().differenceView();
    QTRY_VERIFY_WITH_TIMEOUT(graph.hasCurve(), 60000);
    // No take chosen: the graph shows its empty state again.
    graph.setSource(std::nullopt, std::nullopt, "");
    QVERIFY(!graph.hasCurve());
}

// Typed studio details reach the defaults and a later panel; several quick changes draw the preview
// once; the exported PDF holds the studio's name, survives a long album title and a logo file that
// is missing.
void LoudnessWindowTest::reportPanelPreviewsAndExportsTheStudiosPDF() {
    PrivateHome home;
    auto app = startWith(writeProject(home.path(), 2, 1.0));
    QVERIFY(app);
    QTRY_COMPARE(app->workspace().project().tracks.size(), std::size_t(2));
    {
        ReportPanel panel(app->workspace(), app->loudness(), app->defaults(), app->panelHost(),
                          &app->window());
        QVERIFY(!panel.previewImage().isNull());
        QVERIFY(panel.previewImage().width() > panel.previewImage().height() / 2);
        const int builds = panel.previewBuilds();
        auto* name = panel.findChild<QLineEdit*>(QStringLiteral("studioName"));
        QVERIFY(name);
        QTest::keyClicks(name, QStringLiteral("Northlight Mastering"));
        QCOMPARE(panel.previewBuilds(), builds); // nothing drawn while typing
        QTRY_COMPARE(panel.previewBuilds(), builds + 1);
        QTest::qWait(ReportPanel::debounceMilliseconds * 2);
        QCOMPARE(panel.previewBuilds(), builds + 1);

        QVERIFY(!panel.chooseLogoFile(home.path() / "no-such-logo.png"));
        QVERIFY(!panel.model().logoData());
        panel.model().setClient("Client Records");

        CDProject project = app->workspace().project();
        project.albumTitle = std::string(300, 'W');
        app->workspace().setProject(std::move(project));
        const auto file = home.path() / "report.pdf";
        const auto written = panel.exportTo(file);
        QVERIFY2(written.has_value(), written ? "" : written.error().c_str());
        const std::string text = pdfText(file);
        QVERIFY2(text.find("Northlight Mastering") != std::string::npos, text.c_str());
        QVERIFY(text.find("MASTERING REPORT") != std::string::npos);
        QVERIFY(text.find("Client Records") != std::string::npos);
        QCOMPARE(ReportPanel::proposedFileName(CDProject{}), std::string("Mastering Report"));
    }
    // The studio is kept for the next report; the client is this report's alone.
    ReportPanel next(app->workspace(), app->loudness(), app->defaults(), app->panelHost(), &app->window());
    QCOMPARE(next.model().studioName(), std::string("Northlight Mastering"));
    QCOMPARE(next.model().client(), std::string());
}
