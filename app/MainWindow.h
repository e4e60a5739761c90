#pragma once
// The one window: transport bar on top, the timeline over the track table on the left, inspector
// and meters on the right; the menus of every command; the close guard (closing the window closes
// the project, never the application); dropped audio files and documents. GUI thread.

#include "workspace/WorkspaceState.h"

#include <QMainWindow>

class QAction;
class QMenu;
class QSplitter;
class QTableView;

namespace orvane::app {

class OrvaneApp;
class TimelineView;
class TrackTableModel;
class InspectorPanel;
class TransportBar;
class MeterPanel;

class MainWindow final : public QMainWindow {
  public:
    static constexpr int minimumWidth = 1200;
    static constexpr int minimumHeight = 600;

    explicit MainWindow(OrvaneApp& app);
    ~MainWindow() override;

    TimelineView& timeline() { return *timeline_; }
    QTableView& trackTable() { return *table_; }
    InspectorPanel& inspector() { return *inspector_; }
    // The menu action with this text, searched through every menu; nullptr when absent.
    QAction* findAction(const QString& text) const;

  protected:
    // The close button: asks about unsaved changes, closes the project, keeps the window.
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

  private:
    void buildMenus();
    void rebuildRecentMenu();
    void rebuildDeviceMenu();
    void refreshTitle();
    void refreshEditActions();
    void deleteSelection();

    OrvaneApp& app_;
    WorkspaceState::SubscriptionID subscription_ = 0;
    TimelineView* timeline_ = nullptr;
    TrackTableModel* model_ = nullptr;
    QTableView* table_ = nullptr;
    InspectorPanel* inspector_ = nullptr;
    QWidget* sideColumn_ = nullptr;
    TransportBar* transport_ = nullptr;
    MeterPanel* meters_ = nullptr;
    QMenu* recentMenu_ = nullptr;
    QMenu* deviceMenu_ = nullptr;
    QAction* undo_ = nullptr;
    QAction* redo_ = nullptr;
    QAction* snap_ = nullptr;
};

} // namespace orvane::app
