#include "app/TransportBar.h"

#include "app/Theme.h"
#include "model/RedBook.h"
#include "monitoring/PlaybackEngine.h"

#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QPixmap>
#include <QPushButton>
#include <QSlider>
#include <QTimer>
#include <QVBoxLayout>
#include <cmath>

namespace orvane::app {

namespace {

// The transport glyphs, drawn rather than taken from a font, so they look the same on every desktop.
enum class Glyph { previous, rewind, play, pause, stop, forward, next, pin, loop };

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
    case Glyph::pin: {
        // A map pin: a round head over a point.
        painter.drawEllipse(QRectF(10, 6, 12, 12));
        QPolygonF point;
        point << QPointF(11.5, 15) << QPointF(20.5, 15) << QPointF(16, 27);
        painter.drawPolygon(point);
        painter.setBrush(Theme::panel);
        painter.drawEllipse(QRectF(14, 10, 4, 4));
        break;
    }
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

QString qText(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

} // namespace

namespace Bar = orvane::TransportBar;

TransportBar::TransportBar(WorkspaceState& workspace, PlaybackEngine& engine, DefaultsStore& defaults,
                           QWidget* parent)
    : QWidget(parent), workspace_(workspace), engine_(engine), defaults_(defaults) {
    setObjectName(QStringLiteral("transportBar"));
    setAutoFillBackground(true);
    QPalette shade = palette();
    shade.setColor(QPalette::Window, Theme::panel);
    setPalette(shade);
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(12, 6, 12, 6);
    layout->setSpacing(6);

    previous_ = button(glyphIcon(Glyph::previous), QString());
    auto* rewind = button(glyphIcon(Glyph::rewind), qText(Bar::rewindTooltip));
    play_ = button(glyphIcon(Glyph::play), QStringLiteral("Play / stop (Space)"));
    auto* stop = button(glyphIcon(Glyph::stop), QStringLiteral("Stop (Return)"));
    auto* forward = button(glyphIcon(Glyph::forward), qText(Bar::fastForwardTooltip));
    next_ = button(glyphIcon(Glyph::next), QString());
    pin_ = button(glyphIcon(Glyph::pin), qText(Bar::pinTooltip));
    pin_->setCheckable(true);
    loop_ = button(glyphIcon(Glyph::loop), QStringLiteral("Loop the region set with [ and ]"));
    loop_->setCheckable(true);
    previous_->setObjectName(QStringLiteral("previousButton"));
    rewind->setObjectName(QStringLiteral("rewindButton"));
    play_->setObjectName(QStringLiteral("playButton"));
    forward->setObjectName(QStringLiteral("forwardButton"));
    next_->setObjectName(QStringLiteral("nextButton"));
    pin_->setObjectName(QStringLiteral("pinButton"));
    for (auto* b : {previous_, rewind, play_, stop, forward, next_, pin_, loop_}) {
        layout->addWidget(b);
    }
    connect(previous_, &QPushButton::clicked, this, [this] { workspace_.transportPrevious(); });
    connect(next_, &QPushButton::clicked, this, [this] { workspace_.transportNext(); });
    for (auto* outer : {previous_, next_}) {
        outer->setContextMenuPolicy(Qt::CustomContextMenu);
        connect(outer, &QWidget::customContextMenuRequested, this,
                [this, outer](const QPoint& at) { showPrerollMenu(outer->mapToGlobal(at)); });
    }
    connect(play_, &QPushButton::clicked, this, [this] { workspace_.togglePlayback(); });
    connect(stop, &QPushButton::clicked, this, [this] { engine_.stop(); });
    connect(pin_, &QPushButton::clicked, this, [this] { Bar::togglePin(workspace_); });
    connect(loop_, &QPushButton::clicked, this, [this](bool on) {
        if (on) {
            workspace_.enterLoopModeFromButton();
        } else {
            workspace_.setLoopMode(false);
        }
    });
    // Each press of a spool key steps its speed up; Stop or Play releases it.
    connect(rewind, &QPushButton::clicked, this, [this] { engine_.spoolStep(-1); });
    connect(forward, &QPushButton::clicked, this, [this] { engine_.spoolStep(1); });

    layout->addSpacing(18);
    display_ = new QWidget;
    display_->setObjectName(QStringLiteral("timeDisplay"));
    display_->setToolTip(qText(Bar::timeModeTooltip));
    display_->setCursor(Qt::PointingHandCursor);
    display_->setStyleSheet(QStringLiteral("#timeDisplay { background: #101215; border: 1px solid #3c4148;"
                                           " border-radius: 4px; }"));
    display_->installEventFilter(this);
    auto* displayLayout = new QHBoxLayout(display_);
    displayLayout->setContentsMargins(14, 3, 14, 3);
    displayLayout->setSpacing(6);
    const auto caption = [](const QString& text, const QString& name) {
        auto* label = new QLabel(text);
        label->setObjectName(name);
        label->setStyleSheet(QStringLiteral("color: #5c6570; font-size: 8pt; font-weight: bold;"
                                            " background: transparent;"));
        label->setAttribute(Qt::WA_TransparentForMouseEvents);
        return label;
    };
    // The track column: its marks (pre-roll, LOOP, PIN) over the number.
    auto* trackColumn = new QVBoxLayout;
    trackColumn->setSpacing(0);
    marks_ = caption(QString(), QStringLiteral("transportMarks"));
    marks_->setTextFormat(Qt::RichText);
    auto* trackRow = new QHBoxLayout;
    trackRow->setSpacing(4);
    trackRow->addWidget(caption(QStringLiteral("TRK"), QStringLiteral("trackCaption")));
    track_ = new QLabel(QStringLiteral("--"));
    track_->setObjectName(QStringLiteral("trackText"));
    trackRow->addWidget(track_);
    trackColumn->addWidget(marks_);
    trackColumn->addLayout(trackRow);
    displayLayout->addLayout(trackColumn);
    displayLayout->addSpacing(10);
    legend_ = caption(QStringLiteral("TIME"), QStringLiteral("timeLegend"));
    legend_->setMinimumWidth(38);
    displayLayout->addWidget(legend_);
    time_ = new QLabel(QStringLiteral("00:00:00"));
    time_->setObjectName(QStringLiteral("timeText"));
    for (auto* label : {track_, time_}) {
        QFont segments(Theme::segmentFamily());
        segments.setPointSize(label == time_ ? 22 : 14);
        label->setFont(segments);
        label->setStyleSheet(QStringLiteral("color: #5cf0a0; background: transparent;"));
        label->setAttribute(Qt::WA_TransparentForMouseEvents);
    }
    displayLayout->addWidget(time_);
    layout->addWidget(display_);

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
    volume_->setToolTip(qText(Bar::knobTooltip));
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
        case WorkspaceProperty::lockedPlayStart:
        case WorkspaceProperty::loopMode:
            refreshState();
            refreshTime();
            break;
        case WorkspaceProperty::monitorVolume:
        case WorkspaceProperty::monitorDimmed:
        case WorkspaceProperty::srcCacheState:
            refreshState();
            break;
        default:
            break;
        }
    });
    // The play state and a flag's timecode have no property of their own; the bar looks at the engine
    // on a short timer.
    auto* poll = new QTimer(this);
    connect(poll, &QTimer::timeout, this, [this] {
        const bool playing = engine_.isPlaying();
        if (playing != showsPause_) {
            showsPause_ = playing;
            play_->setIcon(glyphIcon(playing ? Glyph::pause : Glyph::play));
        }
        if (engine_.timecodeOverride() != shownOverride_) {
            refreshTime();
        }
    });
    poll->start(100);
    refreshKeys();
    refreshState();
    refreshTime();
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

Bar::TimeMode TransportBar::timeMode() const {
    return Bar::timeModeFromRaw(defaults_.intValue(timeModeKey).value_or(0));
}

void TransportBar::cycleTimeMode() {
    defaults_.setInt(timeModeKey, static_cast<std::int64_t>(Bar::nextTimeMode(timeMode())));
    refreshTime();
}

bool TransportBar::eventFilter(QObject* watched, QEvent* event) {
    if (watched == display_ && event->type() == QEvent::MouseButtonPress &&
        static_cast<QMouseEvent*>(event)->button() == Qt::LeftButton) {
        cycleTimeMode();
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

void TransportBar::showPrerollMenu(const QPoint& globalPos) {
    QMenu menu(this);
    const double chosen = workspace_.prerollSeconds();
    for (const double seconds : Bar::prerollChoices) {
        QAction* action = menu.addAction(seconds > 0 ? QStringLiteral("Pre-roll %1 s").arg(seconds)
                                                     : QStringLiteral("Pre-roll off"));
        action->setCheckable(true);
        action->setChecked(seconds == chosen);
        connect(action, &QAction::triggered, this, [this, seconds] {
            workspace_.setPrerollSeconds(seconds);
            refreshKeys();
            refreshTime();
        });
    }
    menu.exec(globalPos);
}

void TransportBar::refreshKeys() {
    const double preroll = workspace_.prerollSeconds();
    previous_->setToolTip(QString::fromStdString(Bar::previousTooltip(preroll)));
    next_->setToolTip(QString::fromStdString(Bar::nextTooltip(preroll)));
}

void TransportBar::refreshTime() {
    const auto& positions = workspace_.displayPositions();
    const double total =
        positions.empty() ? 0.0 : static_cast<double>(positions.back().endLBA) / RedBook::framesPerSecond;
    shownOverride_ = engine_.timecodeOverride();
    const Bar::TimeDisplay shown =
        Bar::timeDisplay(timeMode(), workspace_.currentTime(), total, positions, shownOverride_);
    legend_->setText(QString::fromStdString(shown.legend));
    time_->setText(QString::fromStdString(shown.time));
    track_->setText(QString::fromStdString(shown.trackNumber));

    // Over the number: the pre-roll when on, LOOP in amber, PIN in purple; a dragged flag's kind.
    QStringList marks;
    const double preroll = workspace_.prerollSeconds();
    if (preroll > 0) {
        marks << QStringLiteral("−%1 s").arg(preroll);
    }
    const bool loopShown = workspace_.loopMode() || shown.overrideKind == "LOOP";
    const bool pinShown = workspace_.lockedPlayStartSample().has_value() || shown.overrideKind == "PIN";
    if (loopShown) {
        marks << QStringLiteral("<span style='color:#f5a623'>LOOP</span>");
    }
    if (pinShown) {
        marks << QStringLiteral("<span style='color:#b07cf0'>PIN</span>");
    }
    marks_->setText(marks.join(QStringLiteral("&nbsp;")));
}

void TransportBar::refreshState() {
    const QSignalBlocker blocker(volume_);
    volume_->setValue(static_cast<int>(std::lround(workspace_.monitorVolume() * 100)));
    dim_->setChecked(workspace_.monitorDimmed());
    loop_->setChecked(workspace_.loopMode());
    pin_->setChecked(workspace_.lockedPlayStartSample().has_value());
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
