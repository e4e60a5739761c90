#include "app/MainWindow.h"

#include "app/DeliveryCommands.h"
#include "app/DeliveryMenu.h"
#include "app/InspectorPanel.h"
#include "app/MeterPanel.h"
#include "app/NotificationCenter.h"
#include "app/OrvaneApp.h"
#include "app/Theme.h"
#include "app/TimelineView.h"
#include "app/TrackTableModel.h"
#include "app/TransportBar.h"
#include "model/RedBook.h"
#include "workspace/ProjectStore.h"

#include <QActionGroup>
#include <QApplication>
#include <QCloseEvent>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFileInfo>
#include <QHeaderView>
#include <QMenuBar>
#include <QMimeData>
#include <QScrollArea>
#include <QSplitter>
#include <QTableView>
#include <QTimer>
#include <QVBoxLayout>

namespace orvane::app {

MainWindow::MainWindow(OrvaneApp& app) : app_(app) {
    setObjectName(QStringLiteral("mainWindow"));
    setMinimumSize(minimumWidth, minimumHeight);
    resize(1440, 860);
    setAcceptDrops(true);
    WorkspaceState& workspace = app_.workspace();

    auto* central = new QWidget;
    auto* layout = new QVBoxLayout(central);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    transport_ = new TransportBar(workspace, app_.engine(), app_.defaults());
    layout->addWidget(transport_);

    auto* columns = new QSplitter(Qt::Horizontal);
    columns->setHandleWidth(1);
    auto* editing = new QSplitter(Qt::Vertical);
    editing->setHandleWidth(1);
    timeline_ = new TimelineView(workspace, app_.loop(), &app_.engine());
    editing->addWidget(timeline_);
    model_ = new TrackTableModel(workspace, app_.loudness(), app_.panelHost(), this);
    table_ = new QTableView;
    table_->setObjectName(QStringLiteral("trackTable"));
    model_->attachView(*table_);
    editing->addWidget(table_);
    editing->setStretchFactor(0, 3);
    editing->setStretchFactor(1, 2);
    columns->addWidget(editing);

    sideColumn_ = new QWidget;
    sideColumn_->setMinimumWidth(300);
    sideColumn_->setMaximumWidth(420);
    auto* side = new QVBoxLayout(sideColumn_);
    side->setContentsMargins(0, 0, 0, 0);
    side->setSpacing(0);
    inspector_ = new InspectorPanel(workspace, app_.loudness());
    // The inspector scrolls when the window is short, so the meters below it keep their height.
    auto* inspectorScroll = new QScrollArea;
    inspectorScroll->setWidget(inspector_);
    inspectorScroll->setWidgetResizable(true);
    inspectorScroll->setFrameShape(QFrame::NoFrame);
    inspectorScroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    side->addWidget(inspectorScroll, 1);
    meters_ = new MeterPanel(app_.engine().metering(), app_.loop(), app_.settings());
    meters_->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    side->addWidget(meters_);
    columns->addWidget(sideColumn_);
    columns->setStretchFactor(0, 1);
    columns->setStretchFactor(1, 0);
    layout->addWidget(columns, 1);
    setCentralWidget(central);
    sideColumn_->setVisible(app_.settings().showInspector());

    buildMenus();
    subscription_ = workspace.subscribe([this](WorkspaceProperty property) {
        switch (property) {
        case WorkspaceProperty::isModified:
        case WorkspaceProperty::projectFileURL:
        case WorkspaceProperty::project:
            refreshTitle();
            refreshEditActions();
            break;
        case WorkspaceProperty::canUndo:
        case WorkspaceProperty::canRedo:
        case WorkspaceProperty::snapEnabled:
            refreshEditActions();
            break;
        default:
            break;
        }
    });
    app_.onRecentChanged = [this] { rebuildRecentMenu(); };
    refreshTitle();
    refreshEditActions();
}

MainWindow::~MainWindow() {
    app_.workspace().unsubscribe(subscription_);
}

void MainWindow::buildMenus() {
    const auto add = [this](QMenu* menu, const QString& text, const QKeySequence& keys, auto slot) {
        QAction* action = menu->addAction(text);
        if (!keys.isEmpty()) {
            action->setShortcut(keys);
        }
        connect(action, &QAction::triggered, this, slot);
        return action;
    };
    WorkspaceState& workspace = app_.workspace();
    AppSettings& settings = app_.settings();

    QMenu* file = menuBar()->addMenu(QStringLiteral("&File"));
    add(file, QStringLiteral("Open Project\u2026"), QKeySequence(QStringLiteral("Ctrl+O")),
        [this] { app_.openProject(); });
    recentMenu_ = file->addMenu(QStringLiteral("Recent Projects"));
    rebuildRecentMenu();
    file->addSeparator();
    add(file, QStringLiteral("Save Project"), QKeySequence(QStringLiteral("Ctrl+S")),
        [this] { app_.saveProject(); });
    add(file, QStringLiteral("Save Project As\u2026"), QKeySequence(QStringLiteral("Shift+Ctrl+S")),
        [this] { app_.saveProjectAs(); });
    file->addSeparator();
    add(file, QStringLiteral("Import DDP\u2026"), QKeySequence(QStringLiteral("Alt+Ctrl+I")),
        [this] { app_.importDDP(); });
    add(file, QStringLiteral("Import CUE Sheet\u2026"), QKeySequence(),
        [this] { DeliveryCommands::importCUE(app_); });
    add(file, QStringLiteral("Add Audio Files\u2026"), QKeySequence(), [this] {
        OpenPanelRequest request;
        request.title = "Add Audio Files";
        if (const auto chosen = QtPanelHost().runOpenPanel(request)) {
            app_.addFiles({*chosen});
        }
    });
    file->addSeparator();
    add(file, QStringLiteral("Close Project"), QKeySequence(QStringLiteral("Ctrl+W")),
        [this] { app_.closeProject(); });
    add(file, QStringLiteral("Quit"), QKeySequence(QStringLiteral("Ctrl+Q")), [this] {
        if (app_.shouldTerminate()) {
            QCoreApplication::quit();
        }
    });

    QMenu* edit = menuBar()->addMenu(QStringLiteral("&Edit"));
    undo_ = add(edit, QStringLiteral("Undo"), QKeySequence(QStringLiteral("Ctrl+Z")),
                [this] { app_.workspace().undo(); });
    redo_ = add(edit, QStringLiteral("Redo"), QKeySequence(QStringLiteral("Shift+Ctrl+Z")),
                [this] { app_.workspace().redo(); });
    edit->addSeparator();
    snap_ = add(edit, QStringLiteral("Snap"), QKeySequence(QStringLiteral("Shift+Ctrl+G")),
                [this](bool on) { app_.workspace().setSnapEnabled(on); });
    snap_->setCheckable(true);
    edit->addSeparator();
    QAction* remove = add(edit, QStringLiteral("Delete Track"), QKeySequence(Qt::Key_Backspace),
                          [this] { deleteSelection(); });
    remove->setShortcutContext(Qt::WidgetWithChildrenShortcut);
    timeline_->addAction(remove);

    QMenu* view = menuBar()->addMenu(QStringLiteral("&View"));
    QAction* inspector = add(view, QStringLiteral("Show Inspector"),
                             QKeySequence(QStringLiteral("Alt+Ctrl+0")), [this](bool on) {
                                 app_.settings().setShowInspector(on);
                                 sideColumn_->setVisible(on);
                             });
    inspector->setCheckable(true);
    inspector->setChecked(settings.showInspector());
    view->addSeparator();
    struct Toggle {
        const char* text;
        bool (AppSettings::*get)() const;
        void (AppSettings::*set)(bool);
    };
    const Toggle toggles[] = {
        {"VU Meter", &AppSettings::showVUMeter, &AppSettings::setShowVUMeter},
        {"Spectrum Analyzer", &AppSettings::showSpectrum, &AppSettings::setShowSpectrum},
        {"Correlation Meter", &AppSettings::showCorrelation, &AppSettings::setShowCorrelation},
        {"RT LUFS Readout", &AppSettings::showRTLufs, &AppSettings::setShowRTLufs},
    };
    for (const auto& toggle : toggles) {
        QAction* action =
            add(view, QString::fromLatin1(toggle.text), QKeySequence(), [this, set = toggle.set](bool on) {
                (app_.settings().*set)(on);
                meters_->applySettings();
            });
        action->setCheckable(true);
        action->setChecked((settings.*(toggle.get))());
    }
    QAction* gpu = add(view, QStringLiteral("Waveform GPU (OpenGL)"), QKeySequence(), [this](bool on) {
        app_.settings().setMetalWaveform(on);
        NotificationCenter::shared().post(NotificationCenter::waveRendererChanged);
    });
    gpu->setCheckable(true);
    gpu->setChecked(settings.metalWaveform());
    QMenu* clip = view->addMenu(QStringLiteral("Clip Detection"));
    auto* clipGroup = new QActionGroup(clip);
    for (const bool truePeak : {false, true}) {
        QAction* action =
            add(clip, truePeak ? QStringLiteral("True Peak") : QStringLiteral("Sample Peak"), QKeySequence(),
                [this, truePeak] { app_.engine().metering().setClipTruePeak(truePeak); });
        action->setCheckable(true);
        action->setChecked(app_.engine().metering().clipTruePeak() == truePeak);
        clipGroup->addAction(action);
    }

    QMenu* audio = menuBar()->addMenu(QStringLiteral("&Audio"));
    deviceMenu_ = audio->addMenu(QStringLiteral("Output Device"));
    connect(deviceMenu_, &QMenu::aboutToShow, this, &MainWindow::rebuildDeviceMenu);
    rebuildDeviceMenu();
    audio->addSeparator();
    add(audio, QStringLiteral("Play / Stop"), QKeySequence(Qt::Key_Space),
        [this] { app_.workspace().togglePlayback(); });
    add(audio, QStringLiteral("Stop"), QKeySequence(Qt::Key_Return), [this] { app_.engine().stop(); });
    add(audio, QStringLiteral("Loop In"), QKeySequence(Qt::Key_BracketLeft),
        [this] { app_.workspace().setLoopIn(); });
    add(audio, QStringLiteral("Loop Out"), QKeySequence(Qt::Key_BracketRight),
        [this] { app_.workspace().setLoopOut(); });
    add(audio, QStringLiteral("Clear Loop"), QKeySequence(Qt::Key_Escape),
        [this] { app_.workspace().clearLoop(); });
    add(audio, QStringLiteral("DIM"), QKeySequence(), [this] { app_.workspace().toggleMonitorDim(); });
    audio->addSeparator();
    add(audio, QStringLiteral("Analyze Loudness (R128)"), QKeySequence(QStringLiteral("Ctrl+L")),
        [this] { app_.analyzeLoudness(); });
    add(audio, QStringLiteral("Validate Project\u2026"), QKeySequence(QStringLiteral("Ctrl+K")),
        [this] { app_.validateProject(); });
    add(audio, QStringLiteral("Verify DDP Fileset\u2026"), QKeySequence(), [this] { app_.verifyDDP(); });

    QMenu* exportMenu = menuBar()->addMenu(QStringLiteral("E&xport"));
    add(exportMenu, QStringLiteral("DDP Fileset\u2026"), QKeySequence(QStringLiteral("Ctrl+E")),
        [this] { app_.exportDDP(); });
    DeliveryMenu::addExports(*exportMenu, app_);
    add(exportMenu, QStringLiteral("PQ Sheet"), QKeySequence(QStringLiteral("Shift+Ctrl+E")),
        [this] { app_.showPQSheet(); });
    add(exportMenu, QStringLiteral("Mastering Report\u2026"), QKeySequence(QStringLiteral("Shift+Ctrl+R")),
        [this] { app_.showMasteringReport(); });

    QMenu* help = menuBar()->addMenu(QStringLiteral("&Help"));
    add(help, QStringLiteral("Orvane Help"), QKeySequence(QStringLiteral("Ctrl+?")),
        [this] { app_.showHelp(); });
    add(help, QStringLiteral("Keyboard Shortcuts"), QKeySequence(QStringLiteral("Ctrl+/")),
        [this] { app_.showShortcuts(); });
    help->addSeparator();
    add(help, QStringLiteral("About Orvane"), QKeySequence(), [this] { app_.showAbout(); });
    (void)workspace;
}

QAction* MainWindow::findAction(const QString& text) const {
    const auto actions = findChildren<QAction*>();
    for (QAction* action : actions) {
        if (action->text() == text) {
            return action;
        }
    }
    return nullptr;
}

void MainWindow::rebuildRecentMenu() {
    recentMenu_->clear();
    const auto& urls = app_.recent().urls();
    if (urls.empty()) {
        recentMenu_->addAction(QStringLiteral("No Recent Projects"))->setEnabled(false);
    }
    for (const auto& url : urls) {
        QAction* action = recentMenu_->addAction(QString::fromStdString(url.filename().string()));
        action->setToolTip(QString::fromStdString(url.string()));
        connect(action, &QAction::triggered, this, [this, url] { app_.openRecent(url); });
    }
    recentMenu_->addSeparator();
    QAction* clear = recentMenu_->addAction(QStringLiteral("Clear Menu"));
    clear->setEnabled(!urls.empty());
    connect(clear, &QAction::triggered, this, [this] { app_.clearRecent(); });
}

void MainWindow::rebuildDeviceMenu() {
    deviceMenu_->clear();
    auto* group = new QActionGroup(deviceMenu_);
    const auto selected = app_.devices().selectedUID();
    QAction* systemDefault = deviceMenu_->addAction(QStringLiteral("System Default"));
    systemDefault->setCheckable(true);
    systemDefault->setChecked(!selected);
    group->addAction(systemDefault);
    connect(systemDefault, &QAction::triggered, this, [this] { app_.devices().select(std::nullopt); });
    deviceMenu_->addSeparator();
    for (const auto& device : app_.devices().devices()) {
        QAction* action = deviceMenu_->addAction(QString::fromStdString(device.name));
        action->setCheckable(true);
        action->setChecked(selected == device.uid);
        group->addAction(action);
        connect(action, &QAction::triggered, this, [this, uid = device.uid] { app_.devices().select(uid); });
    }
}

void MainWindow::refreshTitle() {
    const auto& file = app_.workspace().projectFileURL();
    const QString name = file ? QString::fromStdString(file->stem().string())
                              : (app_.workspace().project().albumTitle.empty()
                                     ? QStringLiteral("Untitled")
                                     : QString::fromStdString(app_.workspace().project().albumTitle));
    setWindowTitle(name + QStringLiteral("[*] \u2014 Orvane"));
    setWindowModified(app_.workspace().isModified());
}

void MainWindow::refreshEditActions() {
    undo_->setEnabled(app_.workspace().canUndo());
    redo_->setEnabled(app_.workspace().canRedo());
    snap_->setChecked(app_.workspace().snapEnabled());
}

void MainWindow::deleteSelection() {
    const auto& id = app_.workspace().selectedTrackID();
    if (!id) {
        return;
    }
    if (const auto index = app_.workspace().project().indexOfTrack(*id)) {
        app_.workspace().removeTrack(*index);
    }
}

void MainWindow::closeEvent(QCloseEvent* event) {
    // Closing the window is "Close Project": the window stays and shows the empty project.
    event->ignore();
    app_.closeProject();
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event) {
    if (event->mimeData()->hasUrls()) {
        event->acceptProposedAction();
    }
}

void MainWindow::dropEvent(QDropEvent* event) {
    std::vector<std::filesystem::path> audio;
    std::vector<std::filesystem::path> documents;
    std::vector<std::string> refused;
    for (const QUrl& url : event->mimeData()->urls()) {
        if (!url.isLocalFile()) {
            continue;
        }
        const std::filesystem::path path(url.toLocalFile().toStdString());
        const QFileInfo info(url.toLocalFile());
        if (ProjectStore::isOpenablePath(path)) {
            documents.push_back(path);
        } else if (info.isDir() || !info.isReadable()) {
            refused.push_back(path.filename().string());
        } else {
            audio.push_back(path);
        }
    }
    event->acceptProposedAction();
    // Handled after the drop returns, so no dialog runs inside the platform's drag.
    QTimer::singleShot(0, this, [this, audio, documents, refused] {
        if (!refused.empty()) {
            std::string text = "These items are not audio files Orvane can read:";
            for (const auto& name : refused) {
                text += "\n" + name;
            }
            app_.showError("Add Files Failed", text);
        }
        if (!documents.empty()) {
            app_.openDocuments(documents);
        }
        app_.addFiles(audio);
    });
}

} // namespace orvane::app
