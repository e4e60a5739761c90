// Drags and releases of the timeline canvas, the scrub with its edge auto-scroll, and the commits
// that end each gesture.

#include "interface/TimelineCanvas.h"
#include "interface/TimelineGeometry.h"
#include "interface/TimelineOverlays.h"
#include "interface/ZeroCrossing.h"
#include "model/RedBook.h"

#include <algorithm>
#include <cmath>

namespace orvane {

namespace {

constexpr double fps = static_cast<double>(RedBook::framesPerSecond);

template <typename... Ts> struct Overloaded : Ts... { using Ts::operator()...; };
template <typename... Ts> Overloaded(Ts...) -> Overloaded<Ts...>;

} // namespace

void TimelineCanvas::pointerDragged(const PointerEvent& event) {
    hasDragged_ = true;
    lastPointerX_ = event.x;
    if (event.button == PointerButton::secondary || secondaryGesture_) {
        dragSecondary(event);
        return;
    }
    dragPrimary(event);
}

void TimelineCanvas::dragPrimary(const PointerEvent& event) {
    const double x = event.x;
    std::visit(Overloaded{
                   [&](const CanvasDrag::TrimmingStart&) { dragTrim(x); },
                   [&](const CanvasDrag::TrimmingEnd&) { dragTrim(x); },
                   [&](const CanvasDrag::FadingLengthStart&) { dragFade(event); },
                   [&](const CanvasDrag::FadingLengthEnd&) { dragFade(event); },
                   [&](const CanvasDrag::FadingCurveStart&) { dragFade(event); },
                   [&](const CanvasDrag::FadingCurveEnd&) { dragFade(event); },
                   [&](const CanvasDrag::MovingTrack& m) {
                       std::size_t index = 0;
                       if (shownTrack(m.trackID, &index) == nullptr || index == 0) {
                           return; // the first track stays anchored
                       }
                       const std::int64_t pregap =
                           std::max(m.originalPregap + Viewport::framesForDistance(x - m.startX, pps()),
                                    moveLimit(index));
                       ws_.updatePregap(m.trackID, pregap, ReloadPlayback::no);
                       redrawTrack(m.trackID);
                   },
                   [&](const CanvasDrag::DraggingGainPoint& m) { dragGainPoint(m, event); },
                   [&](const CanvasDrag::CrossfadeCurve& m) {
                       if (mirrors_.crossfade) {
                           mirrors_.crossfade->curve = TimelineOverlays::crossfadeCurveFromY(
                               event.y, TimelineGeometry::lane(canvasHeight_));
                       }
                       redrawTrack(m.trackID);
                   },
                   [&](const CanvasDrag::MovingIndex& m) { dragIndex(m, x); },
                   [&](const CanvasDrag::MovingSubIndex& m) { dragSubIndex(m, x); },
                   [&](const CanvasDrag::LoopSplit&) { dragLocator(event); },
                   [&](const CanvasDrag::LoopMoveStart&) { dragLocator(event); },
                   [&](const CanvasDrag::LoopMoveEnd&) { dragLocator(event); },
                   [&](const CanvasDrag::MovingPin&) { dragLocator(event); },
                   [&](const CanvasDrag::None&) { scrubTo(x); },
                   [&](const CanvasDrag::LoopCreating&) {}, // driven by the secondary button
               },
               dragMode_);
}

void TimelineCanvas::dragTrim(double x) {
    if (!mirrors_.trim) {
        return;
    }
    const CDTrack* track = shownTrack(mirrors_.trim->trackID);
    if (track == nullptr) {
        return;
    }
    // At least four seconds stay between the two trims.
    CanvasMirrors::Trim& trim = *mirrors_.trim;
    if (const auto* start = std::get_if<CanvasDrag::TrimmingStart>(&dragMode_)) {
        const std::int64_t most =
            std::max<std::int64_t>(track->sourceAudioSamples - trim.trimEndSamples - minTrimmedSamples, 0);
        const std::int64_t value =
            start->originalTrim + Viewport::samplesForDistance(x - start->startX, pps());
        trim.trimStartSamples = std::clamp<std::int64_t>(value, 0, most);
    } else if (const auto* end = std::get_if<CanvasDrag::TrimmingEnd>(&dragMode_)) {
        const std::int64_t most =
            std::max<std::int64_t>(track->sourceAudioSamples - trim.trimStartSamples - minTrimmedSamples, 0);
        const std::int64_t value = end->originalTrim + Viewport::samplesForDistance(end->startX - x, pps());
        trim.trimEndSamples = std::clamp<std::int64_t>(value, 0, most);
    }
    redrawTrack(trim.trackID);
}

void TimelineCanvas::dragGainPoint(const CanvasDrag::DraggingGainPoint& m, const PointerEvent& event) {
    std::size_t index = 0;
    const CDTrack* track = shownTrack(m.trackID, &index);
    if (track == nullptr || !mirrors_.envelope) {
        return;
    }
    const auto span = TimelineOverlays::audioSpan(ws_.displayPositions()[index], pps());
    mirrors_.envelope->positionSamples = TimelineOverlays::positionAtX(event.x, *track, span);
    mirrors_.envelope->gainDB = TimelineOverlays::dBAtY(event.y, TimelineGeometry::lane(canvasHeight_));
    redrawBand(span.x0, span.x1);
}

void TimelineCanvas::dragSubIndex(const CanvasDrag::MovingSubIndex& m, double x) {
    std::size_t index = 0;
    if (shownTrack(m.trackID, &index) == nullptr) {
        return;
    }
    // Never on INDEX 01 and never at the track's end.
    const TrackPosition& p = ws_.displayPositions()[index];
    const std::int64_t most = std::max<std::int64_t>(p.endLBA - p.index01LBA - 1, 1);
    const std::int64_t offset = std::clamp<std::int64_t>(
        m.originalOffset + Viewport::framesForDistance(x - m.startX, pps()), 1, most);
    const double oldX =
        Viewport::xOfFrame(mirrors_.subIndex ? mirrors_.subIndex->frame : p.index01LBA, pps());
    mirrors_.subIndex = CanvasMirrors::SubIndex{m.trackID, m.ordinal, p.index01LBA + offset, offset};
    redrawBand(oldX - 20.0, Viewport::xOfFrame(p.index01LBA + offset, pps()) + 20.0);
}

void TimelineCanvas::dragFade(const PointerEvent& event) {
    if (!mirrors_.fade) {
        return;
    }
    const CDTrack* track = shownTrack(mirrors_.fade->trackID);
    if (track == nullptr) {
        return;
    }
    const std::int64_t most = std::max<std::int64_t>(
        track->sourceAudioSamples - track->trimStartSamples - track->trimEndSamples, 0);
    const double laneHeight = TimelineGeometry::lane(canvasHeight_).height;
    const auto curveFrom = [&](float original, double startY) {
        if (!(laneHeight > 0)) {
            return original;
        }
        const double curve = static_cast<double>(original) + (event.y - startY) / (-0.5 * laneHeight);
        return static_cast<float>(std::clamp(curve, -1.0, 1.0));
    };
    CanvasMirrors::Fade& fade = *mirrors_.fade;
    if (const auto* m = std::get_if<CanvasDrag::FadingLengthStart>(&dragMode_)) {
        fade.fadeInSamples = std::clamp<std::int64_t>(
            m->originalFade + Viewport::samplesForDistance(event.x - m->startX, pps()), 0, most);
    } else if (const auto* m2 = std::get_if<CanvasDrag::FadingLengthEnd>(&dragMode_)) {
        fade.fadeOutSamples = std::clamp<std::int64_t>(
            m2->originalFade + Viewport::samplesForDistance(m2->startX - event.x, pps()), 0, most);
    } else if (const auto* m3 = std::get_if<CanvasDrag::FadingCurveStart>(&dragMode_)) {
        fade.fadeInCurve = curveFrom(m3->originalCurve, m3->startY);
    } else if (const auto* m4 = std::get_if<CanvasDrag::FadingCurveEnd>(&dragMode_)) {
        fade.fadeOutCurve = curveFrom(m4->originalCurve, m4->startY);
    }
    if (hooks_.liveFade) {
        hooks_.liveFade(fade.trackID, fade.fadeInSamples, fade.fadeOutSamples, fade.fadeInCurve,
                        fade.fadeOutCurve);
    }
    redrawTrack(fade.trackID);
}

void TimelineCanvas::dragIndex(const CanvasDrag::MovingIndex& m, double x) {
    std::size_t index = 0;
    const CDTrack* track = shownTrack(m.trackID, &index);
    if (track == nullptr) {
        return;
    }
    const TrackPosition& p = ws_.displayPositions()[index];
    const double oldX = Viewport::xOfFrame(mirrors_.index ? mirrors_.index->frame : p.index01LBA, pps());
    if (index > 0 && track->preGap.totalFrames < 0) {
        // Inside a crossfade the marker moves within the overlap, counted from its middle.
        const std::int64_t middle = p.audioStartLBA + (-track->preGap.totalFrames) / 2;
        const std::int64_t lo = p.audioStartLBA;
        const std::int64_t hi = ws_.displayPositions()[index - 1].audioEndLBA;
        const std::int64_t frame = lo <= hi ? std::clamp(Viewport::frameAtX(x, pps()), lo, hi) : middle;
        mirrors_.index = CanvasMirrors::Index{m.trackID, frame, frame - middle};
    } else {
        const std::int64_t most =
            std::max<std::int64_t>(track->effectiveLength().totalFrames - RedBook::minTrackFrames, 0);
        const std::int64_t offset = std::clamp<std::int64_t>(
            m.originalOffset + Viewport::framesForDistance(x - m.startX, pps()), 0, most);
        mirrors_.index = CanvasMirrors::Index{m.trackID, p.audioStartLBA + offset, offset};
    }
    redrawBand(oldX - 20.0, Viewport::xOfFrame(mirrors_.index->frame, pps()) + 20.0);
}

void TimelineCanvas::dragLocator(const PointerEvent& event) {
    const std::int64_t under = Viewport::frameAtX(event.x, pps());
    const double oldMin = std::min(Viewport::xOfFrame(mirrors_.loopStartFrame.value_or(under), pps()),
                                   pps() * mirrors_.lockedPlayStartTime.value_or(event.x / pps()));
    std::optional<TimecodeOverride> shown;
    if (const auto* split = std::get_if<CanvasDrag::LoopSplit>(&dragMode_)) {
        const std::int64_t f = snapFrame(under, event.modifiers);
        mirrors_.loopStartFrame = std::min(split->origin, f);
        mirrors_.loopEndFrame = std::max(split->origin, f);
        shown = TimecodeOverride{TimecodeOverride::Loop{f * RedBook::samplesPerFrame}};
    } else if (std::holds_alternative<CanvasDrag::LoopMoveStart>(dragMode_)) {
        const std::int64_t f = snapFrame(under, event.modifiers);
        mirrors_.loopStartFrame = f;
        shown = TimecodeOverride{TimecodeOverride::Loop{f * RedBook::samplesPerFrame}};
    } else if (std::holds_alternative<CanvasDrag::LoopMoveEnd>(dragMode_)) {
        const std::int64_t f = snapFrame(under, event.modifiers);
        mirrors_.loopEndFrame = f;
        shown = TimecodeOverride{TimecodeOverride::Loop{f * RedBook::samplesPerFrame}};
    } else {
        // The pin keeps the pointer's own time unless a candidate caught it.
        const double t = std::max(0.0, event.x / pps());
        const std::int64_t f = std::llround(t * fps);
        const std::int64_t snapped = snapFrame(f, event.modifiers);
        mirrors_.lockedPlayStartTime = snapped != f ? static_cast<double>(snapped) / fps : t;
        shown =
            TimecodeOverride{TimecodeOverride::Pin{PlaybackControl::sampleAt(*mirrors_.lockedPlayStartTime)}};
    }
    if (hooks_.timecodeOverride) {
        hooks_.timecodeOverride(shown);
    }
    redrawBand(std::min(oldMin, event.x) - 14.0, std::max(oldMin, event.x) + 14.0);
}

void TimelineCanvas::dragSecondary(const PointerEvent& event) {
    if (!std::holds_alternative<CanvasDrag::LoopCreating>(dragMode_)) {
        return;
    }
    const double oldX = Viewport::xOfFrame(mirrors_.loopEndFrame.value_or(0), pps());
    mirrors_.loopEndFrame = Viewport::frameAtX(event.x, pps());
    redrawBand(oldX - 14.0, event.x + 14.0);
}

// --- Scrub ---

void TimelineCanvas::scrubTo(double x) {
    if (!scrubActive_) {
        scrubActive_ = true;
        ws_.playback().beginScrub();
    }
    if (!updateScrubEdgeAutoscroll(x)) {
        ws_.playback().scrubTo(PlaybackControl::sampleAt(Viewport::secondsAtX(x, pps())));
    }
}

bool TimelineCanvas::updateScrubEdgeAutoscroll(double x) {
    const double minX = scroll_.originX;
    const double maxX = scroll_.maxX();
    const double zone = TimelineGeometry::scrubEdgeZone;
    if (x >= maxX - zone && minX < scroll_.contentWidth - scroll_.visibleWidth - 0.5) {
        scrubAutoscrollDepth_ = std::min((x - (maxX - zone)) / zone, 1.0);
        scrubAutoscrollDir_ = 1;
    } else if (x <= minX + zone && minX > 0.5) {
        scrubAutoscrollDepth_ = std::min((minX + zone - x) / zone, 1.0);
        scrubAutoscrollDir_ = -1;
    } else {
        stopAutoscroll();
        return false;
    }
    if (!autoscrollTimer_) {
        autoscrollTimer_ =
            loop_.addTimer(autoscrollInterval, TimerRepeat::repeating, [this] { autoscrollTick(); });
    }
    return true;
}

void TimelineCanvas::autoscrollTick() {
    const double step = scrubAutoscrollDepth_ * 6.0 + 2.0;
    const double most = std::max(scroll_.contentWidth - scroll_.visibleWidth, 0.0);
    const double origin = std::clamp(scroll_.originX + scrubAutoscrollDir_ * step, 0.0, most);
    const double delta = origin - scroll_.originX;
    if (std::abs(delta) < 0.5) {
        stopAutoscroll();
        return;
    }
    scroll_.originX = origin;
    if (hooks_.scrollTo) {
        hooks_.scrollTo(origin);
    }
    // The pointer stays where it is on screen, so it moves over the canvas with the scroll.
    lastPointerX_ += delta;
    ws_.playback().scrubTo(PlaybackControl::sampleAt(Viewport::secondsAtX(lastPointerX_, pps())));
}

void TimelineCanvas::stopAutoscroll() {
    if (autoscrollTimer_) {
        loop_.cancelTimer(*autoscrollTimer_);
        autoscrollTimer_.reset();
    }
}

// --- Releases ---

void TimelineCanvas::pointerUp(const PointerEvent& event) {
    if (secondaryGesture_) {
        releaseSecondary();
    } else {
        releasePrimary(event);
    }
    secondaryGesture_ = false;
}

void TimelineCanvas::releasePrimary(const PointerEvent& event) {
    stopAutoscroll();
    PlaybackControl& engine = ws_.playback();
    if (scrubActive_) {
        scrubActive_ = false;
        engine.endScrub();
        ws_.selectTrackAtPlayhead();
    }
    ws_.timelineInteracting = false;
    const bool locator = std::holds_alternative<CanvasDrag::LoopSplit>(dragMode_) ||
                         std::holds_alternative<CanvasDrag::LoopMoveStart>(dragMode_) ||
                         std::holds_alternative<CanvasDrag::LoopMoveEnd>(dragMode_);
    const bool pin = std::holds_alternative<CanvasDrag::MovingPin>(dragMode_);
    if ((locator || pin) && hooks_.timecodeOverride) {
        hooks_.timecodeOverride(std::nullopt); // also after a press that never moved
    }
    if (hasDragged_) {
        commitGesture(event);
    }
    clearMirrors();
    setDragMode(CanvasDrag::None{});
    hasDragged_ = false;
}

// The commit of a gesture that moved, by its mode.
void TimelineCanvas::commitGesture(const PointerEvent& event) {
    PlaybackControl& engine = ws_.playback();
    std::visit(
        Overloaded{
            [&](const CanvasDrag::TrimmingStart&) { commitTrim(event); },
            [&](const CanvasDrag::TrimmingEnd&) { commitTrim(event); },
            [&](const CanvasDrag::MovingTrack&) { ws_.recalculateTimeline(ReloadPlayback::yes); },
            [&](const CanvasDrag::MovingIndex& m) {
                if (mirrors_.index && mirrors_.index->trackID == m.trackID) {
                    ws_.updateIndexOffset(m.trackID, mirrors_.index->offset, ReloadPlayback::no);
                    ws_.recalculateTimeline(ReloadPlayback::yes);
                }
            },
            [&](const CanvasDrag::DraggingGainPoint& m) {
                if (mirrors_.envelope) {
                    ws_.moveGainPoint(m.trackID, m.pointID, mirrors_.envelope->positionSamples,
                                      mirrors_.envelope->gainDB, ReloadPlayback::yes);
                }
            },
            [&](const CanvasDrag::CrossfadeCurve& m) {
                if (mirrors_.crossfade) {
                    ws_.setTrackCrossfadeCurve(m.trackID, mirrors_.crossfade->curve, ReloadPlayback::yes);
                }
            },
            [&](const CanvasDrag::MovingSubIndex& m) {
                if (mirrors_.subIndex && mirrors_.subIndex->trackID == m.trackID) {
                    ws_.updateSubIndex(m.trackID, m.ordinal, mirrors_.subIndex->offset);
                }
            },
            [&](const CanvasDrag::MovingPin&) {
                if (mirrors_.lockedPlayStartTime)
                    ws_.setLockedPlayStartSample(PlaybackControl::sampleAt(*mirrors_.lockedPlayStartTime));
                else
                    ws_.setLockedPlayStartSample(std::nullopt);
            },
            [&](const auto& other) {
                using T = std::decay_t<decltype(other)>;
                if constexpr (std::is_same_v<T, CanvasDrag::FadingLengthStart> ||
                              std::is_same_v<T, CanvasDrag::FadingLengthEnd> ||
                              std::is_same_v<T, CanvasDrag::FadingCurveStart> ||
                              std::is_same_v<T, CanvasDrag::FadingCurveEnd>) {
                    commitFade();
                } else if constexpr (std::is_same_v<T, CanvasDrag::LoopSplit> ||
                                     std::is_same_v<T, CanvasDrag::LoopMoveStart> ||
                                     std::is_same_v<T, CanvasDrag::LoopMoveEnd>) {
                    ws_.setLoopStartFrame(mirrors_.loopStartFrame);
                    ws_.setLoopEndFrame(mirrors_.loopEndFrame);
                    engine.seek(engine.currentSample());
                }
            },
        },
        dragMode_);
}

void TimelineCanvas::commitTrim(const PointerEvent& event) {
    if (!mirrors_.trim) {
        return;
    }
    const Uuid id = mirrors_.trim->trackID;
    ZeroCrossing::Trims trims{mirrors_.trim->trimStartSamples, mirrors_.trim->trimEndSamples};
    ws_.updateTrackTrim(id, trims.trimStartSamples, trims.trimEndSamples, ReloadPlayback::no);
    // Ctrl bypasses the zero-crossing snap as it bypasses every other snap.
    const CDTrack* track = shownTrack(id);
    if (track != nullptr && ws_.snapEnabled() && !event.modifiers.has(ModifierKey::ctrl) &&
        track->audioFileURL) {
        const bool start = std::holds_alternative<CanvasDrag::TrimmingStart>(dragMode_);
        const std::int64_t source = track->sourceAudioSamples;
        std::optional<std::int64_t> z;
        if (start && trims.trimStartSamples >= 1) {
            z = ZeroCrossing::nearest(track->audioFileURL->path(), trims.trimStartSamples);
        } else if (!start && trims.trimEndSamples >= 1) {
            z = ZeroCrossing::nearest(track->audioFileURL->path(), source - trims.trimEndSamples);
        }
        if (z) {
            trims = ZeroCrossing::snapped(trims, source,
                                          start ? ZeroCrossing::Edge::start : ZeroCrossing::Edge::end, *z);
            ws_.updateTrackTrim(id, trims.trimStartSamples, trims.trimEndSamples, ReloadPlayback::no);
        }
    }
    if (ws_.playback().isPlaying()) {
        ws_.commitTrimEdit();
    } else {
        ws_.recalculateTimeline(ReloadPlayback::yes);
    }
}

void TimelineCanvas::commitFade() {
    if (!mirrors_.fade) {
        return;
    }
    const CanvasMirrors::Fade f = *mirrors_.fade;
    ws_.updateTrackFade(f.trackID, f.fadeInSamples, f.fadeOutSamples, ReloadPlayback::no);
    ws_.updateTrackFadeCurve(f.trackID, f.fadeInCurve, f.fadeOutCurve, ReloadPlayback::no);
    if (ws_.playback().isPlaying()) {
        ws_.commitLiveEdit();
    } else {
        ws_.recalculateTimeline(ReloadPlayback::yes);
    }
}

void TimelineCanvas::releaseSecondary() {
    if (std::holds_alternative<CanvasDrag::LoopCreating>(dragMode_)) {
        const auto a = mirrors_.loopStartFrame;
        const auto b = mirrors_.loopEndFrame;
        if (a && b && *a != *b) {
            ws_.setLoopStartFrame(std::min(*a, *b));
            ws_.setLoopEndFrame(std::max(*a, *b));
            ws_.setLoopMode(true);
            ws_.playback().seek(ws_.playback().currentSample());
        } else {
            ws_.clearLoop();
        }
    }
    clearMirrors();
    setDragMode(CanvasDrag::None{});
    hasDragged_ = false;
}

void TimelineCanvas::clearMirrors() {
    const auto hover = mirrors_.hoverEnvelope;
    const auto smoothing = mirrors_.smoothing; // a wheel edit runs apart from presses
    mirrors_ = CanvasMirrors{};
    mirrors_.hoverEnvelope = hover;
    mirrors_.smoothing = smoothing;
}

} // namespace orvane
