#include "app/TimelineView.h"

#include "app/NotificationCenter.h"
#include "app/TimelinePainter.h"
#include "interface/TimelineGeometry.h"
#include "model/RedBook.h"
#include "monitoring/PlaybackEngine.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QScrollBar>
#include <QSemaphore>
#include <QThreadPool>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

namespace orvane::app {

namespace {

// Points the view scrolls for one wheel line that the canvas leaves to the scroll view.
constexpr double scrollPerLine = 48.0;

Modifiers modifiersOf(Qt::KeyboardModifiers keys) {
    Modifiers m;
    if (keys & Qt::ShiftModifier) {
        m = m | ModifierKey::shift;
    }
    if (keys & Qt::ControlModifier) {
        m = m | ModifierKey::ctrl;
    }
    if (keys & Qt::AltModifier) {
        m = m | ModifierKey::alt;
    }
    if (keys & Qt::MetaModifier) {
        m = m | ModifierKey::meta;
    }
    return m;
}

Qt::CursorShape shapeOf(CanvasCursor cursor) {
    switch (cursor) {
    case CanvasCursor::resizeHorizontal:
        return Qt::SizeHorCursor;
    case CanvasCursor::resizeVertical:
        return Qt::SizeVerCursor;
    case CanvasCursor::move:
        return Qt::OpenHandCursor;
    case CanvasCursor::pointPick:
        return Qt::PointingHandCursor;
    case CanvasCursor::locator:
        return Qt::SplitHCursor;
    case CanvasCursor::arrow:
        break;
    }
    return Qt::ArrowCursor;
}

} // namespace

TimelineView::TimelineView(WorkspaceState& workspace, MainLoop& loop, PlaybackEngine* engine, QWidget* parent)
    : QWidget(parent), workspace_(workspace), engine_(engine) {
    setObjectName(QStringLiteral("timeline"));
    setMouseTracking(true);
    setFocusPolicy(Qt::ClickFocus);
    setAttribute(Qt::WA_OpaquePaintEvent);

    TimelineCanvasHooks hooks;
    if (engine_ != nullptr) {
        hooks.liveFade = [this](const Uuid& id, std::int64_t in, std::int64_t out, float inCurve,
                                float outCurve) { engine_->rtSetLiveFade(id, in, out, inCurve, outCurve); };
        hooks.timecodeOverride = [this](std::optional<TimecodeOverride> value) {
            engine_->setTimecodeOverride(value);
        };
    }
    hooks.redrawBand = [this](double minX, double maxX) { redrawCanvasBand(minX, maxX); };
    hooks.redrawAll = [this] {
        refreshScroll();
        invalidateLayer();
    };
    hooks.scrollTo = [this](double x) { scrollToOrigin(x); };
    canvas_ = std::make_unique<TimelineCanvas>(workspace_, viewport_, loop, std::move(hooks));

    scrollBar_ = new QScrollBar(Qt::Horizontal, this);
    scrollBar_->setObjectName(QStringLiteral("timelineScroll"));
    connect(scrollBar_, &QScrollBar::valueChanged, this, [this](int value) {
        if (!settingScroll_) {
            scrollToOrigin(value);
        }
    });

    lastPositions_ = workspace_.displayPositions();
    lastTime_ = workspace_.currentTime();
    subscription_ = workspace_.subscribe([this](WorkspaceProperty property) { onWorkspaceChange(property); });
    rendererObserver_ = NotificationCenter::shared().observe(NotificationCenter::waveRendererChanged, [this] {
        // Either renderer paints from the same outlines; a switch starts them afresh.
        strips_.clear();
        invalidateLayer();
    });
    applyGeometry();
}

TimelineView::~TimelineView() {
    NotificationCenter::shared().remove(rendererObserver_);
    workspace_.unsubscribe(subscription_);
}

// --- Geometry ---

double TimelineView::canvasHeight() const {
    return std::max(0, height() - scrollBarHeight);
}

double TimelineView::xForFrame(double frame) const {
    return frame / RedBook::framesPerSecond * viewport_.pixelsPerSecond - scroll_.originX;
}

double TimelineView::frameForX(double x) const {
    return (x + scroll_.originX) / viewport_.pixelsPerSecond * RedBook::framesPerSecond;
}

QRectF TimelineView::clipRect(std::size_t index) const {
    if (index >= workspace_.displayPositions().size()) {
        return {};
    }
    const auto span = canvas_->shownAudioSpan(index);
    const auto lane = TimelineGeometry::lane(canvasHeight());
    return QRectF(span.x0 - scroll_.originX, lane.top, std::max(1.0, span.x1 - span.x0), lane.height);
}

void TimelineView::setPixelsPerSecond(double pps) {
    viewport_.pixelsPerSecond = Viewport::clampPixelsPerSecond(pps);
    refreshScroll();
    invalidateLayer();
}

void TimelineView::scrollToOrigin(double originX) {
    const double limit = std::max(0.0, scroll_.contentWidth - scroll_.visibleWidth);
    const double origin = std::clamp(originX, 0.0, limit);
    if (origin == scroll_.originX) {
        return;
    }
    scroll_.originX = origin;
    canvas_->setScrollGeometry(scroll_);
    settingScroll_ = true;
    scrollBar_->setValue(static_cast<int>(std::lround(origin)));
    settingScroll_ = false;
    invalidateLayer();
}

void TimelineView::applyGeometry() {
    scrollBar_->setGeometry(0, height() - scrollBarHeight, width(), scrollBarHeight);
    canvas_->setCanvasHeight(canvasHeight());
    scroll_.visibleWidth = width();
    canvas_->setScrollGeometry(scroll_);
    refreshScroll();
}

void TimelineView::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    applyGeometry();
}

// The scroll view's answer to a change of state: content width, a zoom's scroll, the centring and
// reveal requests, and a full redraw when anything drawn whole changed.
void TimelineView::refreshScroll() {
    const bool gesture = !isNone(canvas_->dragMode());
    const auto input = TimelineScroller::inputFrom(workspace_, viewport_, scroll_.visibleWidth, gesture);
    const auto result = canvas_->scroller().update(input);
    scroll_.contentWidth = result.contentWidth;
    canvas_->setScrollGeometry(scroll_);
    const int maximum =
        static_cast<int>(std::max(0.0, std::ceil(scroll_.contentWidth - scroll_.visibleWidth)));
    settingScroll_ = true;
    scrollBar_->setRange(0, maximum);
    scrollBar_->setPageStep(std::max(1, width()));
    scrollBar_->setSingleStep(static_cast<int>(scrollPerLine));
    settingScroll_ = false;
    if (result.scrollTo) {
        scrollToOrigin(*result.scrollTo);
    } else if (scroll_.originX > maximum) {
        scrollToOrigin(maximum);
    }
    if (result.redrawAll) {
        invalidateLayer();
    }
}

QRect TimelineView::bandRect(double minX, double maxX) const {
    const double left = std::floor(std::min(minX, maxX) - scroll_.originX) - 1.0;
    const double right = std::ceil(std::max(minX, maxX) - scroll_.originX) + 1.0;
    const int from = static_cast<int>(std::clamp(left, -1.0, static_cast<double>(width())));
    const int to = static_cast<int>(std::clamp(right, -1.0, static_cast<double>(width())));
    return to > from ? QRect(from, 0, to - from, static_cast<int>(canvasHeight())) : QRect();
}

void TimelineView::redrawCanvasBand(double minX, double maxX) {
    const QRect band = bandRect(minX, maxX);
    if (!band.isEmpty()) {
        invalidate(band);
    }
}

// A moved track shifts every track after it: the band from the first moved one to the view's right.
void TimelineView::redrawFromFirstMovedTrack() {
    const auto& positions = workspace_.displayPositions();
    const std::size_t common = std::min(positions.size(), lastPositions_.size());
    std::optional<std::int64_t> firstFrame;
    for (std::size_t i = 0; i < common; ++i) {
        if (!(positions[i] == lastPositions_[i])) {
            firstFrame = std::min(positions[i].startLBA, lastPositions_[i].startLBA);
            break;
        }
    }
    if (!firstFrame && positions.size() != lastPositions_.size()) {
        firstFrame = common > 0 ? positions[common - 1].startLBA : 0;
    }
    if (firstFrame) {
        redrawCanvasBand(Viewport::xOfFrame(*firstFrame, viewport_.pixelsPerSecond) - 100.0,
                         scroll_.originX + scroll_.visibleWidth);
    }
}

void TimelineView::onWorkspaceChange(WorkspaceProperty property) {
    switch (property) {
    case WorkspaceProperty::currentTime: {
        const double now = workspace_.currentTime();
        const auto follow =
            TimelineScroller::follow(workspace_.scrollMode(), viewport_.pixelsPerSecond, lastTime_, now,
                                     scroll_, workspace_.playback().isPlaying(), devicePixelRatioF());
        lastTime_ = now;
        // The playhead lies over the kept layer: only its old and new strips are copied again.
        update(bandRect(follow.oldBand.first, follow.oldBand.second));
        update(bandRect(follow.newBand.first, follow.newBand.second));
        if (follow.scrollTo) {
            scrollToOrigin(*follow.scrollTo);
        }
        return;
    }
    case WorkspaceProperty::peaksCache:
    case WorkspaceProperty::takePeaksCache:
        strips_.clear();
        invalidateLayer();
        break;
    case WorkspaceProperty::project: {
        std::vector<Uuid> ids;
        for (const auto& track : workspace_.displayProject().tracks) {
            ids.push_back(track.id);
        }
        strips_.retainOnly(ids);
        break;
    }
    case WorkspaceProperty::trackPositions:
    case WorkspaceProperty::sidePositions:
        if (!isNone(canvas_->dragMode())) {
            redrawFromFirstMovedTrack();
        }
        lastPositions_ = workspace_.displayPositions();
        break;
    case WorkspaceProperty::isModified:
    case WorkspaceProperty::canUndo:
    case WorkspaceProperty::canRedo:
    case WorkspaceProperty::monitorVolume:
    case WorkspaceProperty::scrubVolume:
    case WorkspaceProperty::monitorDimmed:
    case WorkspaceProperty::srcCacheState:
    case WorkspaceProperty::projectFileURL:
    case WorkspaceProperty::showShortcutsOverlay:
    case WorkspaceProperty::inspectorTab:
    case WorkspaceProperty::expandedTrackIDs:
        return; // nothing the canvas draws
    default:
        break;
    }
    refreshScroll();
}

// --- Painting ---

void TimelineView::invalidateLayer() {
    invalidate(rect());
}

void TimelineView::invalidate(const QRect& area) {
    stale_ += area;
    update(area);
}

void TimelineView::paintLayer(const QRegion& region) {
    const TimelinePainter::Scene scene{workspace_,           *canvas_, viewport_, canvasHeight(),
                                       scroll_.visibleWidth, &samples_};
    const auto paint = [&] {
        QPainter painter(&layer_);
        for (const QRect& r : region) {
            painter.save();
            painter.setClipRect(r);
            painter.translate(-scroll_.originX, 0.0);
            TimelinePainter::paint(painter, scene, strips_, r.left() + scroll_.originX,
                                   r.right() + 1 + scroll_.originX);
            painter.restore();
        }
    };
    // On a thread of Qt's pool its raster engine fills in place rather than handing each tall fill
    // to that pool in pieces; the GUI thread waits, so the workspace is read by one thread at a time.
    QThreadPool* pool = QThreadPool::globalInstance();
    pool->reserveThread();
    QSemaphore done;
    pool->startOnReservedThread([&] {
        paint();
        done.release();
    });
    done.acquire();
}

void TimelineView::paintEvent(QPaintEvent* event) {
    const QSize size(width(), static_cast<int>(canvasHeight()));
    if (size.isEmpty()) {
        return;
    }
    // A new size, zoom or scroll position makes the whole kept picture stale.
    if (layer_.size() != size || layerOrigin_ != scroll_.originX || !(layerViewport_ == viewport_)) {
        layer_ = QImage(size, QImage::Format_ARGB32_Premultiplied);
        layerOrigin_ = scroll_.originX;
        layerViewport_ = viewport_;
        stale_ = QRegion(QRect(QPoint(0, 0), size));
    }
    const QRegion todo = stale_ & QRect(QPoint(0, 0), size);
    stale_ = QRegion();
    if (!todo.isEmpty()) {
        paintLayer(todo);
    }
    QPainter painter(this);
    const QRect dirty = event->rect();
    painter.drawImage(dirty.topLeft(), layer_, dirty);
    painter.translate(-scroll_.originX, 0.0);
    const TimelinePainter::Scene scene{workspace_,           *canvas_, viewport_, canvasHeight(),
                                       scroll_.visibleWidth, &samples_};
    TimelinePainter::paintPlayhead(painter, scene, dirty.left() + scroll_.originX,
                                   dirty.right() + 1 + scroll_.originX);
}

// --- Input ---

PointerEvent TimelineView::pointerEvent(const QMouseEvent& event, int clickCount) const {
    PointerEvent e;
    e.x = event.position().x() + scroll_.originX;
    e.y = event.position().y();
    // A move carries no button of its own: the held buttons tell which gesture it continues.
    const bool secondary = event.button() == Qt::RightButton ||
                           (event.button() == Qt::NoButton && event.buttons().testFlag(Qt::RightButton) &&
                            !event.buttons().testFlag(Qt::LeftButton));
    e.button = secondary ? PointerButton::secondary : PointerButton::primary;
    e.clickCount = clickCount;
    e.modifiers = modifiersOf(event.modifiers());
    return e;
}

void TimelineView::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton && event->button() != Qt::RightButton) {
        QWidget::mousePressEvent(event);
        return;
    }
    pressed_ = true;
    canvas_->pointerDown(pointerEvent(*event, 1));
}

void TimelineView::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton && event->button() != Qt::RightButton) {
        QWidget::mouseDoubleClickEvent(event);
        return;
    }
    pressed_ = true;
    canvas_->pointerDown(pointerEvent(*event, 2));
}

void TimelineView::mouseMoveEvent(QMouseEvent* event) {
    if (pressed_) {
        canvas_->pointerDragged(pointerEvent(*event, 1));
        return;
    }
    setCursor(shapeOf(canvas_->hover(event->position().x() + scroll_.originX, event->position().y())));
}

void TimelineView::mouseReleaseEvent(QMouseEvent* event) {
    if (!pressed_) {
        QWidget::mouseReleaseEvent(event);
        return;
    }
    pressed_ = false;
    canvas_->pointerUp(pointerEvent(*event, 1));
    // The gesture's commit is drawn whole once the layout settles.
    refreshScroll();
}

void TimelineView::wheelEvent(QWheelEvent* event) {
    WheelEvent e;
    e.x = event->position().x() + scroll_.originX;
    e.y = event->position().y();
    e.deltaX = event->angleDelta().x() / 120.0;
    e.deltaY = event->angleDelta().y() / 120.0;
    e.modifiers = modifiersOf(event->modifiers());
    if (canvas_->wheel(e)) {
        refreshScroll();
        invalidateLayer();
        event->accept();
        return;
    }
    const double lines = std::abs(e.deltaX) > std::abs(e.deltaY) ? e.deltaX : e.deltaY;
    scrollToOrigin(scroll_.originX - lines * scrollPerLine);
    event->accept();
}

void TimelineView::keyPressEvent(QKeyEvent* event) {
    KeyEvent e;
    e.key = event->key() == Qt::Key_Left    ? Key::leftArrow
            : event->key() == Qt::Key_Right ? Key::rightArrow
                                            : Key::other;
    e.modifiers = modifiersOf(event->modifiers());
    if (!canvas_->key(e)) {
        QWidget::keyPressEvent(event);
    }
}

void TimelineView::leaveEvent(QEvent* event) {
    if (canvas_->mirrors().hoverEnvelope) {
        canvas_->pointerExited();
        invalidateLayer(); // the hovered point's label goes
    }
    QWidget::leaveEvent(event);
}

} // namespace orvane::app
