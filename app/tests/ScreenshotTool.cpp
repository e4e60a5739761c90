// orvane_screenshots PROJECT OUTDIR: opens a project in the desktop and writes PNGs of the main
// window, the inspector, the table with loudness figures, a take's tone comparison, the mastering
// report panel, the help viewer, the PQ sheet panel, the client preview and batch delivery panels and
// the DDP export's progress window, answering each dialog itself. A developer's tool for looking at
// the windows; never installed.

#include "app/DeliveryCommands.h"
#include "app/InspectorPanel.h"
#include "app/MainWindow.h"
#include "app/OrvaneApp.h"
#include "app/SpectralDifferenceView.h"
#include "app/Theme.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDialog>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPainter>
#include <QPlainTextEdit>
#include <QPointer>
#include <QProgressDialog>
#include <QPushButton>
#include <QTabWidget>
#include <QTableView>
#include <QTimer>
#include <cstdio>
#include <cstdlib>
#include <functional>

using namespace orvane::app;

namespace {

QString outDir;

void save(const QImage& image, const QString& name) {
    const QString path = outDir + QLatin1Char('/') + name;
    if (!image.save(path)) {
        std::fprintf(stderr, "could not write %s\n", qPrintable(path));
        return;
    }
    std::printf("%s\n", qPrintable(path));
}

// The main window with a dialog drawn over its centre, as the user sees a modal window.
QImage composite(QWidget* window, QWidget* dialog) {
    QImage image = window->grab().toImage();
    const QImage over = dialog->grab().toImage();
    QPainter painter(&image);
    painter.fillRect(image.rect(), QColor(0, 0, 0, 90));
    const QPoint at((image.width() - over.width()) / 2, (image.height() - over.height()) / 3);
    painter.fillRect(QRect(at + QPoint(4, 6), over.size()), QColor(0, 0, 0, 120));
    painter.drawImage(at, over);
    return image;
}

// Runs `handle` on each modal window as it appears, until the tool quits.
void watchModals(const std::function<void(QWidget*)>& handle) {
    auto* timer = new QTimer(qApp);
    auto* last = new QPointer<QWidget>();
    QObject::connect(timer, &QTimer::timeout, timer, [handle, last] {
        QWidget* modal = QApplication::activeModalWidget();
        if (modal && modal != last->data()) {
            *last = modal;
            handle(modal);
        }
    });
    timer->start(50);
}

// Calls `then` once `done` holds, polling the event loop.
void whenReady(const std::function<bool()>& done, const std::function<void()>& then) {
    auto* timer = new QTimer(qApp);
    QObject::connect(timer, &QTimer::timeout, timer, [timer, done, then] {
        if (done()) {
            timer->stop();
            timer->deleteLater();
            then();
        }
    });
    timer->start(100);
}

// The disc measured from the menu (its summary alert is pictured by the modal watcher), the table
// with its figures, a take of track 2 compared with its master, and the mastering report panel.
void loudnessShots(OrvaneApp& app, std::function<void()> then) {
    MainWindow& window = app.window();
    app.analyzeLoudness();
    whenReady([&app] { return !app.loudness().isRunning() && QApplication::activeModalWidget() == nullptr; },
              [&app, &window, then] {
                  save(window.grab().toImage(), QStringLiteral("table-loudness.png"));
                  auto& ws = app.workspace();
                  const auto& tracks = ws.project().tracks;
                  if (tracks.size() < 2 || !tracks[0].audioFileURL) {
                      then();
                      return;
                  }
                  // Another master as a take of track 2, so the graph has a real difference to show.
                  const auto trackID = tracks[1].id;
                  ws.addVersionsToTrack({tracks[0].audioFileURL->path()}, trackID);
                  ws.setSelectedTrackID(trackID);
                  const auto takeID = ws.project().tracks[1].versions.front().id;
                  ws.setExpandedTrackIDs({trackID});
                  ws.setSelectedVersionID(takeID);
                  ws.setInspectorTab(orvane::InspectorTab::take);
                  whenReady([&window] { return window.inspector().differenceView().hasCurve(); },
                            [&app, &window, then] {
                                QTimer::singleShot(300, &app, [&app, &window, then] {
                                    save(window.grab().toImage(), QStringLiteral("main-window-take.png"));
                                    save(window.inspector().grab().toImage(),
                                         QStringLiteral("inspector-take-difference.png"));
                                    app.showMasteringReport();
                                    then();
                                });
                            });
              });
}

} // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    if (argc != 3) {
        std::fprintf(stderr, "usage: orvane_screenshots PROJECT OUTDIR\n");
        return 2;
    }
    outDir = QString::fromLocal8Bit(argv[2]);
    QDir().mkpath(outDir);
    Theme::apply(application);
    Theme::registerBundleFonts(Theme::fontFolder());

    AppOptions options;
    options.offlineAudio = true;
    OrvaneApp app(options);
    app.openDocuments({argv[1]});
    app.showWindow();
    MainWindow& window = app.window();
    window.resize(1600, 900);

    const QString exportFolder = outDir + QStringLiteral("/DDP");
    QDir(exportFolder).removeRecursively();
    QDir().mkpath(exportFolder);
    bool progressTaken = false;
    watchModals([&](QWidget* modal) {
        // The delivery panels are pictured over the window, then dismissed: no export runs from them.
        if (modal->objectName() == QStringLiteral("previewPanel") ||
            modal->objectName() == QStringLiteral("batchPanel")) {
            const QString name = modal->objectName() == QStringLiteral("previewPanel")
                                     ? QStringLiteral("preview-panel.png")
                                     : QStringLiteral("batch-panel.png");
            QTimer::singleShot(300, modal, [&window, modal, name] {
                save(composite(&window, modal), name);
                static_cast<QDialog*>(modal)->reject();
            });
            return;
        }
        if (auto* files = qobject_cast<QFileDialog*>(modal)) {
            QTimer::singleShot(100, files, [files, exportFolder] {
                files->setDirectory(QFileInfo(exportFolder).absolutePath());
                files->selectFile(QFileInfo(exportFolder).fileName());
                static_cast<QDialog*>(files)->accept();
            });
            return;
        }
        if (modal->objectName() == QStringLiteral("pqSheetPanel")) {
            QTimer::singleShot(300, modal, [&window, modal] {
                save(modal->grab().toImage(), QStringLiteral("pq-sheet.png"));
                save(composite(&window, modal), QStringLiteral("pq-sheet-over-window.png"));
                static_cast<QDialog*>(modal)->accept();
            });
            return;
        }
        if (modal->objectName() == QStringLiteral("progressWindow") && !progressTaken) {
            progressTaken = true;
            QTimer::singleShot(120, modal, [&window, modal] {
                save(composite(&window, modal), QStringLiteral("export-progress.png"));
                // Cancelled once pictured: the export itself is the CLI demo's business.
                if (auto* cancel = modal->findChild<QPushButton*>(QStringLiteral("progressCancel"))) {
                    cancel->click();
                }
                // A debug build's converter may take a while to reach its next cancel point; the
                // pictures are written, so the tool need not wait for it.
                QTimer::singleShot(1500, [] { std::exit(0); });
            });
            return;
        }
        if (modal->objectName() == QStringLiteral("masteringReportPanel")) {
            if (auto* name = modal->findChild<QLineEdit*>(QStringLiteral("studioName"));
                name && name->text().isEmpty()) {
                name->setText(QStringLiteral("Northlight Mastering"));
            }
            if (auto* contact = modal->findChild<QPlainTextEdit*>(QStringLiteral("studioContact"));
                contact && contact->toPlainText().isEmpty()) {
                contact->setPlainText(
                    QStringLiteral("12 Harbour Lane \u00b7 Bristol \u00b7 northlight.example"));
            }
            if (auto* client = modal->findChild<QLineEdit*>(QStringLiteral("client"))) {
                client->setText(QStringLiteral("Tidewater Records"));
            }
            QTimer::singleShot(900, modal, [&window, modal] {
                save(modal->grab().toImage(), QStringLiteral("mastering-report.png"));
                save(composite(&window, modal), QStringLiteral("mastering-report-over-window.png"));
                static_cast<QDialog*>(modal)->accept();
            });
            return;
        }
        if (auto* box = qobject_cast<QMessageBox*>(modal);
            box && box->text() == "Loudness Analysis Complete") {
            QTimer::singleShot(200, box, [&window, box] {
                save(composite(&window, box), QStringLiteral("loudness-summary.png"));
                box->buttons().front()->click();
            });
            return;
        }
        if (auto* box = qobject_cast<QMessageBox*>(modal)) {
            QTimer::singleShot(200, box, [&window, box] {
                save(composite(&window, box), QStringLiteral("export-result.png"));
                box->buttons().front()->click();
            });
        }
    });

    // A dialog nobody answers must not leave the tool hanging.
    QTimer::singleShot(90000, &app, [] {
        std::fprintf(stderr, "orvane_screenshots: timed out\n");
        std::exit(1);
    });
    // Steps, each after the previous has had time to paint.
    QTimer::singleShot(1500, &app, [&] {
        save(window.grab().toImage(), QStringLiteral("main-window.png"));
        const auto& tracks = app.workspace().project().tracks;
        if (tracks.size() > 1) {
            app.workspace().setSelectedTrackID(tracks[1].id);
        }
        QTimer::singleShot(400, &app, [&] {
            save(window.grab().toImage(), QStringLiteral("main-window-selected.png"));
            save(window.inspector().grab().toImage(), QStringLiteral("inspector.png"));
            loudnessShots(app, [&app] {
                app.showHelp();
                QTimer::singleShot(250, &app, [&app] {
                    for (QWidget* widget : QApplication::topLevelWidgets()) {
                        if (widget->objectName() == QStringLiteral("helpViewer")) {
                            save(widget->grab().toImage(), QStringLiteral("help.png"));
                            widget->hide();
                        }
                    }
                    app.showPQSheet();
                    DeliveryCommands::exportPreview(app, orvane::PreviewFormat::quality);
                    DeliveryCommands::batchDelivery(app);
                    app.exportDDP();
                    QApplication::quit();
                });
            });
        });
    });
    return QApplication::exec();
}
