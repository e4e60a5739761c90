#pragma once
// The application: it holds the settings, the one workspace and its engine, the recent list and the
// panels, answers document-open and quit events and runs every command of the menus. The window is a
// view of it. GUI thread only; one per process (tests make one at a time).

#include "analysis/PeakHooks.h"
#include "app/LoudnessCommands.h"
#include "app/MainLoopDriver.h"
#include "app/QtPanelHost.h"
#include "monitoring/AudioDeviceManager.h"
#include "monitoring/PlaybackEngine.h"
#include "platform/DefaultsStore.h"
#include "platform/MainLoop.h"
#include "platform/SystemAudioOutput.h"
#include "workspace/AppSettings.h"
#include "workspace/ProjectPanels.h"
#include "workspace/RecentProjectsStore.h"
#include "workspace/WorkspaceState.h"

#include <QObject>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace orvane::app {

class MainWindow;
class HelpViewer;

struct AppOptions {
    // The main loop's clock; nothing means the steady clock. Tests move a manual one.
    std::shared_ptr<MainLoopClock> clock;
    // Play on the offline device only, never opening the sound hardware (headless runs).
    bool offlineAudio = false;
};

class OrvaneApp final : public QObject {
  public:
    // Reads the settings, migrates the former identity's once, creates the workspace and starts
    // its autosave; the window is made by showWindow().
    explicit OrvaneApp(AppOptions options = {});
    ~OrvaneApp() override;

    // Shows the main window; once it is on screen the recovery question runs, then any pending
    // document opens.
    void showWindow();
    MainWindow& window() { return *window_; }

    // Documents from outside (command line, file manager): the first .ovproj or .ovt is taken.
    void openDocuments(const std::vector<std::filesystem::path>& urls);
    const std::optional<std::filesystem::path>& pendingProjectURL() const { return pendingProjectURL_; }

    // Whether the application may end now: asks about unsaved changes, and on yes deletes the
    // recovery copy.
    bool shouldTerminate();

    // --- Commands ---
    void openProject();
    void openRecent(const std::filesystem::path& url);
    void clearRecent();
    bool saveProject();
    bool saveProjectAs();
    void closeProject(); // after the unsaved-changes question
    void importDDP();
    void verifyDDP();
    void exportDDP();
    void validateProject();
    void showPQSheet();
    void analyzeLoudness();
    void showMasteringReport();
    void showShortcuts();
    void showHelp(); // the help viewer, made on first use and raised after
    void showAbout();
    void addFiles(const std::vector<std::filesystem::path>& files);

    WorkspaceState& workspace() { return *workspace_; }
    PlaybackEngine& engine() { return *engine_; }
    AppSettings& settings() { return settings_; }
    DefaultsStore& defaults() { return defaults_; }
    RecentProjectsStore& recent() { return recent_; }
    ProjectPanels& panels() { return panels_; }
    MainLoop& loop() { return loop_; }
    MainLoopDriver& driver() { return *driver_; }
    AudioOutput& output() { return *output_; }
    AudioDeviceManager& devices() { return *deviceManager_; }
    LoudnessCommands& loudness() { return *loudness_; }
    PanelHost& panelHost() { return panelHost_; }

    // Told after the recent list changed (the window rebuilds its menu).
    std::function<void()> onRecentChanged;

    // An alert titled for the operation whose text is the error's own.
    void showError(const std::string& title, const std::string& text);

  private:
    void runRecoveryPrompt();
    void openPendingProject();

    AppOptions options_;
    DefaultsStore defaults_;
    AppSettings settings_;
    MainLoop loop_;
    std::unique_ptr<MainLoopDriver> driver_;
    std::unique_ptr<AudioOutput> output_;
    PlaybackEngine* engine_ = nullptr; // owned by the workspace
    std::unique_ptr<WorkspaceState> workspace_;
    std::unique_ptr<PeakHooks> peakHooks_;
    std::unique_ptr<AudioDeviceManager> deviceManager_;
    RecentProjectsStore recent_;
    QtPanelHost panelHost_;
    ProjectPanels panels_;
    std::unique_ptr<LoudnessCommands> loudness_;
    std::unique_ptr<MainWindow> window_;
    std::unique_ptr<HelpViewer> help_;
    std::optional<std::filesystem::path> pendingProjectURL_;
    bool recoveryAsked_ = false;
};

} // namespace orvane::app
