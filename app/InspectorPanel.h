#pragma once
// The inspector column: the disc's fields, the selected track's fields (CD-Text, ISRC, gain, fades,
// gap, flags) and its take stack (colour, name, promotion to the disc, A/B audition while playing).
// Each field commits on editing finished as one undo step; the panel follows the workspace. GUI thread.

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

class InspectorPanel final : public QWidget {
  public:
    explicit InspectorPanel(WorkspaceState& workspace, QWidget* parent = nullptr);
    ~InspectorPanel() override;

  private:
    QWidget* makeDiscPage();
    QWidget* makeTrackPage();
    QWidget* makeTakePage();
    void refresh();
    const CDTrack* selectedTrack() const;
    // Applies a change to the selected track through one project value (one undo step).
    void editSelected(const std::function<void(CDTrack&)>& change);

    WorkspaceState& workspace_;
    WorkspaceState::SubscriptionID subscription_ = 0;
    bool refreshing_ = false;
    QTabWidget* tabs_ = nullptr;

    QLineEdit* albumTitle_ = nullptr;
    QLineEdit* albumPerformer_ = nullptr;
    QLineEdit* mcn_ = nullptr;
    QLabel* discSummary_ = nullptr;

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

    QListWidget* takes_ = nullptr;
    QPushButton* promote_ = nullptr;
    QPushButton* audition_ = nullptr;
};

} // namespace orvane::app
