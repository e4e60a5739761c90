// The track table in the real window: rows dragged and files dropped through the model's drag and
// drop interface (what the view calls), the row menu over several rows, the SRC pop-up and mark.

#include "app/tests/TrackTableWindowTest.h"

#include "app/MainLoopDriver.h"
#include "app/MainWindow.h"
#include "app/OrvaneApp.h"
#include "app/Theme.h"
#include "app/TrackTableModel.h"
#include "app/tests/AppTestSupport.h"
#include "platform/AudioFileWriter.h"

#include <QApplication>
#include <QMenu>
#include <QMimeData>
#include <QTableView>
#include <QTest>
#include <QUrl>
#include <cmath>

using namespace orvane;
using namespace orvane::app;
using namespace orvane::app::testing;

namespace {

TrackTableModel& tableModel(OrvaneApp& app) {
    return *static_cast<TrackTableModel*>(app.window().trackTable().model());
}

QStringList titles(OrvaneApp& app) {
    QStringList out;
    for (const auto& track : app.workspace().project().tracks) {
        out << QString::fromStdString(track.title);
    }
    return out;
}

// The action with this text in the menu or one of its submenus.
QAction* findAction(QMenu& menu, const QString& text) {
    for (QAction* action : menu.actions()) {
        if (action->text() == text) {
            return action;
        }
        if (action->menu() != nullptr) {
            if (QAction* inner = findAction(*action->menu(), text)) {
                return inner;
            }
        }
    }
    return nullptr;
}

// A 96 kHz stereo sine: a source the disc must convert.
void writeHiResWav(const std::filesystem::path& file) {
    auto writer = AudioFileWriter::open(file, {AudioContainer::wav, AudioSampleFormat::int24, 96000.0, 2});
    QVERIFY(writer.has_value());
    AudioBuffer buffer(96000.0, 2, 96000);
    for (int ch = 0; ch < 2; ++ch) {
        for (std::size_t n = 0; n < 96000; ++n) {
            buffer.channel(ch)[n] = static_cast<float>(0.3 * std::sin(2.0 * M_PI * 1000.0 * n / 96000.0));
        }
    }
    buffer.setFrameLength(96000);
    QVERIFY(writer->write(buffer).has_value());
    QVERIFY(writer->finish().has_value());
}

} // namespace

void TrackTableWindowTest::draggedRowsMoveAsOneUndoStep() {
    PrivateHome home;
    auto app = startWith(writeProject(home.path(), 3, 2.0));
    QVERIFY(app);
    QTRY_COMPARE(app->workspace().project().tracks.size(), std::size_t(3));
    const QStringList before = titles(*app);
    TrackTableModel& model = tableModel(*app);

    // Row 3 dragged above row 1.
    std::unique_ptr<QMimeData> data(model.mimeData({model.index(2, 0), model.index(2, 5)}));
    QVERIFY(data);
    QVERIFY(model.canDropMimeData(data.get(), Qt::MoveAction, 0, 0, {}));
    QVERIFY2(!model.canDropMimeData(data.get(), Qt::MoveAction, 2, 0, {}), "on its own place");
    QVERIFY(model.dropMimeData(data.get(), Qt::MoveAction, 0, 0, {}));
    app->driver().runTurn();
    QCOMPARE(titles(*app), (QStringList{before[2], before[0], before[1]}));
    QCOMPARE(model.rowCount(), 3);
    QCOMPARE(model.index(0, TrackTableModel::section("title")).data().toString(), before[2]);
    QCOMPARE(app->workspace().trackPositions().at(0).index01LBA, std::int64_t(150));

    app->workspace().undo();
    app->driver().runTurn();
    QCOMPARE(titles(*app), before);

    // A take's row doesn't travel, and nothing lands between a track and its open takes.
    app->workspace().addVersionsToTrack({app->workspace().project().tracks[0].audioFileURL->path()},
                                        app->workspace().project().tracks[0].id);
    app->workspace().setExpandedTrackIDs({app->workspace().project().tracks[0].id});
    app->driver().runTurn();
    QCOMPARE(model.rowCount(), 4);
    QVERIFY(!model.mimeData({model.index(1, 0)}));
    data.reset(model.mimeData({model.index(3, 0)}));
    QVERIFY(!model.canDropMimeData(data.get(), Qt::MoveAction, 1, 0, {}));
    QVERIFY(!(model.flags(model.index(1, 0)) & Qt::ItemIsDragEnabled));
}

void TrackTableWindowTest::droppedAudioFilesEnterAtTheRow() {
    PrivateHome home;
    auto app = startWith(writeProject(home.path(), 3, 2.0));
    QVERIFY(app);
    QTRY_COMPARE(app->workspace().project().tracks.size(), std::size_t(3));
    const QStringList before = titles(*app);
    TrackTableModel& model = tableModel(*app);
    const auto wav = home.path() / "Dropped In.wav";
    writeSineWav(wav, 1.5, 440.0);

    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(QString::fromStdString(wav.string())),
                  QUrl(QStringLiteral("https://example.invalid/x.wav"))});
    // Dropped on row 2: the file stands before the track that was second.
    QVERIFY(model.canDropMimeData(&data, Qt::CopyAction, -1, -1, model.index(1, 0)));
    QVERIFY(model.dropMimeData(&data, Qt::CopyAction, -1, -1, model.index(1, 0)));
    app->driver().runTurn();
    QCOMPARE(app->workspace().project().tracks.size(), std::size_t(4));
    QCOMPARE(app->workspace().project().tracks[1].audioFileURL->path(), wav);
    QCOMPARE(titles(*app)[0], before[0]);
    QCOMPARE(titles(*app)[2], before[1]);
    QCOMPARE(model.rowCount(), 4);

    app->workspace().undo();
    app->driver().runTurn();
    QCOMPARE(titles(*app), before);

    QMimeData remoteOnly;
    remoteOnly.setUrls({QUrl(QStringLiteral("https://example.invalid/x.wav"))});
    QVERIFY(!model.canDropMimeData(&remoteOnly, Qt::CopyAction, 0, 0, {}));
    QVERIFY(!model.dropMimeData(&remoteOnly, Qt::CopyAction, 0, 0, {}));
    QMimeData hostile;
    hostile.setData(model.mimeTypes().front(), "99,-4,abc");
    QVERIFY2(!model.dropMimeData(&hostile, Qt::MoveAction, 0, 0, {}), "rows the table doesn't have");
    QCOMPARE(titles(*app), before);
}

void TrackTableWindowTest::bulkEditsOnSeveralRowsAreEachOneUndoStep() {
    PrivateHome home;
    auto app = startWith(writeProject(home.path(), 4, 2.0));
    QVERIFY(app);
    QTRY_COMPARE(app->workspace().project().tracks.size(), std::size_t(4));
    TrackTableModel& model = tableModel(*app);
    const auto& tracks = [&]() -> const std::vector<CDTrack>& { return app->workspace().project().tracks; };

    auto menu = model.buildRowMenu({0, 1, 2}, 1);
    QVERIFY(menu);
    QVERIFY(findAction(*menu, QStringLiteral("Performer\u2026 for 3 tracks")));
    QVERIFY(findAction(*menu, QStringLiteral("Analyze Loudness (R128)")));
    QVERIFY2(!findAction(*menu, QStringLiteral("Replace\u2026")), "a single row's item");
    QAction* emphasis = findAction(*menu, QStringLiteral("Pre-emphasis"));
    QVERIFY(emphasis);
    QVERIFY(!emphasis->isChecked());
    emphasis->trigger();
    app->driver().runTurn();
    for (std::size_t i = 0; i < 3; ++i) {
        QVERIFY(tracks()[i].preEmphasis);
    }
    QVERIFY(!tracks()[3].preEmphasis);
    QCOMPARE(model.index(2, TrackTableModel::section("flags")).data().toString(), QStringLiteral("PRE"));
    app->workspace().undo();
    app->driver().runTurn();
    for (std::size_t i = 0; i < 3; ++i) {
        QVERIFY2(!tracks()[i].preEmphasis, "one undo takes back all three");
    }

    // Copy permitted on two of three: the menu reads mixed and the toggle sets it on every one.
    app->workspace().bulkSetCopyPermitted({tracks()[0].id, tracks()[1].id}, true);
    app->driver().runTurn();
    menu = model.buildRowMenu({0, 1, 2}, 0);
    QAction* copy = findAction(*menu, QStringLiteral("Copy Permitted (mixed)"));
    QVERIFY(copy);
    copy->trigger();
    app->driver().runTurn();
    QVERIFY(tracks()[2].copyPermitted);

    // A CD-Text field through its panel; "Cancel" writes nothing.
    QString asked;
    model.askText = [&](const QString& title, const QString& prompt) -> std::optional<QString> {
        asked = title + QLatin1Char('|') + prompt;
        return QStringLiteral("  The Band ");
    };
    menu = model.buildRowMenu({1, 2, 3}, 3);
    findAction(*menu, QStringLiteral("Performer\u2026 for 3 tracks"))->trigger();
    app->driver().runTurn();
    QVERIFY(asked.startsWith(QStringLiteral("Performer|The CD-Text")));
    QVERIFY(!tracks()[0].performer);
    for (std::size_t i = 1; i < 4; ++i) {
        QCOMPARE(tracks()[i].performer.value_or(""), std::string("The Band"));
    }
    app->workspace().undo();
    app->driver().runTurn();
    QVERIFY(!tracks()[3].performer);
    model.askText = [](const QString&, const QString&) -> std::optional<QString> { return std::nullopt; };
    menu = model.buildRowMenu({1, 2, 3}, 3);
    findAction(*menu, QStringLiteral("Composer\u2026 for 3 tracks"))->trigger();
    app->driver().runTurn();
    QVERIFY(!tracks()[1].composer);
}

void TrackTableWindowTest::srcAndDitherCellsFollowTheMode() {
    PrivateHome home;
    auto app = startWith(writeProject(home.path(), 1, 2.0));
    QVERIFY(app);
    QTRY_COMPARE(app->workspace().project().tracks.size(), std::size_t(1));
    TrackTableModel& model = tableModel(*app);
    const int src = TrackTableModel::section("src");
    const auto hiRes = home.path() / "hires.wav";
    writeHiResWav(hiRes);
    app->workspace().addDroppedFiles({hiRes});
    app->driver().runTurn();
    QCOMPARE(model.rowCount(), 2);
    QVERIFY2(model.index(0, src).data(Qt::DecorationRole).isNull(), "a 44.1 kHz source needs no mark");
    QCOMPARE(model.index(1, src).data(Qt::ToolTipRole).toString(),
             QStringLiteral("SRC cache not built \u2014 click to build this take"));
    QVERIFY(!model.index(1, src).data(Qt::DecorationRole).isNull());

    // Locked mode: the pop-up shows the master's converter and can't be used.
    auto menu = model.buildSRCMenu(1);
    QVERIFY(menu);
    QVERIFY(!menu->isEnabled());
    QVERIFY(findAction(*menu, QStringLiteral("Velmont SRC"))->isChecked());

    // So is the dither switch: it shows the track's setting but does not toggle.
    const int dither = TrackTableModel::section("dither");
    QCOMPARE(model.index(1, dither).data(Qt::CheckStateRole).toInt(), int(Qt::Checked));
    QVERIFY(!model.setData(model.index(1, dither), Qt::Unchecked, Qt::CheckStateRole));
    QVERIFY(app->workspace().project().tracks[1].ditherEnabled);

    app->workspace().setMasterHybrid();
    app->driver().runTurn();
    QVERIFY(model.setData(model.index(1, dither), Qt::Unchecked, Qt::CheckStateRole));
    app->driver().runTurn();
    QVERIFY(!app->workspace().project().tracks[1].ditherEnabled);
    QVERIFY(app->workspace().project().tracks[0].ditherEnabled);
    QCOMPARE(model.index(1, dither).data(Qt::CheckStateRole).toInt(), int(Qt::Unchecked));
    app->workspace().undo();
    app->driver().runTurn();
    QVERIFY(app->workspace().project().tracks[1].ditherEnabled);

    menu = model.buildSRCMenu(1);
    QVERIFY(menu->isEnabled());
    findAction(*menu, QStringLiteral("SoX VHQ"))->trigger();
    app->driver().runTurn();
    const CDTrack& track = app->workspace().project().tracks[1];
    QCOMPARE(track.srcAlgorithm.value_or(""), std::string("SoX VHQ"));
    QVERIFY(model.index(1, src).data().toString().startsWith(QStringLiteral("SoX VHQ")));
    QCOMPARE(app->workspace().project().tracks[0].srcAlgorithm.value_or(""), std::string("Velmont SRC"));

    // The row menu's "SRC Phase" reaches the same track.
    menu = model.buildRowMenu({1}, 1);
    QAction* minimum = findAction(*menu, QStringLiteral("Minimum"));
    QVERIFY(minimum);
    minimum->trigger();
    app->driver().runTurn();
    QCOMPARE(app->workspace().project().tracks[1].srcPhase.value_or(""), std::string("Minimum"));

    app->workspace().setSRCCacheState(app->workspace().project().tracks[1].id, SRCCacheState::ready);
    app->driver().runTurn();
    QCOMPARE(model.index(1, src).data(Qt::ToolTipRole).toString(), QStringLiteral("SRC engine cache ready"));
}

void TrackTableWindowTest::lpColumnShowsTheSideAndPlace() {
    PrivateHome home;
    auto app = startWith(writeProject(home.path(), 2, 2.0));
    QVERIFY(app);
    QTRY_COMPARE(app->workspace().project().tracks.size(), std::size_t(2));
    TrackTableModel& model = tableModel(*app);
    const int lp = TrackTableModel::section("lp");
    QCOMPARE(model.index(0, lp).data().toString(), QString());
    CDProject project = app->workspace().project();
    project.vinylProgram = VinylProgram::defaultProgram(project);
    app->workspace().setProject(project);
    app->driver().runTurn();
    QCOMPARE(model.index(0, lp).data().toString(), QStringLiteral("A1"));
    QCOMPARE(model.index(1, lp).data().toString(), QStringLiteral("B1"));
}

int main(int argc, char** argv) {
    return runWindowTests<TrackTableWindowTest>(argc, argv);
}
