#pragma once
// The workspace's alerts and file dialogs as Qt's own modal windows, over the main window. GUI thread.

#include "workspace/PanelHost.h"

class QWidget;

namespace orvane::app {

class QtPanelHost final : public PanelHost {
  public:
    void setParentWindow(QWidget* window) { parent_ = window; }

    std::size_t showAlert(const AlertRequest& request) override;
    std::optional<std::filesystem::path> runOpenPanel(const OpenPanelRequest& request) override;
    std::optional<std::filesystem::path> runSavePanel(const SavePanelRequest& request) override;

  private:
    QWidget* parent_ = nullptr;
};

} // namespace orvane::app
