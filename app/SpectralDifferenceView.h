#pragma once
// The version inspector's tone comparison: the level-matched long-term spectrum of a take minus the
// track's active master, in two panels (the passband, and the Nyquist transition where converters
// differ), each on a logarithmic frequency axis with a symmetric dB scale that fits the data. Asks
// the spectral cache for both imprints when shown and fills in when they arrive. GUI thread.

#include "analysis/SpectralCache.h"
#include "model/Uuid.h"

#include <QWidget>
#include <optional>
#include <string>

namespace orvane::app {

class SpectralDifferenceView final : public QWidget {
  public:
    explicit SpectralDifferenceView(SpectralCache& cache, QWidget* parent = nullptr);

    // The take compared with the track's master; nothing shows the empty state.
    void setSource(std::optional<Uuid> trackID, std::optional<Uuid> takeID, std::string takeName);
    // Both imprints are there and the grids match: the curve is drawn.
    bool hasCurve() const;
    // Asks for missing imprints again (after the cache dropped or gained one).
    void refresh();

    QSize sizeHint() const override { return {320, 300}; }

  protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;

  private:
    void requestImprints();
    void paintPanel(QPainter& painter, const QRectF& area, const QString& title, double fMin, double fMax,
                    bool nyquistStyle, const SpectralImprint& reference, const SpectralImprint& target);

    SpectralCache& cache_;
    std::optional<Uuid> trackID_;
    std::optional<Uuid> takeID_;
    std::string takeName_;
};

} // namespace orvane::app
