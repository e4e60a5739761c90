// The delivery commands as a user meets them: the menus in their order, the help viewer, a DDP export
// of a project with a 48 kHz source from the window, track files against the CUE image, a client
// preview through its panel, a batch delivery, CUE import of broken and good sheets, and cancel.

#include "app/tests/DeliveryCommandsTest.h"

#include "app/DeliveryCommands.h"
#include "app/DeliveryDialogs.h"
#include "app/HelpViewer.h"
#include "app/MainWindow.h"
#include "app/OrvaneApp.h"
#include "app/Theme.h"
#include "app/tests/AppTestSupport.h"
#include "delivery/DDPVerifier.h"
#include "platform/AudioFileWriter.h"
#include "render/SRCRenderer.h"
#include "workspace/ProjectStore.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenuBar>
#include <QPushButton>
#include <QTest>
#include <QTextBrowser>
#include <QTimer>
#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>

using namespace orvane;
using namespace orvane::app;
using namespace orvane::app::testing;
namespace fs = std::filesystem;

namespace {

// The SRC cache of the running test, so that each test converts afresh and the user's cache stays out.
std::unique_ptr<QTemporaryDir> srcCache;

std::string bytesOf(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// A 16-bit stereo WAV of a sine at any rate.
void writeTone(const fs::path& file, double rate, double seconds, double hz) {
    auto writer = AudioFileWriter::open(file, {AudioContainer::wav, AudioSampleFormat::int16, rate, 2});
    QVERIFY(writer.has_value());
    const auto frames = static_cast<std::size_t>(rate * seconds);
    AudioBuffer buffer(rate, 2, frames);
    for (std::size_t n = 0; n < frames; ++n) {
        const auto v = static_cast<float>(0.4 * std::sin(2.0 * M_PI * hz * static_cast<double>(n) / rate));
        buffer.channel(0)[n] = v;
        buffer.channel(1)[n] = v;
    }
    buffer.setFrameLength(frames);
    QVERIFY(writer->write(buffer).has_value());
    QVERIFY(writer->finish().has_value());
}

std::vector<std::string> entriesOf(const fs::path& folder) {
    std::vector<std::string> names;
    std::error_code ec;
    for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
        names.push_back(it->path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

QWidget* visibleProgressWindow() {
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (widget->objectName() == QStringLiteral("progressWindow") && widget->isVisible()) {
            return widget;
        }
    }
    return nullptr;
}

// Presses "Cancel" on the next progress window as soon as it is up. Queued before the command, it runs
// before the job's thread starts, so the job's first report is answered "stop".
std::shared_ptr<bool> cancelNextProgress() {
    auto pressed = std::make_shared<bool>(false);
    QTimer::singleShot(0, qApp, [pressed] {
        if (QWidget* window = visibleProgressWindow()) {
            if (auto* cancel = window->findChild<QPushButton*>(QStringLiteral("progressCancel"))) {
                cancel->click();
                *pressed = true;
            }
        }
    });
    return pressed;
}

// Answers the next folder panel with `folder`, after letting `fill` set the panel's fields. The panel
// is Qt's folder dialog itself or a window holding one.
std::shared_ptr<bool> answerNextFolderPanel(const fs::path& folder,
                                            std::function<void(QWidget&)> fill = nullptr) {
    auto answered = std::make_shared<bool>(false);
    auto* timer = new QTimer(qApp);
    timer->setInterval(10);
    QObject::connect(timer, &QTimer::timeout, timer, [timer, answered, folder, fill] {
        QWidget* panel = QApplication::activeModalWidget();
        auto* browser = qobject_cast<QFileDialog*>(panel);
        if (!browser && panel) {
            browser = panel->findChild<QFileDialog*>();
        }
        if (!browser) {
            return;
        }
        timer->stop();
        timer->deleteLater();
        if (fill) {
            fill(*panel);
        }
        browser->setDirectory(QString::fromStdString(folder.parent_path().string()));
        browser->selectFile(QString::fromStdString(folder.filename().string()));
        *answered = true;
        static_cast<QDialog*>(browser)->accept();
    });
    timer->start();
    return answered;
}

// Records the heading of every progress window while it is on screen.
class ProgressTitles final {
  public:
    ProgressTitles() {
        timer_.setInterval(5);
        QObject::connect(&timer_, &QTimer::timeout, [this] {
            if (QWidget* window = visibleProgressWindow()) {
                const auto* heading = window->findChild<QLabel*>(QStringLiteral("progressTitle"));
                const QString seen =
                    window->windowTitle() + QLatin1Char('|') + (heading ? heading->text() : QString());
                if (!titles.contains(seen)) {
                    titles << seen;
                }
            }
        });
        timer_.start();
    }
    QStringList titles;

  private:
    QTimer timer_;
};

const std::vector<TrackPosition>& positionsOf(OrvaneApp& app) {
    return app.workspace().trackPositions();
}

} // namespace

void DeliveryCommandsTest::init() {
    srcCache = std::make_unique<QTemporaryDir>();
    SRCRenderer::overrideCacheDirectory(fs::path(srcCache->path().toStdString()));
}

void DeliveryCommandsTest::cleanup() {
    SRCRenderer::overrideCacheDirectory(std::nullopt);
    srcCache.reset();
}

// The Export and File menus in the command table's order, the keys, and the help viewer's pages and
// links.
void DeliveryCommandsTest::menusAndHelpViewer() {
    PrivateHome home;
    auto app = startWith(writeProject(home.path(), 1, 1.0));
    QVERIFY(app);
    MainWindow& window = app->window();
    const auto menuTexts = [&](const QString& title) {
        QStringList texts;
        for (QAction* top : window.menuBar()->actions()) {
            if (top->text() == title && top->menu()) {
                for (QAction* action : top->menu()->actions()) {
                    if (!action->isSeparator()) {
                        texts << action->text();
                    }
                }
            }
        }
        return texts;
    };
    const QStringList exports = menuTexts(QStringLiteral("E&xport"));
    const QStringList expected{QStringLiteral("DDP Fileset\u2026"),
                               QStringLiteral("Tracks as WAV\u2026"),
                               QStringLiteral("Tracks as AIFF\u2026"),
                               QStringLiteral("CUE + Image (WAV)\u2026"),
                               QStringLiteral("Client CD Preview"),
                               QStringLiteral("Batch Delivery\u2026"),
                               QStringLiteral("PQ Sheet")};
    QVERIFY2(exports.mid(0, expected.size()) == expected, qPrintable(exports.join(QStringLiteral(", "))));
    for (const char* text : {"Quality (FLAC)\u2026", "Light (AAC)\u2026", "Smartphone\u2026"}) {
        QVERIFY2(window.findAction(QString::fromUtf8(text)) != nullptr, text);
    }
    QCOMPARE(window.findAction(QStringLiteral("Batch Delivery\u2026"))->shortcut(),
             QKeySequence(QStringLiteral("Alt+Ctrl+E")));
    const QStringList files = menuTexts(QStringLiteral("&File"));
    const auto ddp = files.indexOf(QStringLiteral("Import DDP\u2026"));
    QVERIFY(ddp >= 0);
    QCOMPARE(files.value(ddp + 1), QStringLiteral("Import CUE Sheet\u2026"));

    QAction* help = window.findAction(QStringLiteral("Orvane Help"));
    QVERIFY(help);
    QCOMPARE(help->shortcut(), QKeySequence(Qt::CTRL | Qt::Key_Question));
    QVERIFY(window.findAction(QStringLiteral("Keyboard Shortcuts")));
    QVERIFY(window.findAction(QStringLiteral("About Orvane")));
    help->trigger();
    auto* viewer = dynamic_cast<HelpViewer*>([] {
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            if (widget->objectName() == QStringLiteral("helpViewer")) {
                return widget;
            }
        }
        return static_cast<QWidget*>(nullptr);
    }());
    QVERIFY(viewer);
    QTRY_VERIFY(viewer->isVisible());
    QCOMPARE(viewer->windowTitle(), QStringLiteral("Orvane Help"));
    // Every topic is a real page whose heading is its title.
    auto* list = viewer->findChild<QListWidget*>(QStringLiteral("helpTopics"));
    QVERIFY(list);
    for (int row = 0; row < HelpViewer::topics().size(); ++row) {
        const auto& topic = HelpViewer::topics()[row];
        viewer->showPage(topic.page);
        QCOMPARE(viewer->currentPage(), topic.page);
        QVERIFY2(viewer->browser().toPlainText().startsWith(topic.title), qPrintable(topic.page));
        QCOMPARE(list->currentRow(), row); // the list follows the page
    }
    // Choosing a topic in the list shows its page.
    list->setCurrentRow(2);
    QCOMPARE(viewer->currentPage(), HelpViewer::topics()[2].page);
    // A link between pages stays in the viewer; an unknown page falls back to the first.
    viewer->showPage(QStringLiteral("index.html"));
    emit viewer->browser().anchorClicked(QUrl(QStringLiteral("delivery.html")));
    QCOMPARE(viewer->currentPage(), QStringLiteral("delivery.html"));
    QVERIFY(viewer->browser().toPlainText().contains(QStringLiteral("Batch Delivery")));
    viewer->showPage(QStringLiteral("../../etc/passwd"));
    QCOMPARE(viewer->currentPage(), QStringLiteral("index.html"));
    // Asked again, the one viewer comes back.
    app->showHelp();
    int viewers = 0;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        viewers += widget->objectName() == QStringLiteral("helpViewer") ? 1 : 0;
    }
    QCOMPARE(viewers, 1);
}

// "DDP Fileset…" from the window on a project whose first source is at 48 kHz: the converter runs, the
// export finishes, its window carries a title, and the fileset verifies.
void DeliveryCommandsTest::ddpExportOfA48kHzSourceVerifies() {
    PrivateHome home;
    const fs::path source48 = home.path() / "tone48.wav";
    writeTone(source48, 48000.0, 1.5, 330.0);
    const fs::path source44 = home.path() / "tone44.wav";
    writeSineWav(source44, 1.0, 440.0);
    CDProject project;
    project.albumTitle = "Mixed Rates";
    for (const auto& [file, seconds] : {std::pair{source48, 1.5}, std::pair{source44, 1.0}}) {
        CDTrack track = CDTrack::make(file.stem().string(), std::nullopt, 150,
                                      static_cast<std::int64_t>(seconds * 44100.0));
        track.audioFileURL = FileURL::fromPath(file);
        project.tracks.push_back(track);
    }
    const fs::path document = home.path() / "Mixed.ovproj";
    ProjectStore::save(project, document);
    auto app = startWith(document);
    QVERIFY(app);
    QCOMPARE(app->workspace().project().tracks.size(), std::size_t(2));

    const fs::path target = home.path() / "DDP";
    fs::create_directories(target);
    ProgressTitles titles;
    const auto panel = answerNextFolderPanel(target);
    const auto done = answerNextAlert(QStringLiteral("OK"));
    app->exportDDP();
    QVERIFY(*panel);
    QTRY_VERIFY(done->seen);
    QCOMPARE(done->title, QStringLiteral("Export Successful"));
    QVERIFY(titles.titles.contains(QStringLiteral("Export DDP|Export DDP")));
    const auto issues = DDPVerifier::verify(target);
    QVERIFY(issues.has_value());
    for (const auto& issue : *issues) {
        QVERIFY2(issue.severity != ValidationIssue::Severity::error, issue.message.c_str());
    }
    QVERIFY(fs::exists(target / "IMAGE.DAT"));
    QCOMPARE(static_cast<std::int64_t>(fs::file_size(target / "IMAGE.DAT")),
             positionsOf(*app).back().endLBA * 2352);
    // The 48 kHz source went through the converter's cache, as every delivery must.
    const auto status = SRCRenderer::srcStatus(source48, "Velmont SRC", "Linear");
    QVERIFY(status.needsSRC);
    QVERIFY(status.cached);
}

// Track files cut by "Tracks as WAV…" hold exactly the image's bytes from each INDEX 01 to the track's
// end, the image being the one "CUE + Image (WAV)…" writes.
void DeliveryCommandsTest::trackFilesEqualTheImageSlices() {
    PrivateHome home;
    auto app = startWith(writeProject(home.path(), 2, 1.5));
    QVERIFY(app);
    const fs::path tracks = home.path() / "Tracks";
    fs::create_directories(tracks);
    auto alert = answerNextAlert(QStringLiteral("OK"));
    QVERIFY(DeliveryCommands::runTracksExport(*app, AudioExporter::Format::wav, tracks));
    QTRY_VERIFY(alert->seen);
    QCOMPARE(alert->title, QStringLiteral("Export Successful"));
    QVERIFY(alert->informativeText.startsWith(QStringLiteral("2 tracks exported to:\n")));

    // The CUE panel suggests the album's name; the sheet is given another.
    const fs::path cue = home.path() / "Image" / "Disc.cue";
    fs::create_directories(cue.parent_path());
    QString suggested;
    const auto panel = answerNextFolderPanel(cue, [&](QWidget& dialog) {
        suggested = QFileInfo(dialog.findChild<QFileDialog*>()->selectedFiles().value(0)).fileName();
    });
    alert = answerNextAlert(QStringLiteral("OK"));
    DeliveryCommands::exportCUEImage(*app);
    QVERIFY(*panel);
    QCOMPARE(suggested, QStringLiteral("Window Test.cue"));
    QTRY_VERIFY(alert->seen);
    QVERIFY(alert->informativeText.startsWith(QStringLiteral("CUE sheet and WAV image written to:")));
    const std::string image = bytesOf(cue.parent_path() / "Disc.wav");
    const auto& positions = positionsOf(*app);
    QCOMPARE(image.size(), std::size_t(44) + static_cast<std::size_t>(positions.back().endLBA) * 2352);
    QVERIFY(bytesOf(cue).find("INDEX 01 00:02:00") != std::string::npos);

    const auto& project = app->workspace().project();
    for (std::size_t i = 0; i < positions.size(); ++i) {
        const fs::path file =
            tracks / AudioExporter::fileName(static_cast<std::int64_t>(i) + 1, project.tracks[i].title,
                                             AudioExporter::Format::wav);
        const std::string track = bytesOf(file);
        const auto from = static_cast<std::size_t>(positions[i].index01LBA) * 2352;
        const auto to = static_cast<std::size_t>(positions[i].endLBA) * 2352;
        QCOMPARE(track.size(), std::size_t(44) + (to - from));
        QVERIFY2(track.compare(44, std::string::npos, image, 44 + from, to - from) == 0, file.c_str());
        // Not silence: the slice carries the tone.
        QVERIFY(std::any_of(track.begin() + 44, track.end(), [](char c) { return c != 0; }));
    }
    QCOMPARE(entriesOf(tracks).size(), std::size_t(2)); // no hidden partial folder left
}

// The preview panel presets, trims and keeps the approval address and packs a zip when asked; a
// folder preview has its page, manifest and audio.
void DeliveryCommandsTest::previewPanelAndFolder() {
    PrivateHome home;
    auto app = startWith(writeProject(home.path(), 2, 1.0));
    QVERIFY(app);
    const fs::path out = home.path() / "Previews";
    fs::create_directories(out);

    const auto panel = answerNextFolderPanel(out, [](QWidget& dialog) {
        dialog.findChild<QLineEdit*>(QStringLiteral("approvalEmail"))
            ->setText(QStringLiteral("  client@example.com \t"));
        dialog.findChild<QCheckBox*>(QStringLiteral("packageZip"))->setChecked(true);
    });
    auto alert = answerNextAlert(QStringLiteral("OK"));
    DeliveryCommands::exportPreview(*app, PreviewFormat::light);
    QVERIFY(*panel);
    QTRY_VERIFY(alert->seen);
    QCOMPARE(alert->title, QStringLiteral("Preview Exported"));
    QVERIFY(alert->informativeText.startsWith(QStringLiteral("Light (AAC) preview packaged to:\n")));
    QVERIFY(alert->informativeText.contains(QStringLiteral("Unzip, then open player.html")));
    QCOMPARE(entriesOf(out), std::vector<std::string>{"Window Test Preview (Light).zip"});
    QCOMPARE(DeliveryDialogs::storedApprovalEmail(app->defaults()), std::string("client@example.com"));

    // The next panel comes preset with the kept address; the password field waits for the zip box.
    bool preset = false;
    bool passwordWaits = false;
    const auto again = answerNextFolderPanel(out, [&](QWidget& dialog) {
        preset = dialog.findChild<QLineEdit*>(QStringLiteral("approvalEmail"))->text() ==
                 QStringLiteral("client@example.com");
        passwordWaits = !dialog.findChild<QLineEdit*>(QStringLiteral("zipPassword"))->isEnabled();
        dialog.findChild<QLineEdit*>(QStringLiteral("zipPassword"))->setText(QStringLiteral("not used"));
    });
    alert = answerNextAlert(QStringLiteral("OK"));
    DeliveryCommands::exportPreview(*app, PreviewFormat::quality);
    QVERIFY(*again);
    QTRY_VERIFY(alert->seen);
    QVERIFY(preset);
    QVERIFY(passwordWaits);
    QVERIFY(alert->informativeText.startsWith(QStringLiteral("Quality (FLAC) preview written to:\n")));
    const fs::path folder = out / "Window Test Preview (Quality)";
    QCOMPARE(entriesOf(folder),
             (std::vector<std::string>{"Window Test.oprq", "manifest.json", "player.html"}));
    const std::string manifest = bytesOf(folder / "manifest.json");
    QVERIFY(manifest.find("\"approvalEmail\": \"client@example.com\"") != std::string::npos);
    QVERIFY(bytesOf(folder / "player.html").find("Orvane Client CD Preview Player") != std::string::npos);
    QVERIFY(fs::file_size(folder / "Window Test.oprq") > 1000);
}

// A batch writes every part into one delivery folder and keeps the choices; with nothing ticked it
// refuses before writing anything.
void DeliveryCommandsTest::batchWritesItsPartsAndRefusesNothing() {
    PrivateHome home;
    auto app = startWith(writeProject(home.path(), 2, 1.0));
    QVERIFY(app);
    const fs::path out = home.path() / "Out";
    // A first run on a fresh installation has all four parts on.
    BatchChoice choice = DeliveryDialogs::storedBatchChoice(app->defaults());
    QCOMPARE(choice.components, (BatchDelivery::Components{true, true, true, true}));
    choice.folder = out;
    choice.previewFormat = PreviewFormat::smartphone;
    DeliveryDialogs::storeBatchChoice(app->defaults(), choice);

    auto alert = answerNextAlert(QStringLiteral("OK"));
    const auto delivered = DeliveryCommands::runBatchDelivery(*app, choice);
    QVERIFY(delivered);
    QTRY_VERIFY(alert->seen);
    QCOMPARE(alert->title, QStringLiteral("Batch Delivery Complete"));
    QVERIFY(alert->informativeText.startsWith(QStringLiteral(
        "DDP fileset, WAV tracks, client preview (Smartphone (self-contained)), PQ sheet written to:\n")));
    QCOMPARE(*delivered, out / "Window Test Delivery");
    QCOMPARE(entriesOf(*delivered), (std::vector<std::string>{"DDP", "PQSheet.csv", "PQSheet.pdf", "WAV",
                                                              "Window Test Preview (Smartphone).html"}));
    QCOMPARE(entriesOf(*delivered / "WAV").size(), std::size_t(2));
    const auto issues = DDPVerifier::verify(*delivered / "DDP");
    QVERIFY(issues.has_value());
    // The WAV tracks are cut from the fileset's own image.
    const std::string image = bytesOf(*delivered / "DDP" / "IMAGE.DAT");
    const auto& first = positionsOf(*app).front();
    const std::string track = bytesOf(*delivered / "WAV" / "01 Tone 1.wav");
    QVERIFY(track.compare(44, std::string::npos, image, static_cast<std::size_t>(first.index01LBA) * 2352,
                          static_cast<std::size_t>(first.endLBA - first.index01LBA) * 2352) == 0);
    const BatchChoice kept = DeliveryDialogs::storedBatchChoice(app->defaults());
    QCOMPARE(kept.previewFormat, PreviewFormat::smartphone);

    BatchChoice nothing = choice;
    nothing.components = {false, false, false, false};
    alert = answerNextAlert(QStringLiteral("OK"));
    QVERIFY(!DeliveryCommands::runBatchDelivery(*app, nothing));
    QTRY_VERIFY(alert->seen);
    QCOMPARE(alert->title, QStringLiteral("Nothing Selected"));
    QCOMPARE(entriesOf(out), std::vector<std::string>{"Window Test Delivery"});
}

// Broken sheets give their alert and leave the open project and the disk as they were; a good sheet
// over one image replaces the project with its tracks cut into the audio folder.
void DeliveryCommandsTest::cueImportRefusesBrokenSheetsAndReadsAnImage() {
    PrivateHome home;
    auto app = startWith(writeProject(home.path(), 2, 1.0));
    QVERIFY(app);
    const CDProject before = app->workspace().project();
    const fs::path sheets = home.path() / "Sheets";
    fs::create_directories(sheets);
    writeSineWav(sheets / "image.wav", 6.0, 330.0);
    const auto writeSheet = [&](const std::string& name, const std::string& text) {
        std::ofstream(sheets / name, std::ios::binary) << text;
        return sheets / name;
    };

    struct Broken {
        std::string name;
        std::string text;
        QString message;
    };
    const Broken broken[] = {
        {"noindex.cue", "FILE \"image.wav\" WAVE\n  TRACK 01 AUDIO\n    TITLE \"One\"\n",
         QStringLiteral("Track 1 has no INDEX 01.")},
        {"missing.cue",
         "FILE \"gone.wav\" WAVE\n  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n  TRACK 02 AUDIO\n    INDEX 01 "
         "00:03:00\n",
         QStringLiteral("Referenced audio file is missing: gone.wav")},
        {"binary.cue", std::string("FILE \"x\0y\" WAVE\n", 16),
         QStringLiteral("CUE sheet could not be read as text.")},
    };
    for (const Broken& sheet : broken) {
        auto alert = answerNextAlert(QStringLiteral("OK"));
        QVERIFY(!DeliveryCommands::runCUEImport(*app, writeSheet(sheet.name, sheet.text), sheets));
        QTRY_VERIFY(alert->seen);
        QCOMPARE(alert->title, QStringLiteral("CUE Import Failed"));
        QCOMPARE(alert->informativeText, sheet.message);
        QVERIFY(app->workspace().project() == before);
    }
    QVERIFY(!app->workspace().isModified());
    // No half-made audio folders stay beside the sheets.
    for (const auto& name : entriesOf(sheets)) {
        QVERIFY2(name.find(" Audio") == std::string::npos, name.c_str());
    }

    const fs::path good =
        writeSheet("Good.cue", "PERFORMER \"The Band\"\nTITLE \"Live\"\nFILE \"image.wav\" WAVE\n"
                               "  TRACK 01 AUDIO\n    TITLE \"Opening\"\n    INDEX 01 00:00:00\n"
                               "  TRACK 02 AUDIO\n    TITLE \"Closing\"\n    INDEX 00 00:03:00\n"
                               "    INDEX 01 00:03:30\n");
    // The whole command this time: the sheet comes through its panel.
    const auto panel = answerNextFolderPanel(good);
    DeliveryCommands::importCUE(*app);
    QVERIFY(*panel);
    const CDProject& imported = app->workspace().project();
    QCOMPARE(imported.albumTitle, std::string("Live"));
    QCOMPARE(imported.tracks.size(), std::size_t(2));
    QCOMPARE(imported.tracks[1].title, std::string("Closing"));
    QCOMPARE(imported.tracks[1].preGap.totalFrames, std::int64_t(30));
    QVERIFY(imported.tracks[0].audioFileURL.has_value());
    QCOMPARE(imported.tracks[0].audioFileURL->path(), sheets / "Good Audio" / "Track01.wav");
    QCOMPARE(entriesOf(sheets / "Good Audio"), (std::vector<std::string>{"Track01.wav", "Track02.wav"}));
    // Track 1 runs to track 2's INDEX 00: 3 seconds of 16-bit stereo behind a 44-byte header.
    QCOMPARE(fs::file_size(sheets / "Good Audio" / "Track01.wav"), std::uintmax_t(44 + 3 * 44100 * 4));
}

// "Cancel" stops the engine at its next report and leaves nothing behind: no track files, no
// hidden folder, no preview, no audio folder of an import, and no alert.
void DeliveryCommandsTest::cancelLeavesNoOutput() {
    PrivateHome home;
    auto app = startWith(writeProject(home.path(), 2, 1.0));
    QVERIFY(app);
    const CDProject before = app->workspace().project();

    const fs::path tracks = home.path() / "Tracks";
    fs::create_directories(tracks);
    auto pressed = cancelNextProgress();
    QVERIFY(!DeliveryCommands::runTracksExport(*app, AudioExporter::Format::aiff, tracks));
    QVERIFY(*pressed);
    QVERIFY(entriesOf(tracks).empty());
    QVERIFY(QApplication::activeModalWidget() == nullptr);

    const fs::path previews = home.path() / "Previews";
    fs::create_directories(previews);
    pressed = cancelNextProgress();
    QVERIFY(!DeliveryCommands::runPreviewExport(*app, PreviewFormat::quality,
                                                PreviewChoice{previews, "", false, ""}));
    QVERIFY(*pressed);
    QVERIFY(entriesOf(previews).empty());

    const fs::path sheets = home.path() / "Sheets";
    fs::create_directories(sheets);
    writeSineWav(sheets / "image.wav", 2.0, 330.0);
    std::ofstream(sheets / "Disc.cue")
        << "FILE \"image.wav\" WAVE\n  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n";
    pressed = cancelNextProgress();
    QVERIFY(!DeliveryCommands::runCUEImport(*app, sheets / "Disc.cue", sheets));
    QVERIFY(*pressed);
    QCOMPARE(entriesOf(sheets), (std::vector<std::string>{"Disc.cue", "image.wav"}));
    QVERIFY(app->workspace().project() == before);
    QVERIFY(QApplication::activeModalWidget() == nullptr);
}

int main(int argc, char** argv) {
    return runWindowTests<DeliveryCommandsTest>(argc, argv);
}
