#include "app/TransportBar.h"

#include "app/Theme.h"
#include "monitoring/PlaybackEngine.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSlider>
#include <QTimer>
#include <cmath>

namespace orvane::app {

TransportBar::TransportBar(WorkspaceState& workspace, PlaybackEngine& engine, QWidget* parent)
    : QWidget(parent), workspace_(workspace), engine_(engine) {
    setObjectName(QStringLiteral("transportBar"));
    setAutoFillBackground(true);
    QPalette shade = palette();
    shade.setColor(QPalette::Window, Theme::panel);
    setPalette(shade);
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(12, 6, 12, 6);
    layout->setSpacing(6);

    auto* previous = button(QStringLiteral("\u23ee"), QStringLiteral("Previous track"));
    auto* rewind = button(QStringLiteral("\u23ea"), QStringLiteral("Spool back (hold)"));
    play_ = button(QStringLiteral("\u25b6"), QStringLiteral("Play / stop (Space)"));
    auto* stop = button(QStringLiteral("\u25a0"), QStringLiteral("Stop (Return)"));
    auto* forward = button(QStringLiteral("\u23e9"), QStringLiteral("Spool forward (hold)"));
    auto* next = button(QStringLiteral("\u23ed"), QStringLiteral("Next track"));
    loop_ = button(QStringLiteral("\u27f3"), QStringLiteral("Loop the region set with [ and ]"));
    loop_->setCheckable(true);
    play_->setObjectName(QStringLiteral("playButton"));
    for (auto* b : {previous, rewind, play_, stop, forward, next, loop_}) {
        layout->addWidget(b);
    }
    connect(previous, &QPushButton::clicked, this, [this] { workspace_.transportPrevious(); });
    connect(next, &QPushButton::clicked, this, [this] { workspace_.transportNext(); });
    connect(play_, &QPushButton::clicked, this, [this] { workspace_.togglePlayback(); });
    connect(stop, &QPushButton::clicked, this, [this] { engine_.stop(); });
    connect(loop_, &QPushButton::clicked, this, [this](bool on) {
        if (on) {
            workspace_.enterLoopModeFromButton();
        } else {
            workspace_.setLoopMode(false);
        }
    });
    // Spool runs while the button is held, faster the longer it is held.
    for (auto [spoolButton, direction] : {std::pair{rewind, -1}, std::pair{forward, 1}}) {
        spoolButton->setAutoRepeat(true);
        spoolButton->setAutoRepeatInterval(120);
        connect(spoolButton, &QPushButton::pressed, this, [this, d = direction] { engine_.spoolStep(d); });
        connect(spoolButton, &QPushButton::released, this, [this] { engine_.stopSpool(); });
    }

    layout->addSpacing(18);
    auto* display = new QWidget;
    display->setObjectName(QStringLiteral("timeDisplay"));
    display->setStyleSheet(QStringLiteral("#timeDisplay { background: #101215; border: 1px solid #3c4148;"
                                          " border-radius: 4px; }"));
    auto* displayLayout = new QHBoxLayout(display);
    displayLayout->setContentsMargins(14, 4, 14, 4);
    track_ = new QLabel(QStringLiteral("--"));
    time_ = new QLabel(QStringLiteral("00:00:00"));
    time_->setObjectName(QStringLiteral("timeText"));
    for (auto* label : {track_, time_}) {
        QFont segments(Theme::segmentFamily());
        segments.setPointSize(label == time_ ? 22 : 14);
        label->setFont(segments);
        label->setStyleSheet(QStringLiteral("color: #5cf0a0; background: transparent;"));
    }
    auto* trackCaption = new QLabel(QStringLiteral("TRK"));
    trackCaption->setStyleSheet(QStringLiteral("color: #5c6570; font-size: 8pt; background: transparent;"));
    displayLayout->addWidget(trackCaption);
    displayLayout->addWidget(track_);
    displayLayout->addSpacing(14);
    displayLayout->addWidget(time_);
    layout->addWidget(display);

    layout->addStretch(1);
    status_ = new QLabel;
    status_->setStyleSheet(QStringLiteral("color: #8a919b;"));
    layout->addWidget(status_);
    layout->addSpacing(12);

    auto* volumeCaption = new QLabel(QStringLiteral("MONITOR"));
    volumeCaption->setStyleSheet(QStringLiteral("color: #8a919b; font-size: 8pt;"));
    layout->addWidget(volumeCaption);
    volume_ = new QSlider(Qt::Horizontal);
    volume_->setRange(0, 100);
    volume_->setFixedWidth(120);
    volume_->setValue(static_cast<int>(std::lround(workspace_.monitorVolume() * 100)));
    layout->addWidget(volume_);
    connect(volume_, &QSlider::valueChanged, this,
            [this](int value) { workspace_.setMonitorVolume(static_cast<double>(value) / 100.0); });
    dim_ = button(QStringLiteral("DIM"), QStringLiteral("Monitor at half level"));
    dim_->setCheckable(true);
    dim_->setFixedWidth(46);
    layout->addWidget(dim_);
    connect(dim_, &QPushButton::clicked, this, [this] { workspace_.toggleMonitorDim(); });

    subscription_ = workspace_.subscribe([this](WorkspaceProperty property) {
        switch (property) {
        case WorkspaceProperty::currentTime:
            refreshTime();
            break;
        case WorkspaceProperty::monitorVolume:
        case WorkspaceProperty::monitorDimmed:
        case WorkspaceProperty::loopMode:
        case WorkspaceProperty::srcCacheState:
            refreshState();
            break;
        default:
            break;
        }
    });
    // The play state has no property of its own; the engine's change handler is the workspace's, so
    // the bar looks at it on a short timer.
    auto* poll = new QTimer(this);
    connect(poll, &QTimer::timeout, this, [this] {
        play_->setText(engine_.isPlaying() ? QStringLiteral("\u23f8") : QStringLiteral("\u25b6"));
    });
    poll->start(100);
    refreshTime();
    refreshState();
}

TransportBar::~TransportBar() {
    workspace_.unsubscribe(subscription_);
}

QPushButton* TransportBar::button(const QString& text, const QString& tip) {
    auto* b = new QPushButton(text);
    b->setToolTip(tip);
    b->setFocusPolicy(Qt::NoFocus);
    b->setFixedSize(38, 30);
    QFont glyphs = b->font();
    glyphs.setPointSize(12);
    b->setFont(glyphs);
    return b;
}

QString TransportBar::timeText(double seconds) {
    const auto frames = static_cast<std::int64_t>(std::floor(std::max(0.0, seconds) * 75.0 + 1e-9));
    return QStringLiteral("%1:%2:%3")
        .arg(frames / 4500, 2, 10, QLatin1Char('0'))
        .arg((frames / 75) % 60, 2, 10, QLatin1Char('0'))
        .arg(frames % 75, 2, 10, QLatin1Char('0'));
}

void TransportBar::refreshTime() {
    const double seconds = workspace_.currentTime();
    time_->setText(timeText(seconds));
    const auto index = engine_.trackIndex(seconds);
    track_->setText(index ? QStringLiteral("%1").arg(*index + 1, 2, 10, QLatin1Char('0'))
                          : QStringLiteral("--"));
}

void TransportBar::refreshState() {
    const QSignalBlocker blocker(volume_);
    volume_->setValue(static_cast<int>(std::lround(workspace_.monitorVolume() * 100)));
    dim_->setChecked(workspace_.monitorDimmed());
    loop_->setChecked(workspace_.loopMode());
    std::size_t building = 0;
    for (const auto& [id, state] : workspace_.srcCacheState()) {
        building += state == SRCCacheState::rendering ? 1 : 0;
    }
    status_->setText(building > 0 ? QStringLiteral("Preparing sample-rate conversion for %1 file%2\u2026")
                                        .arg(building)
                                        .arg(building == 1 ? "" : "s")
                                  : QString());
}

} // namespace orvane::app
