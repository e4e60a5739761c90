#pragma once
// The desktop side of loudness and spectral measurement: owns the open project's loudness figures
// and spectral imprints, runs the loudness jobs behind a "Loudness Analysis" progress window with
// "Cancel", and shows the closing alerts. The table and the inspectors read the figures here and
// subscribe to hear when they change. GUI thread only; the jobs report through the main loop.

#include "analysis/LoudnessRun.h"
#include "analysis/LoudnessStore.h"
#include "analysis/SpectralCache.h"
#include "delivery/PQSheetContent.h"
#include "model/Uuid.h"
#include "platform/MainLoop.h"
#include "workspace/PanelHost.h"
#include "workspace/WorkspaceState.h"

#include <QPointer>
#include <QProgressDialog>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

class QWidget;

namespace orvane::app {

class LoudnessCommands final {
  public:
    // The store is attached to the workspace's hooks, so saving writes the figures into the
    // document and opening takes them up again. All three must outlive this object.
    LoudnessCommands(WorkspaceState& workspace, MainLoop& loop, PanelHost& alerts);
    ~LoudnessCommands();
    LoudnessCommands(const LoudnessCommands&) = delete;
    LoudnessCommands& operator=(const LoudnessCommands&) = delete;

    void setParentWindow(QWidget* window) { parent_ = window; }

    const LoudnessStore& store() const { return store_; }
    SpectralCache& spectral() { return spectral_; }
    // Every measured figure, as the delivery sheets take them.
    TrackLoudnessMap figureMap() const;
    // The figures of a track (its active take) or of a take; nothing when not measured.
    std::optional<TrackLoudness> figures(const Uuid& id) const;

    // Every track, then the summary alert ("Analyze Loudness (R128)").
    void analyzeAlbum();
    // These tracks and their unmeasured takes, without the summary.
    void analyzeTracks(const std::vector<Uuid>& trackIDs);
    // One take of a track's stack, measured again even if it has figures.
    void analyzeVersion(const Uuid& trackID, const Uuid& versionID);
    bool isRunning() const { return run_.isRunning(); }
    void cancel() { run_.cancel(); }
    // The progress window while a run goes on; nullptr otherwise.
    QProgressDialog* progressWindow() const { return window_; }

    // Told after any change of figures, the album figure or the imprints.
    using ListenerID = int;
    ListenerID subscribe(std::function<void()> listener);
    void unsubscribe(ListenerID id);

  private:
    void showProgress(const std::string& label, double fraction);
    void finished(const std::vector<LoudnessAlert>& alerts);
    void notify();

    WorkspaceState& workspace_;
    PanelHost& alerts_;
    LoudnessStore store_;
    SpectralCache spectral_;
    LoudnessRun run_;
    QWidget* parent_ = nullptr;
    QPointer<QProgressDialog> window_;
    std::map<ListenerID, std::function<void()>> listeners_;
    ListenerID nextListener_ = 1;
    std::shared_ptr<int> alive_ = std::make_shared<int>(0); // deferred alerts check it
};

} // namespace orvane::app
