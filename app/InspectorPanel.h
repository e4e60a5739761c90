#pragma once
// The inspector column: the disc's fields, the selected track's fields (CD-Text, ISRC, gain, fades,
// gap, flags), its loudness with a measure action, and its take stack (colour, name, promotion to
// the disc, A/B audition while playing, each take's loudness and its tone against the master).
// Each field commits on editing finished as one undo step; the panel follows the workspace. GUI thread.

#include "app/LoudnessCommands.h"
#include "workspace/WorkspaceState.h"

#include <QWidget>

class QCheckBox;
class QDoubleSpinBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QSpinBox;
class QTabWidget;

namespace orvane::app {

class SpectralDifferenceView;

class InspectorPanel final : public QWidget {
  public:
    InspectorPanel(WorkspaceState& workspace, LoudnessCommands& loudness, QWidget* parent = nullptr);
    // The take page's comparison graph (tests and screenshots look at it).
    SpectralDifferenceView& differenceView() { return *difference_; }
    // "-14.2 LUFS   -1.0 dBTP   6.3 LRA", or "Not measured".
    static QString loudnessText(const std::optional<TrackLoudness>& figures);
    ~InspectorPanel() override;

  private:
    QWidget* makeDiscPage();
    QWidget* makeTrackPage();
    QWidget* makeTakePage();
    void refresh();
    void refreshLoudness();
    // The selected row of the take list as (track, source) ids; the active take's source is the track.
    std::optional<std::pair<Uuid, Uuid>> takeSourceAt(int row) const;
    const CDTrack* selectedTrack() const;
    // Applies a change to the selected track through one project value (one undo step).
    void editSelected(const std::function<void(CDTrack&)>& change);

    WorkspaceState& workspace_;
    LoudnessCommands& loudness_;
    WorkspaceState::SubscriptionID subscription_ = 0;
    LoudnessCommands::ListenerID loudnessListener_ = 0;
    bool refreshing_ = false;
    QTabWidget* tabs_ = nullptr;

    QLineEdit* albumTitle_ = nullptr;
    QLineEdit* albumPerformer_ = nullptr;
    QLineEdit* mcn_ = nullptr;
    QLabel* discSummary_ = nullptr;
    QLabel* albumLoudness_ = nullptr;

    QLabel* trackHeading_ = nullptr;
    QWidget* trackFields_ = nullptr;
    QLineEdit* title_ = nullptr;
    QLineEdit* performer_ = nullptr;
    QLineEdit* isrc_ = nullptr;
    QCheckBox* gainEnabled_ = nullptr;
    QDoubleSpinBox* gain_ = nullptr;
    QDoubleSpinBox* fadeIn_ = nullptr;
    QDoubleSpinBox* fadeOut_ = nullptr;
    QSpinBox* preGap_ = nullptr;
    QCheckBox* preEmphasis_ = nullptr;
    QCheckBox* copyPermitted_ = nullptr;
    QLabel* source_ = nullptr;
    QLabel* trackLoudness_ = nullptr;
    QPushButton* trackAnalyze_ = nullptr;

    QListWidget* takes_ = nullptr;
    QPushButton* promote_ = nullptr;
    QPushButton* audition_ = nullptr;
    QLabel* takeLoudness_ = nullptr;
    QPushButton* takeAnalyze_ = nullptr;
    SpectralDifferenceView* difference_ = nullptr;
};

} // namespace orvane::app
