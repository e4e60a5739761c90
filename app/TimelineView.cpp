#include "app/TimelineView.h"

#include "app/Theme.h"
#include "model/RedBook.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

namespace orvane::app {

namespace {

constexpr double samplesPerFrame = 588.0;
constexpr int leftMargin = 8;
constexpr std::size_t coarseFactor = 32;

QColor trackColour(const CDTrack& track) {
    if (track.activeColorHex) {
        QColor colour(QString::fromStdString(*track.activeColorHex));
        if (colour.isValid()) {
            return colour;
        }
    }
    return Theme::waveform;
}

QString timeText(std::int64_t frames) {
    const std::int64_t minutes = frames / 4500;
    const std::int64_t seconds = (frames / 75) % 60;
    return QStringLiteral("%1:%2").arg(minutes).arg(seconds, 2, 10, QLatin1Char('0'));
}

} // namespace

TimelineView::TimelineView(WorkspaceState& workspace, QWidget* parent)
    : QWidget(parent), workspace_(workspace) {
    setObjectName(QStringLiteral("timeline"));
    setMouseTracking(true);
    setFocusPolicy(Qt::ClickFocus);
    setAttribute(Qt::WA_OpaquePaintEvent);
    subscription_ = workspace_.subscribe([this](WorkspaceProperty property) { onWorkspaceChange(property); });
}

TimelineView::~TimelineView() {
    workspace_.unsubscribe(subscription_);
}

void TimelineView::onWorkspaceChange(WorkspaceProperty property) {
    switch (property) {
    case WorkspaceProperty::currentTime: {
        // Only the playhead's old and new strips are painted again.
        const int x = static_cast<int>(xForFrame(workspace_.currentTime() * RedBook::framesPerSecond));
        if (x != lastPlayheadX_) {
            update(QRect(lastPlayheadX_ - 3, 0, 7, height()));
            update(QRect(x - 3, 0, 7, height()));
            lastPlayheadX_ = x;
        }
        break;
    }
    case WorkspaceProperty::project:
    case WorkspaceProperty::peaksCache:
    case WorkspaceProperty::takePeaksCache:
        coarse_.clear();
        update();
        break;
    case WorkspaceProperty::trackPositions:
    case WorkspaceProperty::sidePositions:
    case WorkspaceProperty::selectedTrackID:
    case WorkspaceProperty::vinylMode:
    case WorkspaceProperty::loopStartFrame:
    case WorkspaceProperty::loopEndFrame:
        update();
        break;
    default:
        break;
    }
}

std::int64_t TimelineView::discFrames() const {
    const auto& positions = workspace_.displayPositions();
    const std::int64_t end = positions.empty() ? 0 : positions.back().endLBA;
    // An empty disc still shows a minute of ruler.
    return std::max<std::int64_t>(end + 150, 60 * 75);
}

double TimelineView::framesPerPixel() const {
    const double usable = std::max(1, width() - 2 * leftMargin);
    return static_cast<double>(discFrames()) / (usable * zoom_);
}

double TimelineView::xForFrame(double frame) const {
    return leftMargin + (frame - scrollFrame_) / framesPerPixel();
}

double TimelineView::frameForX(double x) const {
    return scrollFrame_ + (x - leftMargin) * framesPerPixel();
}

QRectF TimelineView::clipRect(std::size_t index) const {
    const auto& positions = workspace_.displayPositions();
    if (index >= positions.size()) {
        return {};
    }
    const auto& position = positions[index];
    const int laneTop = rulerHeight + laneGap;
    const double laneHeight = std::max(20.0, (height() - laneTop - laneGap) / 2.0 - 2.0);
    const double top = laneTop + (index % 2) * (laneHeight + 4.0);
    const double left = xForFrame(static_cast<double>(position.audioStartLBA));
    const double right = xForFrame(static_cast<double>(position.audioEndLBA));
    return QRectF(left, top, std::max(1.0, right - left), laneHeight);
}

TimelineView::Hit TimelineView::hitTest(QPointF point) const {
    if (point.y() < rulerHeight) {
        return {Part::ruler, 0};
    }
    const CDProject& project = workspace_.displayProject();
    const auto& positions = workspace_.displayPositions();
    const std::size_t count = std::min(project.tracks.size(), positions.size());
    const double grab = handleRadius + 2.0;
    for (std::size_t i = 0; i < count; ++i) {
        const QRectF clip = clipRect(i);
        if (!clip.adjusted(-grab, -grab, grab, grab).contains(point)) {
            continue;
        }
        const CDTrack& track = project.tracks[i];
        const double fadeInX = xForFrame(positions[i].audioStartLBA + track.fadeInSamples / samplesPerFrame);
        const double fadeOutX = xForFrame(positions[i].audioEndLBA - track.fadeOutSamples / samplesPerFrame);
        if (std::abs(point.y() - clip.top()) <= grab) {
            if (std::abs(point.x() - fadeInX) <= grab) {
                return {Part::fadeIn, i};
            }
            if (std::abs(point.x() - fadeOutX) <= grab) {
                return {Part::fadeOut, i};
            }
        }
        if (std::abs(point.x() - clip.left()) <= 4.0) {
            return {Part::trimStart, i};
        }
        if (std::abs(point.x() - clip.right()) <= 4.0) {
            return {Part::trimEnd, i};
        }
        if (clip.contains(point)) {
            return {Part::body, i};
        }
    }
    return {};
}

// --- Painting ---

const std::vector<float>& TimelineView::coarsePeaks(const Uuid& trackID,
                                                    const std::vector<float>& peaks) const {
    auto found = coarse_.find(trackID);
    if (found != coarse_.end()) {
        return found->second;
    }
    std::vector<float> coarse;
    const std::size_t buckets = peaks.size() / 2;
    coarse.reserve(2 * (buckets / coarseFactor + 1));
    for (std::size_t first = 0; first < buckets; first += coarseFactor) {
        const std::size_t last = std::min(buckets, first + coarseFactor);
        float low = peaks[2 * first];
        float high = peaks[2 * first + 1];
        for (std::size_t b = first + 1; b < last; ++b) {
            low = std::min(low, peaks[2 * b]);
            high = std::max(high, peaks[2 * b + 1]);
        }
        coarse.push_back(low);
        coarse.push_back(high);
    }
    return coarse_.emplace(trackID, std::move(coarse)).first->second;
}

void TimelineView::paintEvent(QPaintEvent* event) {
    QPainter painter(this);
    painter.fillRect(event->rect(), Theme::background);
    paintRuler(painter, QRect(0, 0, width(), rulerHeight));

    const auto& positions = workspace_.displayPositions();
    const CDProject& project = workspace_.displayProject();
    const std::size_t count = std::min(project.tracks.size(), positions.size());
    painter.setRenderHint(QPainter::Antialiasing, true);
    for (std::size_t i = 0; i < count; ++i) {
        const QRectF clip = clipRect(i);
        if (clip.right() < event->rect().left() || clip.left() > event->rect().right()) {
            continue;
        }
        paintClip(painter, i);
    }

    // INDEX 01 flags on the ruler's lower edge.
    painter.setRenderHint(QPainter::Antialiasing, false);
    for (std::size_t i = 0; i < count; ++i) {
        const double x = xForFrame(static_cast<double>(positions[i].index01LBA));
        painter.setPen(QPen(Theme::accent, 1));
        painter.drawLine(QPointF(x, rulerHeight - 8), QPointF(x, height()));
        QPolygonF flag;
        flag << QPointF(x, rulerHeight - 10) << QPointF(x + 14, rulerHeight - 10)
             << QPointF(x + 14, rulerHeight - 1) << QPointF(x, rulerHeight - 1);
        painter.setBrush(Theme::accent);
        painter.setPen(Qt::NoPen);
        painter.drawPolygon(flag);
        painter.setPen(Qt::white);
        QFont small = font();
        small.setPointSizeF(7.0);
        small.setBold(true);
        painter.setFont(small);
        painter.drawText(QRectF(x, rulerHeight - 10, 14, 9), Qt::AlignCenter,
                         QString::number(positions[i].trackIndex));
    }

    if (const auto loop = workspace_.loopRangeFrames()) {
        const double from = xForFrame(static_cast<double>(loop->startFrame));
        const double to = xForFrame(static_cast<double>(loop->endFrame));
        painter.fillRect(QRectF(from, 0, to - from, rulerHeight), QColor(61, 165, 244, 60));
    }

    const double playheadX = xForFrame(workspace_.currentTime() * RedBook::framesPerSecond);
    lastPlayheadX_ = static_cast<int>(playheadX);
    painter.setPen(QPen(Theme::playhead, 1.5));
    painter.drawLine(QPointF(playheadX, 0), QPointF(playheadX, height()));
}

void TimelineView::paintRuler(QPainter& painter, const QRect& area) const {
    painter.fillRect(area, Theme::panel);
    painter.setPen(Theme::line);
    painter.drawLine(area.bottomLeft(), area.bottomRight());
    // A tick step that keeps labels about 90 pixels apart, in whole seconds.
    const double framesPer90 = framesPerPixel() * 90.0;
    static constexpr std::int64_t steps[] = {75, 150, 375, 750, 1125, 2250, 4500, 9000, 22500, 45000};
    std::int64_t step = steps[std::size(steps) - 1];
    for (const auto candidate : steps) {
        if (candidate >= framesPer90) {
            step = candidate;
            break;
        }
    }
    QFont small = font();
    small.setPointSizeF(8.0);
    painter.setFont(small);
    const std::int64_t first =
        std::max<std::int64_t>(0, static_cast<std::int64_t>(frameForX(0)) / step * step);
    const double last = frameForX(area.width());
    for (std::int64_t frame = first; frame <= last; frame += step) {
        const double x = xForFrame(static_cast<double>(frame));
        painter.setPen(Theme::line);
        painter.drawLine(QPointF(x, area.bottom() - 6), QPointF(x, area.bottom()));
        painter.setPen(Theme::dimText);
        painter.drawText(QPointF(x + 3, area.top() + 11), timeText(frame));
    }
}

void TimelineView::paintClip(QPainter& painter, std::size_t index) const {
    const CDTrack& track = workspace_.displayProject().tracks[index];
    const TrackPosition& position = workspace_.displayPositions()[index];
    const QRectF clip = clipRect(index);
    const bool selected = workspace_.selectedTrackID() == track.id;
    const QColor colour = trackColour(track);

    painter.setPen(QPen(selected ? Theme::selection : Theme::line, selected ? 1.6 : 1.0));
    painter.setBrush(QColor(colour.red(), colour.green(), colour.blue(), selected ? 46 : 30));
    painter.drawRoundedRect(clip, 3, 3);

    // Waveform: one min/max column per pixel from the track's peaks, over its trimmed span.
    const std::vector<float>* peaks = workspace_.peaks(track);
    const double mid = clip.center().y();
    const double half = clip.height() / 2.0 - 3.0;
    if (peaks && peaks->size() >= 2 && track.sourceAudioSamples > 0) {
        // Zoomed out, many buckets fall on one pixel: read the folded list instead.
        const double rawPerPixel = static_cast<double>(peaks->size() / 2) / std::max(1.0, clip.width());
        if (rawPerPixel > 4.0 * coarseFactor) {
            peaks = &coarsePeaks(track.id, *peaks);
        }
        const double gain = std::pow(10.0, (track.gainEnabled ? track.gainDB : 0.0f) / 20.0);
        const double buckets = static_cast<double>(peaks->size() / 2);
        const double bucketsPerSample = buckets / static_cast<double>(track.sourceAudioSamples);
        const double clipFrames = static_cast<double>(position.audioEndLBA - position.audioStartLBA);
        const int left = std::max(0, static_cast<int>(clip.left()));
        const int right = std::min(width(), static_cast<int>(clip.right()));
        QPainterPath wave;
        std::vector<QPointF> lower;
        for (int x = left; x < right; ++x) {
            const double frameIn = std::clamp(frameForX(x) - position.audioStartLBA, 0.0, clipFrames);
            const double frameOut = std::clamp(frameForX(x + 1) - position.audioStartLBA, 0.0, clipFrames);
            const double sampleIn = track.trimStartSamples + frameIn * samplesPerFrame;
            const double sampleOut = track.trimStartSamples + frameOut * samplesPerFrame;
            auto first = static_cast<std::size_t>(sampleIn * bucketsPerSample);
            auto last = static_cast<std::size_t>(std::ceil(sampleOut * bucketsPerSample));
            last = std::min<std::size_t>(std::max(last, first + 1), static_cast<std::size_t>(buckets));
            if (first >= last) {
                continue;
            }
            float low = 0.0f;
            float high = 0.0f;
            for (std::size_t b = first; b < last; ++b) {
                low = std::min(low, (*peaks)[2 * b]);
                high = std::max(high, (*peaks)[2 * b + 1]);
            }
            const double top = mid - std::min(1.0, high * gain) * half;
            const double bottom = mid - std::max(-1.0, low * gain) * half;
            if (wave.isEmpty()) {
                wave.moveTo(x, top);
            } else {
                wave.lineTo(x, top);
            }
            lower.emplace_back(x, bottom);
        }
        for (auto it = lower.rbegin(); it != lower.rend(); ++it) {
            wave.lineTo(*it);
        }
        wave.closeSubpath();
        painter.setPen(Qt::NoPen);
        painter.setBrush(colour);
        painter.drawPath(wave);
    } else {
        painter.setPen(QPen(colour.darker(150), 1));
        painter.drawLine(QPointF(clip.left(), mid), QPointF(clip.right(), mid));
    }

    // Fades: the shaded area outside the gain line, with a handle at each top corner.
    const double fadeInX = xForFrame(position.audioStartLBA + track.fadeInSamples / samplesPerFrame);
    const double fadeOutX = xForFrame(position.audioEndLBA - track.fadeOutSamples / samplesPerFrame);
    painter.setBrush(QColor(0, 0, 0, 110));
    painter.setPen(Qt::NoPen);
    if (fadeInX > clip.left() + 0.5) {
        QPainterPath shade;
        shade.moveTo(clip.topLeft());
        shade.lineTo(fadeInX, clip.top());
        shade.lineTo(clip.bottomLeft());
        shade.closeSubpath();
        painter.drawPath(shade);
    }
    if (fadeOutX < clip.right() - 0.5) {
        QPainterPath shade;
        shade.moveTo(fadeOutX, clip.top());
        shade.lineTo(clip.topRight());
        shade.lineTo(clip.bottomRight());
        shade.closeSubpath();
        painter.drawPath(shade);
    }
    painter.setPen(QPen(Theme::fade, 1.2));
    painter.drawLine(QPointF(clip.left(), clip.bottom()), QPointF(fadeInX, clip.top()));
    painter.drawLine(QPointF(fadeOutX, clip.top()), QPointF(clip.right(), clip.bottom()));
    painter.setBrush(Theme::fade);
    painter.setPen(QPen(Theme::background, 1));
    painter.drawEllipse(QPointF(fadeInX, clip.top()), 4.0, 4.0);
    painter.drawEllipse(QPointF(fadeOutX, clip.top()), 4.0, 4.0);

    // Title in the clip's top-left corner, clipped to it.
    painter.save();
    painter.setClipRect(clip.adjusted(2, 0, -2, 0));
    QFont label = font();
    label.setPointSizeF(8.5);
    label.setBold(true);
    painter.setFont(label);
    painter.setPen(Theme::text);
    const QString title =
        QStringLiteral("%1  %2")
            .arg(index + 1, 2, 10, QLatin1Char('0'))
            .arg(QString::fromStdString(track.title.empty() ? std::string("Untitled") : track.title));
    painter.drawText(clip.adjusted(8, 3, -4, 0), Qt::AlignLeft | Qt::AlignTop, title);
    painter.restore();
}

// --- Interaction ---

void TimelineView::locate(double x) {
    const double seconds = std::max(0.0, frameForX(x)) / RedBook::framesPerSecond;
    workspace_.playback().seek(PlaybackControl::sampleAt(seconds));
    workspace_.setCurrentSample(workspace_.playback().currentSample());
}

void TimelineView::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        return;
    }
    const Hit hit = hitTest(event->position());
    if (hit.part == Part::ruler) {
        scrubbing_ = true;
        workspace_.playback().beginScrub();
        locate(event->position().x());
        return;
    }
    if (hit.part == Part::none) {
        workspace_.setSelectedTrackID(std::nullopt);
        return;
    }
    const CDTrack& track = workspace_.displayProject().tracks[hit.trackIndex];
    workspace_.setSelectedTrackID(track.id);
    drag_ = Drag{hit.part, track.id, frameForX(event->position().x()), track, false};
    workspace_.beginInteractiveChange();
    workspace_.timelineInteracting = true;
}

void TimelineView::mouseMoveEvent(QMouseEvent* event) {
    if (scrubbing_) {
        const double seconds = std::max(0.0, frameForX(event->position().x())) / RedBook::framesPerSecond;
        workspace_.playback().scrubTo(PlaybackControl::sampleAt(seconds));
        workspace_.setCurrentSample(PlaybackControl::sampleAt(seconds));
        return;
    }
    if (drag_) {
        drag_->moved = true;
        applyDrag(frameForX(event->position().x()), ReloadPlayback::no);
        return;
    }
    switch (hitTest(event->position()).part) {
    case Part::fadeIn:
    case Part::fadeOut:
        setCursor(Qt::PointingHandCursor);
        break;
    case Part::trimStart:
    case Part::trimEnd:
        setCursor(Qt::SizeHorCursor);
        break;
    case Part::body:
        setCursor(Qt::OpenHandCursor);
        break;
    default:
        unsetCursor();
    }
}

void TimelineView::mouseReleaseEvent(QMouseEvent* event) {
    if (scrubbing_) {
        scrubbing_ = false;
        workspace_.playback().endScrub();
        return;
    }
    if (!drag_) {
        return;
    }
    if (drag_->moved) {
        applyDrag(frameForX(event->position().x()), ReloadPlayback::no);
    }
    drag_.reset();
    workspace_.timelineInteracting = false;
    workspace_.endInteractiveChange();
    workspace_.recalculateTimeline(ReloadPlayback::yes);
}

void TimelineView::applyDrag(double frameNow, ReloadPlayback reload) {
    const CDTrack& before = drag_->before;
    const auto deltaFrames = static_cast<std::int64_t>(std::llround(frameNow - drag_->pressFrame));
    const std::int64_t deltaSamples = deltaFrames * static_cast<std::int64_t>(samplesPerFrame);
    const std::int64_t length = std::max<std::int64_t>(
        0, before.sourceAudioSamples - before.trimStartSamples - before.trimEndSamples);
    switch (drag_->part) {
    case Part::fadeIn: {
        const std::int64_t fadeIn =
            std::clamp<std::int64_t>(before.fadeInSamples + deltaSamples, 0,
                                     std::max<std::int64_t>(0, length - before.fadeOutSamples));
        workspace_.updateTrackFade(drag_->trackID, fadeIn, before.fadeOutSamples, reload);
        break;
    }
    case Part::fadeOut: {
        const std::int64_t fadeOut =
            std::clamp<std::int64_t>(before.fadeOutSamples - deltaSamples, 0,
                                     std::max<std::int64_t>(0, length - before.fadeInSamples));
        workspace_.updateTrackFade(drag_->trackID, before.fadeInSamples, fadeOut, reload);
        break;
    }
    case Part::trimStart: {
        const std::int64_t trimStart = std::clamp<std::int64_t>(
            before.trimStartSamples + deltaSamples, 0,
            std::max<std::int64_t>(0, before.sourceAudioSamples - before.trimEndSamples - 300 * 588));
        workspace_.updateTrackTrim(drag_->trackID, trimStart, before.trimEndSamples, reload);
        break;
    }
    case Part::trimEnd: {
        const std::int64_t trimEnd = std::clamp<std::int64_t>(
            before.trimEndSamples - deltaSamples, 0,
            std::max<std::int64_t>(0, before.sourceAudioSamples - before.trimStartSamples - 300 * 588));
        workspace_.updateTrackTrim(drag_->trackID, before.trimStartSamples, trimEnd, reload);
        break;
    }
    case Part::body:
        workspace_.updatePregap(drag_->trackID, before.preGap.totalFrames + deltaFrames, reload);
        break;
    default:
        break;
    }
    workspace_.recalculateTimelineQuietly();
}

void TimelineView::wheelEvent(QWheelEvent* event) {
    const double anchorFrame = frameForX(event->position().x());
    const double factor = std::pow(1.0015, event->angleDelta().y());
    zoom_ = std::clamp(zoom_ * factor, 1.0, 4000.0);
    // Keep the frame under the pointer where it was.
    scrollFrame_ = std::max(0.0, anchorFrame - (event->position().x() - leftMargin) * framesPerPixel());
    if (zoom_ <= 1.0) {
        scrollFrame_ = 0.0;
    }
    update();
}

void TimelineView::keyPressEvent(QKeyEvent* event) {
    const auto& selected = workspace_.selectedTrackID();
    if (!selected || (event->key() != Qt::Key_Left && event->key() != Qt::Key_Right)) {
        QWidget::keyPressEvent(event);
        return;
    }
    const auto index = workspace_.project().indexOfTrack(*selected);
    if (!index) {
        return;
    }
    const std::int64_t step = (event->modifiers() & Qt::ShiftModifier) ? 75 : 1;
    const std::int64_t delta = event->key() == Qt::Key_Left ? -step : step;
    workspace_.updatePregap(*selected, workspace_.project().tracks[*index].preGap.totalFrames + delta,
                            ReloadPlayback::yes);
}

} // namespace orvane::app
