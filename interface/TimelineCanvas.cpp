// Presses, the wheel, keys, hover and the shared helpers of the timeline canvas. Drags and
// releases are in TimelineCanvasDrag.

#include "interface/TimelineCanvas.h"

#include "interface/TimelineGeometry.h"
#include "interface/TimelineOverlays.h"
#include "model/EnvelopeCurve.h"
#include "model/RedBook.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace orvane {

using Zone = CanvasHit::Zone;

TimelineCanvas::TimelineCanvas(WorkspaceState& workspace, ViewportState& viewport, MainLoop& loop,
                               TimelineCanvasHooks hooks)
    : ws_(workspace), viewport_(viewport), loop_(loop), hooks_(std::move(hooks)) {}

TimelineCanvas::~TimelineCanvas() {
    for (const auto& timer : {autoscrollTimer_, smoothingCommitTimer_, zoomSettleTimer_}) {
        if (timer) {
            loop_.cancelTimer(*timer);
        }
    }
    if (!isNone(dragMode_)) {
        ws_.endInteractiveChange(); // a canvas going away mid-gesture leaves no group open
    }
}

CanvasHitContext TimelineCanvas::hitContext() const {
    CanvasHitContext c;
    c.project = &ws_.displayProject();
    c.positions = &ws_.displayPositions();
    c.pps = pps();
    c.canvasHeight = canvasHeight_;
    c.loopStartFrame = ws_.loopStartFrame();
    c.loopEndFrame = ws_.loopEndFrame();
    c.pinSeconds = ws_.lockedPlayStartSeconds();
    c.vinylMode = ws_.vinylMode();
    c.previewShown = ws_.preview().previewURL.has_value();
    return c;
}

void TimelineCanvas::setDragMode(DragMode mode) {
    const bool wasNone = isNone(dragMode_);
    const bool willBeNone = isNone(mode);
    dragMode_ = std::move(mode);
    // One gesture is one workspace group: one undo step, no modified check at pointer rate.
    if (wasNone && !willBeNone) {
        ws_.beginInteractiveChange();
    } else if (!wasNone && willBeNone) {
        ws_.endInteractiveChange();
    }
}

void TimelineCanvas::selectTrackFromCanvas(const Uuid& trackID) {
    if (ws_.selectedVersionID()) {
        ws_.setSelectedVersionID(std::nullopt);
    }
    if (ws_.selectedTrackID() != trackID) {
        ws_.setSelectedTrackID(trackID);
    }
    if (ws_.inspectorTab() != InspectorTab::track) {
        ws_.setInspectorTab(InspectorTab::track);
    }
}

const CDTrack* TimelineCanvas::shownTrack(const Uuid& trackID, std::size_t* index) const {
    const auto at = ws_.displayProject().indexOfTrack(trackID);
    if (!at || *at >= ws_.displayPositions().size()) {
        return nullptr;
    }
    if (index != nullptr) {
        *index = *at;
    }
    return &ws_.displayProject().tracks[*at];
}

std::int64_t TimelineCanvas::moveLimit(std::size_t index) const {
    const auto& tracks = ws_.displayProject().tracks;
    const std::int64_t shorter = std::min(tracks[index - 1].effectiveLength().totalFrames,
                                          tracks[index].effectiveLength().totalFrames);
    return -std::max<std::int64_t>(shorter - RedBook::minTrackFrames, 0);
}

void TimelineCanvas::redrawBand(double a, double b) {
    if (hooks_.redrawBand) {
        hooks_.redrawBand(std::min(a, b), std::max(a, b));
    }
}

void TimelineCanvas::redrawTrack(const Uuid& trackID) {
    std::size_t index = 0;
    if (shownTrack(trackID, &index) == nullptr) {
        return;
    }
    const auto& p = ws_.displayPositions()[index];
    redrawBand(Viewport::xOfFrame(p.startLBA, pps()) - 100.0, Viewport::xOfFrame(p.endLBA, pps()) + 100.0);
}

// --- Presses ---

void TimelineCanvas::pointerDown(const PointerEvent& event) {
    // A release the toolkit never delivered (the pointer left the window) ends the open gesture here,
    // so that no group stays open.
    if (!isNone(dragMode_) || scrubActive_) {
        pointerUp(event);
    }
    lastPointerX_ = event.x;
    hasDragged_ = false;
    if (event.button == PointerButton::secondary) {
        pressSecondary(event);
        return;
    }
    pressPrimary(event);
}

void TimelineCanvas::pressPrimary(const PointerEvent& event) {
    ws_.timelineInteracting = true;
    secondaryGesture_ = false;
    const CanvasHit hit = TimelineHitTest::hitTest(hitContext(), event.x, event.y, event.clickCount);
    const double seconds = Viewport::secondsAtX(event.x, pps());
    PlaybackControl& engine = ws_.playback();
    if (ws_.preview().previewURL) {
        if (beginLocatorDrag(hit)) {
            return;
        }
        if (event.clickCount >= 2) {
            if (engine.isPlaying()) {
                engine.stop();
            } else {
                engine.seek(PlaybackControl::sampleAt(seconds));
                engine.play();
            }
        } else {
            engine.seek(PlaybackControl::sampleAt(seconds));
        }
        return;
    }
    if (beginLocatorDrag(hit)) {
        return;
    }
    const auto& tracks = ws_.displayProject().tracks;
    const auto& positions = ws_.displayPositions();
    if (hit.zone == Zone::index01Flag) {
        const CDTrack& track = tracks[hit.trackIndex];
        selectTrackFromCanvas(track.id);
        setDragMode(CanvasDrag::MovingIndex{track.id, track.index01OffsetFrames, event.x});
        return;
    }
    if (hit.zone == Zone::subIndexFlag) {
        const CDTrack& track = tracks[hit.trackIndex];
        selectTrackFromCanvas(track.id);
        const std::int64_t offset = track.subIndexFrames[hit.ordinal];
        mirrors_.subIndex = CanvasMirrors::SubIndex{track.id, hit.ordinal,
                                                    positions[hit.trackIndex].index01LBA + offset, offset};
        setDragMode(CanvasDrag::MovingSubIndex{track.id, hit.ordinal, offset, event.x});
        return;
    }
    if (hit.zone == Zone::ruler) {
        engine.seek(PlaybackControl::sampleAt(seconds));
        if (event.clickCount >= 2) {
            engine.play();
        }
        return;
    }
    pressInLane(event, hit);
}

bool TimelineCanvas::beginLocatorDrag(const CanvasHit& hit) {
    const auto showOverride = [this](std::optional<TimecodeOverride> value) {
        if (hooks_.timecodeOverride) {
            hooks_.timecodeOverride(value);
        }
    };
    mirrors_.loopStartFrame = ws_.loopStartFrame();
    mirrors_.loopEndFrame = ws_.loopEndFrame();
    mirrors_.lockedPlayStartTime = ws_.lockedPlayStartSeconds();
    switch (hit.zone) {
    case Zone::pin:
        setDragMode(CanvasDrag::MovingPin{});
        showOverride(TimecodeOverride{TimecodeOverride::Pin{ws_.lockedPlayStartSample().value_or(0)}});
        return true;
    case Zone::loopStart:
        setDragMode(CanvasDrag::LoopMoveStart{});
        showOverride(TimecodeOverride{TimecodeOverride::Loop{hit.frame * RedBook::samplesPerFrame}});
        return true;
    case Zone::loopEnd:
        setDragMode(CanvasDrag::LoopMoveEnd{});
        showOverride(TimecodeOverride{TimecodeOverride::Loop{hit.frame * RedBook::samplesPerFrame}});
        return true;
    case Zone::loopSplit:
        setDragMode(CanvasDrag::LoopSplit{hit.frame});
        return true;
    default:
        mirrors_.loopStartFrame.reset();
        mirrors_.loopEndFrame.reset();
        mirrors_.lockedPlayStartTime.reset();
        return false;
    }
}

void TimelineCanvas::pressInLane(const PointerEvent& event, const CanvasHit& hit) {
    if (hit.zone == Zone::nothing) {
        return;
    }
    const CDTrack& track = ws_.displayProject().tracks[hit.trackIndex];
    const TrackPosition& position = ws_.displayPositions()[hit.trackIndex];
    const auto lane = TimelineGeometry::lane(canvasHeight_);
    const auto span = TimelineOverlays::audioSpan(position, pps());
    const Uuid id = track.id;
    const auto loadFade = [&] {
        mirrors_.fade = CanvasMirrors::Fade{id, track.fadeInSamples, track.fadeOutSamples, track.fadeInCurve,
                                            track.fadeOutCurve};
    };
    switch (hit.zone) {
    case Zone::crossfadeHandle:
        mirrors_.crossfade = CanvasMirrors::Crossfade{id, track.crossfadeCurve};
        setDragMode(CanvasDrag::CrossfadeCurve{id});
        return;
    case Zone::envelopePoint: {
        if (event.clickCount >= 2) {
            ws_.removeGainPoint(id, hit.pointID, ReloadPlayback::yes);
            return;
        }
        selectTrackFromCanvas(id);
        for (const GainPoint& p : track.gainPoints) {
            if (p.id == hit.pointID) {
                mirrors_.envelope = CanvasMirrors::Envelope{id, p.id, p.positionSamples, p.gainDB};
            }
        }
        setDragMode(CanvasDrag::DraggingGainPoint{id, hit.pointID});
        return;
    }
    case Zone::envelopeLine: {
        // The point lands on the line, so the curve keeps its shape at the click.
        const std::int64_t at = TimelineOverlays::positionAtX(event.x, track, span);
        const float dB = EnvelopeCurve(track.gainPoints, track.envelopeSmoothing).dB(at);
        ws_.addGainPoint(id, at, dB, ReloadPlayback::yes);
        return;
    }
    case Zone::fadeInLength:
        loadFade();
        setDragMode(CanvasDrag::FadingLengthStart{id, track.fadeInSamples, event.x});
        return;
    case Zone::fadeInCurve:
        loadFade();
        setDragMode(CanvasDrag::FadingCurveStart{id, track.fadeInCurve, event.y});
        return;
    case Zone::fadeOutLength:
        loadFade();
        setDragMode(CanvasDrag::FadingLengthEnd{id, track.fadeOutSamples, event.x});
        return;
    case Zone::fadeOutCurve:
        loadFade();
        setDragMode(CanvasDrag::FadingCurveEnd{id, track.fadeOutCurve, event.y});
        return;
    case Zone::trackAudio:
        if (!track.envelopeEnabled) {
            ws_.setEnvelopeEnabled(id, true, ReloadPlayback::no);
        }
        selectTrackFromCanvas(id);
        ws_.addGainPoint(id, TimelineOverlays::positionAtX(event.x, track, span),
                         TimelineOverlays::dBAtY(event.y, lane), ReloadPlayback::yes);
        return;
    case Zone::trimStart:
    case Zone::trimEnd:
        mirrors_.trim = CanvasMirrors::Trim{id, track.trimStartSamples, track.trimEndSamples};
        if (hit.zone == Zone::trimStart) {
            setDragMode(CanvasDrag::TrimmingStart{id, track.trimStartSamples, event.x});
        } else {
            setDragMode(CanvasDrag::TrimmingEnd{id, track.trimEndSamples, event.x});
        }
        return;
    case Zone::trackBody:
        selectTrackFromCanvas(id);
        setDragMode(CanvasDrag::MovingTrack{id, track.preGap.totalFrames, event.x});
        return;
    case Zone::trackOverlap:
        selectTrackFromCanvas(id); // a drag from here scrubs
        return;
    default:
        return;
    }
}

void TimelineCanvas::pressSecondary(const PointerEvent& event) {
    secondaryGesture_ = true;
    if (event.clickCount >= 2) {
        ws_.clearLoop();
        mirrors_.loopStartFrame.reset();
        mirrors_.loopEndFrame.reset();
        setDragMode(CanvasDrag::None{});
        return;
    }
    const std::int64_t f = Viewport::frameAtX(event.x, pps());
    mirrors_.loopStartFrame = f;
    mirrors_.loopEndFrame = f;
    setDragMode(CanvasDrag::LoopCreating{});
}

// --- Snapping ---

std::int64_t TimelineCanvas::snapFrame(std::int64_t frame, Modifiers modifiers,
                                       std::optional<Uuid> excludeTrack) const {
    if (!ws_.snapEnabled() || modifiers.has(ModifierKey::ctrl)) {
        return frame;
    }
    const double x = Viewport::xOfFrame(frame, pps());
    std::int64_t best = frame;
    double bestDistance = snapTolerancePx;
    bool found = false;
    // Strictly nearer only: the earlier candidate wins a tie.
    const auto consider = [&](std::int64_t candidate) {
        const double d = std::abs(Viewport::xOfFrame(candidate, pps()) - x);
        if (d <= snapTolerancePx && (!found || d < bestDistance)) {
            best = candidate;
            bestDistance = d;
            found = true;
        }
    };
    consider(std::max<std::int64_t>(0, std::llround(ws_.currentTime() * RedBook::framesPerSecond)));
    const auto& tracks = ws_.displayProject().tracks;
    const auto& positions = ws_.displayPositions();
    for (std::size_t i = 0; i < positions.size(); ++i) {
        if (excludeTrack && i < tracks.size() && tracks[i].id == *excludeTrack) {
            continue;
        }
        consider(positions[i].index01LBA);
        consider(positions[i].audioStartLBA);
        consider(positions[i].audioEndLBA);
    }
    return best;
}

// --- Wheel ---

bool TimelineCanvas::envelopeScrollSmooth(const WheelEvent& event) {
    const auto lane = TimelineGeometry::lane(canvasHeight_);
    if (!(event.y > lane.top && event.y < lane.bottom)) {
        return false;
    }
    const auto& tracks = ws_.displayProject().tracks;
    const auto& positions = ws_.displayPositions();
    for (std::size_t i = 0; i < tracks.size() && i < positions.size(); ++i) {
        const CDTrack& track = tracks[i];
        if (!track.envelopeEnabled) {
            continue;
        }
        const auto span = TimelineOverlays::audioSpan(positions[i], pps());
        for (const GainPoint& point : track.gainPoints) {
            const Point p = TimelineOverlays::envelopePoint(point, track, span, lane);
            if (std::abs(event.x - p.x) > 7.0 || std::abs(event.y - p.y) > 7.0) {
                continue;
            }
            float base = point.smoothing.value_or(track.envelopeSmoothing);
            if (mirrors_.smoothing && mirrors_.smoothing->pointID == point.id) {
                base = mirrors_.smoothing->smoothing;
            }
            const float smoothing = std::clamp(base + static_cast<float>(event.deltaY) * 0.05f, 0.0f, 1.0f);
            mirrors_.smoothing = CanvasMirrors::Smoothing{track.id, point.id, smoothing};
            redrawBand(span.x0, span.x1);
            if (smoothingCommitTimer_) {
                loop_.cancelTimer(*smoothingCommitTimer_);
            }
            smoothingCommitTimer_ = loop_.addTimer(envelopeSmoothingCommitDelay, TimerRepeat::once, [this] {
                smoothingCommitTimer_.reset();
                if (const auto edit = std::exchange(mirrors_.smoothing, std::nullopt)) {
                    ws_.setGainPointSmoothing(edit->trackID, edit->pointID, edit->smoothing,
                                              ReloadPlayback::yes);
                }
            });
            return true;
        }
    }
    return false;
}

void TimelineCanvas::markZooming() {
    ws_.timelineInteracting = true;
    if (zoomSettleTimer_) {
        loop_.cancelTimer(*zoomSettleTimer_);
    }
    zoomSettleTimer_ = loop_.addTimer(zoomSettleDelay, TimerRepeat::once, [this] {
        zoomSettleTimer_.reset();
        ws_.timelineInteracting = false;
        if (hooks_.redrawAll) {
            hooks_.redrawAll();
        }
    });
}

bool TimelineCanvas::wheel(const WheelEvent& event) {
    const bool alt = event.modifiers.has(ModifierKey::alt);
    const double oldPPS = pps();
    const double pointerInView = event.x - scroll_.originX;
    if (!alt) {
        if (event.deltaY != 0.0 && envelopeScrollSmooth(event)) {
            return true;
        }
        if (event.deltaY == 0.0 || std::abs(event.deltaX) > std::abs(event.deltaY)) {
            return false;
        }
        viewport_.pixelsPerSecond = Viewport::wheelZoomedPixelsPerSecond(oldPPS, event.deltaY);
        scroller_.setExplicitScrollTarget(Viewport::anchoredScrollOrigin(oldPPS, viewport_.pixelsPerSecond,
                                                                         scroll_.originX, pointerInView));
        markZooming();
        return true;
    }
    if (event.modifiers.has(ModifierKey::shift)) {
        viewport_.amplitudeZoom = Viewport::wheelZoomedAmplitude(viewport_.amplitudeZoom, event.deltaY);
        markZooming();
        return true;
    }
    viewport_.pixelsPerSecond = Viewport::wheelZoomedPixelsPerSecond(oldPPS, event.deltaY);
    // With zoom-to-cursor the playhead keeps its place in the visible width instead of the pointer.
    const double anchor = ws_.zoomToCursor() ? oldPPS * ws_.currentTime() - scroll_.originX : pointerInView;
    scroller_.setExplicitScrollTarget(
        Viewport::anchoredScrollOrigin(oldPPS, viewport_.pixelsPerSecond, scroll_.originX, anchor));
    markZooming();
    return true;
}

// --- Keys ---

void TimelineCanvas::nudgeSelectedTrack(std::int64_t deltaFrames) {
    const auto& selected = ws_.selectedTrackID();
    if (!selected) {
        return;
    }
    std::size_t index = 0;
    const CDTrack* track = shownTrack(*selected, &index);
    if (track == nullptr || index == 0) {
        return;
    }
    const std::int64_t pregap = std::max(track->preGap.totalFrames + deltaFrames, moveLimit(index));
    ws_.updatePregap(track->id, pregap, ReloadPlayback::yes);
}

bool TimelineCanvas::key(const KeyEvent& event) {
    if (event.key != Key::leftArrow && event.key != Key::rightArrow) {
        return false;
    }
    const std::int64_t step = event.modifiers.has(ModifierKey::shift) ? RedBook::framesPerSecond : 1;
    nudgeSelectedTrack(event.key == Key::leftArrow ? -step : step);
    return true;
}

// --- Hover ---

CanvasCursor TimelineCanvas::hover(double x, double y) {
    const CanvasHit hit = TimelineHitTest::hitTest(hitContext(), x, y, 1);
    std::optional<CanvasMirrors::Hover> hovered;
    if (hit.zone == Zone::envelopePoint) {
        hovered = CanvasMirrors::Hover{ws_.displayProject().tracks[hit.trackIndex].id, hit.pointID};
    }
    if (hovered != mirrors_.hoverEnvelope) {
        mirrors_.hoverEnvelope = hovered;
        if (hooks_.redrawBand && hit.zone == Zone::envelopePoint) {
            redrawBand(x - 60.0, x + 60.0);
        }
    }
    switch (hit.zone) {
    case Zone::pin:
    case Zone::loopStart:
    case Zone::loopEnd:
    case Zone::loopSplit:
        return CanvasCursor::locator;
    case Zone::index01Flag:
    case Zone::subIndexFlag:
    case Zone::fadeInLength:
    case Zone::fadeOutLength:
    case Zone::trimStart:
    case Zone::trimEnd:
        return CanvasCursor::resizeHorizontal;
    case Zone::fadeInCurve:
    case Zone::fadeOutCurve:
    case Zone::crossfadeHandle:
        return CanvasCursor::resizeVertical;
    case Zone::envelopePoint:
        return CanvasCursor::pointPick;
    case Zone::trackBody:
        return hit.trackIndex == 0 ? CanvasCursor::arrow : CanvasCursor::move; // track 1 is anchored
    default:
        return CanvasCursor::arrow;
    }
}

void TimelineCanvas::pointerExited() {
    mirrors_.hoverEnvelope.reset();
}

// --- What the drawing reads ---

CDTrack TimelineCanvas::trackAsShown(const CDTrack& track) const {
    CDTrack shown = track;
    if (mirrors_.fade && mirrors_.fade->trackID == track.id) {
        shown.fadeInSamples = mirrors_.fade->fadeInSamples;
        shown.fadeOutSamples = mirrors_.fade->fadeOutSamples;
        shown.fadeInCurve = mirrors_.fade->fadeInCurve;
        shown.fadeOutCurve = mirrors_.fade->fadeOutCurve;
    }
    if (mirrors_.trim && mirrors_.trim->trackID == track.id) {
        shown.trimStartSamples = mirrors_.trim->trimStartSamples;
        shown.trimEndSamples = mirrors_.trim->trimEndSamples;
    }
    if (mirrors_.envelope && mirrors_.envelope->trackID == track.id) {
        shown = TimelineOverlays::envelopeMirrored(
            shown, mirrors_.envelope->pointID, mirrors_.envelope->positionSamples, mirrors_.envelope->gainDB);
    }
    if (mirrors_.smoothing && mirrors_.smoothing->trackID == track.id) {
        for (GainPoint& p : shown.gainPoints) {
            if (p.id == mirrors_.smoothing->pointID) {
                p.smoothing = mirrors_.smoothing->smoothing;
            }
        }
    }
    if (mirrors_.crossfade && mirrors_.crossfade->trackID == track.id) {
        shown.crossfadeCurve = mirrors_.crossfade->curve;
    }
    return shown;
}

namespace {
bool isLocatorMode(const DragMode& mode) {
    return std::holds_alternative<CanvasDrag::LoopSplit>(mode) ||
           std::holds_alternative<CanvasDrag::LoopCreating>(mode) ||
           std::holds_alternative<CanvasDrag::LoopMoveStart>(mode) ||
           std::holds_alternative<CanvasDrag::LoopMoveEnd>(mode) ||
           std::holds_alternative<CanvasDrag::MovingPin>(mode);
}
} // namespace

std::optional<std::int64_t> TimelineCanvas::shownLoopStartFrame() const {
    return isLocatorMode(dragMode_) ? mirrors_.loopStartFrame : ws_.loopStartFrame();
}

std::optional<std::int64_t> TimelineCanvas::shownLoopEndFrame() const {
    return isLocatorMode(dragMode_) ? mirrors_.loopEndFrame : ws_.loopEndFrame();
}

std::optional<double> TimelineCanvas::shownPin() const {
    return isLocatorMode(dragMode_) ? mirrors_.lockedPlayStartTime : ws_.lockedPlayStartSeconds();
}

TimelineOverlays::AudioSpan TimelineCanvas::shownAudioSpan(std::size_t trackIndex) const {
    const auto& tracks = ws_.displayProject().tracks;
    const auto& positions = ws_.displayPositions();
    if (trackIndex >= tracks.size() || trackIndex >= positions.size()) {
        return {};
    }
    auto span = TimelineOverlays::audioSpan(positions[trackIndex], pps());
    if (mirrors_.trim && mirrors_.trim->trackID == tracks[trackIndex].id) {
        const CDTrack shown = trackAsShown(tracks[trackIndex]);
        span.x1 = span.x0 + Viewport::xOfFrame(shown.effectiveLength().totalFrames, pps());
    }
    return span;
}

std::vector<TimelineOverlays::MarkerFlag> TimelineCanvas::shownMarkerFlags() const {
    auto flags = TimelineOverlays::markerFlags(ws_.displayProject(), ws_.displayPositions(), pps());
    for (auto& flag : flags) {
        const bool index01 = flag.kind == TimelineOverlays::MarkerFlag::Kind::index01;
        if (index01 && mirrors_.index && mirrors_.index->trackID == flag.trackID) {
            flag.frame = mirrors_.index->frame;
        } else if (!index01 && mirrors_.subIndex && mirrors_.subIndex->trackID == flag.trackID &&
                   mirrors_.subIndex->ordinal == flag.ordinal) {
            flag.frame = mirrors_.subIndex->frame;
        } else {
            continue;
        }
        flag.x = Viewport::xOfFrame(flag.frame, pps());
    }
    return flags;
}

} // namespace orvane
