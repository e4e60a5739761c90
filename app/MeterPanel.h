#pragma once
// The meters beside the inspector: level bars with peak markers and the clip lamp, the running
// loudness readout, the spectrum and the correlation bar, each a view of its monitoring model,
// shown or hidden by the user's settings. Their models tick on the main loop. GUI thread.

#include "monitoring/CorrelationModel.h"
#include "monitoring/SpectrumModel.h"
#include "monitoring/VUMeterModel.h"

#include <QWidget>
#include <memory>

namespace orvane {
class MainLoop;
class Metering;
class AppSettings;
} // namespace orvane

namespace orvane::app {

class MeterPanel final : public QWidget {
  public:
    MeterPanel(Metering& metering, MainLoop& loop, AppSettings& settings, QWidget* parent = nullptr);
    ~MeterPanel() override;

    // Shows the meters the settings ask for, and tells the tap which ones to compute.
    void applySettings();

  private:
    Metering& metering_;
    AppSettings& settings_;
    QWidget* levels_ = nullptr;
    QWidget* spectrum_ = nullptr;
    QWidget* correlation_ = nullptr;
    QWidget* loudness_ = nullptr;
    std::unique_ptr<VUMeterModel> vu_;
    std::unique_ptr<SpectrumModel> spectrumModel_;
    std::unique_ptr<CorrelationModel> correlationModel_;
};

} // namespace orvane::app
