#pragma once
// The "Mastering Report" panel: the studio's details (kept in the user's defaults), the head lines
// of this report and its sections on the left, and page 1 as it will print on the right, rebuilt
// 250 ms after the last change of a field, of the project or of the loudness figures. "Export PDF…"
// writes the whole report atomically. GUI thread.

#include "app/LoudnessCommands.h"
#include "delivery/MasteringReportModel.h"
#include "platform/DefaultsStore.h"
#include "workspace/PanelHost.h"
#include "workspace/WorkspaceState.h"

#include <QDialog>
#include <QImage>
#include <filesystem>
#include <string>
#include <tl/expected.hpp>

class QCheckBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QTimer;

namespace orvane::app {

class ReportPanel final : public QDialog {
  public:
    static constexpr int debounceMilliseconds = 250;

    ReportPanel(WorkspaceState& workspace, LoudnessCommands& loudness, DefaultsStore& defaults,
                PanelHost& alerts, QWidget* parent = nullptr);
    ~ReportPanel() override;

    MasteringReportModel& model() { return model_; }
    // The report's bytes as they stand now; the drawing layer's failure as text otherwise.
    tl::expected<std::string, std::string> pdf() const;
    // Writes the report to `file` whole or not at all.
    tl::expected<void, std::string> exportTo(const std::filesystem::path& file) const;
    // Takes the logo from an image file (PNG, JPEG or TIFF); false when it can't be read, and the
    // logo stays as it was.
    bool chooseLogoFile(const std::filesystem::path& file);

    // Page 1 as last drawn, and how many times it has been drawn.
    const QImage& previewImage() const { return preview_; }
    int previewBuilds() const { return previewBuilds_; }
    // "Album Title Mastering Report", or "Mastering Report" without a title.
    static std::string proposedFileName(const CDProject& project);

  private:
    QWidget* makeForm();
    void scheduleRebuild();
    void rebuildPreview();
    void refreshLoudnessState();
    void exportWithPanel();
    void chooseLogoWithPanel();

    WorkspaceState& workspace_;
    LoudnessCommands& loudness_;
    PanelHost& alerts_;
    MasteringReportModel model_;
    WorkspaceState::SubscriptionID subscription_ = 0;
    LoudnessCommands::ListenerID loudnessListener_ = 0;
    QTimer* debounce_ = nullptr;
    QImage preview_;
    int previewBuilds_ = 0;

    QLineEdit* studioName_ = nullptr;
    QPlainTextEdit* studioContact_ = nullptr;
    QLabel* logoState_ = nullptr;
    QPushButton* removeLogo_ = nullptr;
    QLineEdit* client_ = nullptr;
    QLineEdit* engineer_ = nullptr;
    QLineEdit* date_ = nullptr;
    QLineEdit* note_ = nullptr;
    QCheckBox* sourceFiles_ = nullptr;
    QCheckBox* trackNotes_ = nullptr;
    QLabel* loudnessState_ = nullptr;
    QPushButton* analyze_ = nullptr;
    QLabel* page_ = nullptr;
};

} // namespace orvane::app
