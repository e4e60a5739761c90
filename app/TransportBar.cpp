#include "app/TransportBar.h"

#include "app/Theme.h"
#include "monitoring/PlaybackEngine.h"

#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QPainter>
#include <QPixmap>
#include <QPushButton>
#include <QSlider>
#include <QTimer>
#include <cmath>

namespace orvane::app {

namespace {

// The transport glyphs, drawn rather than taken from a font, so they look the same on every desktop.
enum class Glyph { previous, rewind, play, pause, stop, forward, next, loop };

QIcon glyphIcon(Glyph glyph) {
    const qreal size = 32;
    QPixmap pixmap(static_cast<int>(size), static_cast<int>(size));
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Theme::text);
    const auto triangle = [&](qreal left, qreal width, bool pointsRight) {
        QPolygonF shape;
        if (pointsRight) {
            shape << QPointF(left, 8) << QPointF(left + width, 16) << QPointF(left, 24);
        } else {
            shape << QPointF(left + width, 8) << QPointF(left, 16) << QPointF(left + width, 24);
        }
        painter.drawPolygon(shape);
    };
    switch (glyph) {
    case Glyph::previous:
        painter.drawRect(QRectF(8, 8, 3, 16));
        triangle(11, 13, false);
        break;
    case Glyph::rewind:
        triangle(5, 11, false);
        triangle(16, 11, false);
        break;
    case Glyph::play:
        triangle(10, 14, true);
        break;
    case Glyph::pause:
        painter.drawRect(QRectF(9, 8, 5, 16));
        painter.drawRect(QRectF(18, 8, 5, 16));
        break;
    case Glyph::stop:
        painter.drawRect(QRectF(9, 9, 14, 14));
        break;
    case Glyph::forward:
        triangle(5, 11, true);
        triangle(16, 11, true);
        break;
    case Glyph::next:
        triangle(8, 13, true);
        painter.drawRect(QRectF(21, 8, 3, 16));
        break;
    case Glyph::loop: {
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(Theme::text, 2.4, Qt::SolidLine, Qt::RoundCap));
        painter.drawArc(QRectF(7, 8, 18, 16), 30 * 16, 300 * 16);
        painter.setPen(Qt::NoPen);
        painter.setBrush(Theme::text);
        QPolygonF head;
        head << QPointF(22, 5) << QPointF(27, 11) << QPointF(19, 12);
        painter.drawPolygon(head);
        break;
    }
    }
    return QIcon(pixmap);
}

} // namespace

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

    auto* previous = button(glyphIcon(Glyph::previous), QStringLiteral("Previous track"));
    auto* rewind = button(glyphIcon(Glyph::rewind), QStringLiteral("Spool back (hold)"));
    play_ = button(glyphIcon(Glyph::play), QStringLiteral("Play / stop (Space)"));
    auto* stop = button(glyphIcon(Glyph::stop), QStringLiteral("Stop (Return)"));
    auto* forward = button(glyphIcon(Glyph::forward), QStringLiteral("Spool forward (hold)"));
    auto* next = button(glyphIcon(Glyph::next), QStringLiteral("Next track"));
    loop_ = button(glyphIcon(Glyph::loop), QStringLiteral("Loop the region set with [ and ]"));
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
    track_->setObjectName(QStringLiteral("trackText"));
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
    dim_ = new QPushButton(QStringLiteral("DIM"));
    dim_->setToolTip(QStringLiteral("Monitor at half level"));
    dim_->setFocusPolicy(Qt::NoFocus);
    dim_->setFixedHeight(30);
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
        const bool playing = engine_.isPlaying();
        if (playing != showsPause_) {
            showsPause_ = playing;
            play_->setIcon(glyphIcon(playing ? Glyph::pause : Glyph::play));
        }
    });
    poll->start(100);
    refreshTime();
    refreshState();
}

TransportBar::~TransportBar() {
    workspace_.unsubscribe(subscription_);
}

QPushButton* TransportBar::button(const QIcon& icon, const QString& tip) {
    auto* b = new QPushButton;
    b->setIcon(icon);
    b->setIconSize(QSize(20, 20));
    b->setToolTip(tip);
    b->setFocusPolicy(Qt::NoFocus);
    b->setFixedSize(38, 30);
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
    const auto index = engine_.trackIndex(workspace_.currentSample());
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
