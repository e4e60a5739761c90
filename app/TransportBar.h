#pragma once
// The transport bar: the keys (previous, spool back, play/pause, stop, spool forward, next, pin,
// loop), the seven-segment time display with its legend, track number and marks, the monitor volume
// and DIM. It only translates: texts, modes and key actions come from interface/TransportBar. GUI
// thread.

#include "interface/TransportBar.h"
#include "platform/DefaultsStore.h"
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
    // The stored choice of the time display's mode.
    static constexpr std::string_view timeModeKey = "transportTimeMode";

    TransportBar(WorkspaceState& workspace, PlaybackEngine& engine, DefaultsStore& defaults,
                 QWidget* parent = nullptr);
    ~TransportBar() override;

    orvane::TransportBar::TimeMode timeMode() const;
    // As a click on the display: the next of the three modes, stored.
    void cycleTimeMode();

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    void refreshTime();
    void refreshState();
    void refreshKeys();
    void showPrerollMenu(const QPoint& globalPos);
    QPushButton* button(const QIcon& icon, const QString& tip);

    WorkspaceState& workspace_;
    PlaybackEngine& engine_;
    DefaultsStore& defaults_;
    WorkspaceState::SubscriptionID subscription_ = 0;
    QWidget* display_ = nullptr;
    QLabel* legend_ = nullptr;
    QLabel* time_ = nullptr;
    QLabel* track_ = nullptr;
    QLabel* marks_ = nullptr;
    QPushButton* previous_ = nullptr;
    QPushButton* next_ = nullptr;
    QPushButton* play_ = nullptr;
    QPushButton* pin_ = nullptr;
    QPushButton* loop_ = nullptr;
    QPushButton* dim_ = nullptr;
    QSlider* volume_ = nullptr;
    QLabel* status_ = nullptr;
    bool showsPause_ = false;
    std::optional<TimecodeOverride> shownOverride_;
};

} // namespace orvane::app
