#pragma once
// The timeline canvas: the disc's tracks on two alternating lanes over a time ruler, each with its
// waveform from the workspace's peaks, fades, INDEX flags and the playhead, painted with QPainter.
// Drags on a clip edit it as one gesture (one undo step): the fade handles at its top corners, its
// trim edges, and its body, which moves the gap before it (a negative gap is a crossfade). A click on
// the ruler locates the playhead. GUI thread.

#include "model/Uuid.h"
#include "workspace/WorkspaceState.h"

#include <QWidget>
#include <cstdint>
#include <optional>
#include <unordered_map>
#include <vector>

namespace orvane::app {

class TimelineView final : public QWidget {
  public:
    static constexpr int rulerHeight = 26;
    static constexpr int laneGap = 8;
    static constexpr int handleRadius = 6;

    explicit TimelineView(WorkspaceState& workspace, QWidget* parent = nullptr);
    ~TimelineView() override;

    // Where a frame of the disc lies across the widget, and back.
    double xForFrame(double frame) const;
    double frameForX(double x) const;
    // The clip of a track (by running-order index) on screen; empty when it has no position.
    QRectF clipRect(std::size_t index) const;

    // The part a press at this point would drag.
    enum class Part { none, ruler, fadeIn, fadeOut, trimStart, trimEnd, body };
    struct Hit {
        Part part = Part::none;
        std::size_t trackIndex = 0;
    };
    Hit hitTest(QPointF point) const;

    QSize minimumSizeHint() const override { return {600, 160}; }

  protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

  private:
    struct Drag {
        Part part = Part::none;
        Uuid trackID;
        double pressFrame = 0.0;
        CDTrack before;
        bool moved = false;
    };

    void onWorkspaceChange(WorkspaceProperty property);
    std::int64_t discFrames() const;
    double framesPerPixel() const;
    void paintRuler(class QPainter& painter, const QRect& area) const;
    void paintClip(class QPainter& painter, std::size_t index) const;
    void applyDrag(double frameNow, ReloadPlayback reload);
    void locate(double x);

    // Peaks folded 32 buckets to one, so a zoomed-out view reads a few pairs per pixel rather than
    // thousands. Made on first use, dropped whenever the peaks or the project change.
    const std::vector<float>& coarsePeaks(const Uuid& trackID, const std::vector<float>& peaks) const;

    WorkspaceState& workspace_;
    WorkspaceState::SubscriptionID subscription_ = 0;
    mutable std::unordered_map<Uuid, std::vector<float>> coarse_;
    double zoom_ = 1.0;        // 1: the whole disc fits the width
    double scrollFrame_ = 0.0; // the frame at the left edge
    std::optional<Drag> drag_;
    bool scrubbing_ = false;
    mutable int lastPlayheadX_ = 0;
};

} // namespace orvane::app
