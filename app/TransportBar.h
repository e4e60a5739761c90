#pragma once
// The transport bar: the seven-segment time display of the playhead (MM:SS:FF on the disc) and the
// track under it, the transport buttons (previous, spool back, play/pause, stop, spool forward,
// next, loop), the monitor volume and DIM. GUI thread.

#include "workspace/WorkspaceState.h"

#include <QWidget>

class QIcon;
class QLabel;
class QPushButton;
class QSlider;

namespace orvane {
class PlaybackEngine;
}

namespace orvane::app {

class TransportBar final : public QWidget {
  public:
    TransportBar(WorkspaceState& workspace, PlaybackEngine& engine, QWidget* parent = nullptr);
    ~TransportBar() override;

    // "MM:SS:FF" of a time on the disc, frames rounded down.
    static QString timeText(double seconds);

  private:
    void refreshTime();
    void refreshState();
    QPushButton* button(const QIcon& icon, const QString& tip);

    WorkspaceState& workspace_;
    PlaybackEngine& engine_;
    WorkspaceState::SubscriptionID subscription_ = 0;
    QLabel* time_ = nullptr;
    QLabel* track_ = nullptr;
    QPushButton* play_ = nullptr;
    QPushButton* loop_ = nullptr;
    QPushButton* dim_ = nullptr;
    QSlider* volume_ = nullptr;
    QLabel* status_ = nullptr;
    bool showsPause_ = false;
};

} // namespace orvane::app
