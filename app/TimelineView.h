#pragma once
// The timeline canvas on screen: Qt's mouse, wheel and key events turned into the canvas logic's
// abstract events, and a painting of what that logic lays out (ruler, waveforms, fades, crossfades,
// envelopes, gaps, INDEX flags, the loop, the pin and the playhead). Every gesture, its snapping and
// its one undo step belong to TimelineCanvas; this widget only translates and paints. The widget's x
// is the canvas's x less the scroll origin; a scroll bar under the ruler moves the origin.
// The canvas is painted into a layer kept between paints: a change repaints only the band it
// touches (a gesture's band, the whole canvas after a zoom or scroll), and the playhead moving over
// it costs a copy of two narrow strips. Waveforms come from a per-track outline cache.
// GUI thread. The layer is painted on a pool thread while the GUI thread waits for it, so Qt's raster
// engine doesn't split every tall fill across that same pool; the state it reads is never touched by
// two threads at once.

#include "analysis/SampleWindowCache.h"
#include "app/WaveformStripCache.h"
#include "interface/TimelineCanvas.h"
#include "interface/Viewport.h"
#include "workspace/WorkspaceState.h"

#include <QImage>
#include <QRegion>
#include <QWidget>
#include <cstdint>
#include <memory>
#include <vector>

class QScrollBar;

namespace orvane {
class PlaybackEngine;
}

namespace orvane::app {

class TimelineView final : public QWidget {
  public:
    static constexpr int scrollBarHeight = 12;

    // `engine` hears live fades and the locator time display; it may be null (a view for drawing only).
    TimelineView(WorkspaceState& workspace, MainLoop& loop, PlaybackEngine* engine,
                 QWidget* parent = nullptr);
    ~TimelineView() override;

    // Where a disc frame lies across the widget, and the frame under a widget x.
    double xForFrame(double frame) const;
    double frameForX(double x) const;
    // A track's audio over the lane, in widget coordinates (by running-order index of the shown
    // project); empty when it has no position.
    QRectF clipRect(std::size_t index) const;
    double canvasHeight() const;

    // The horizontal zoom in points a second; the scroll origin stays where the logic puts it.
    void setPixelsPerSecond(double pps);
    double pixelsPerSecond() const { return viewport_.pixelsPerSecond; }
    // The scroll view's left edge in canvas points.
    void scrollToOrigin(double originX);
    double originX() const { return scroll_.originX; }

    TimelineCanvas& canvas() { return *canvas_; }
    // Drops the kept layer: the next paint draws the whole canvas anew (outlines stay cached).
    void invalidateLayer();
    const WaveformStripCache& stripCache() const { return strips_; }

    QSize minimumSizeHint() const override { return {600, 180}; }

  protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void leaveEvent(QEvent* event) override;

  private:
    void onWorkspaceChange(WorkspaceProperty property);
    void refreshScroll();
    void applyGeometry();
    QRect bandRect(double minX, double maxX) const;
    void redrawCanvasBand(double minX, double maxX);
    // `area` of the widget shows something new: repainted into the layer at the next paint.
    void invalidate(const QRect& area);
    void paintLayer(const QRegion& region);
    void redrawFromFirstMovedTrack();
    PointerEvent pointerEvent(const QMouseEvent& event, int clickCount) const;

    WorkspaceState& workspace_;
    PlaybackEngine* engine_ = nullptr;
    WorkspaceState::SubscriptionID subscription_ = 0;
    ViewportState viewport_;
    ScrollGeometry scroll_;
    std::unique_ptr<TimelineCanvas> canvas_;
    WaveformStripCache strips_;
    SampleWindowCache samples_;
    QImage layer_;
    QRegion stale_;
    double layerOrigin_ = -1.0;
    ViewportState layerViewport_;
    QScrollBar* scrollBar_ = nullptr;
    std::uint64_t rendererObserver_ = 0;
    std::vector<TrackPosition> lastPositions_;
    double lastTime_ = 0.0;
    bool pressed_ = false;
    bool settingScroll_ = false;
};

} // namespace orvane::app
