#include "app/TimelinePainter.h"

#include "app/Theme.h"
#include "interface/TimelineGeometry.h"
#include "interface/TimelineOverlays.h"
#include "interface/TimelineRuler.h"
#include "interface/WaveformDrawing.h"
#include "model/RedBook.h"

#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>

namespace orvane::app::TimelinePainter {

namespace {

using TimelineGeometry::Lane;

QColor qColour(const Rgba& c) {
    return QColor::fromRgbF(c.r, c.g, c.b, c.a);
}

QColor withAlpha(QColor colour, int alpha) {
    colour.setAlpha(alpha);
    return colour;
}

const QColor laneColour{0x20, 0x23, 0x28};

// `over` laid on `under` at `alpha` of 255, as one opaque colour.
QColor mixed(const QColor& under, const QColor& over, int alpha) {
    const auto mix = [alpha](int a, int b) { return (a * (255 - alpha) + b * alpha) / 255; };
    return QColor(mix(under.red(), over.red()), mix(under.green(), over.green()),
                  mix(under.blue(), over.blue()));
}

QPolygonF qPolyline(const Polyline& line) {
    QPolygonF polygon;
    polygon.reserve(static_cast<qsizetype>(line.size()));
    for (const Point& p : line) {
        polygon.append(QPointF(p.x, p.y));
    }
    return polygon;
}

QRectF qRect(const Rect& r) {
    return QRectF(r.x, r.y, r.width, r.height);
}

QColor trackColour(const CDTrack& track) {
    if (track.activeColorHex) {
        const QColor colour(QString::fromStdString(*track.activeColorHex));
        if (colour.isValid()) {
            return colour;
        }
    }
    return Theme::waveform;
}

QString secondsText(std::int64_t frames) {
    return QStringLiteral("%1 s").arg(static_cast<double>(frames) / RedBook::framesPerSecond, 0, 'f', 2);
}

struct Context {
    QPainter& painter;
    const Scene& scene;
    Lane lane;
    double minX = 0.0;
    double maxX = 0.0;
    double pps = 10.0;
    QFont small;
    QFont label;
};

bool meets(const Context& c, double x0, double x1) {
    return x1 >= c.minX && x0 <= c.maxX;
}

// The stretch before a track's audio (its pre-gap) as a hatched band, with its length when it fits.
void paintGap(Context& c, const TrackPosition& position, double audioX0) {
    const double gapX = Viewport::xOfFrame(position.startLBA, c.pps);
    if (audioX0 - gapX < 1.0 || !meets(c, gapX, audioX0)) {
        return;
    }
    const QRectF band(gapX, c.lane.top + 0.5 * c.lane.height - 9.0, audioX0 - gapX, 18.0);
    c.painter.fillRect(band, QBrush(withAlpha(Theme::line, 150), Qt::BDiagPattern));
    if (band.width() > 52.0) {
        c.painter.setFont(c.small);
        c.painter.setPen(Theme::dimText);
        c.painter.drawText(band, Qt::AlignCenter, secondsText(position.audioStartLBA - position.startLBA));
    }
}

// The fades' shading and curves: what only the track's shown record, place and the lane decide, so
// that they are kept in the track's picture with its waveform.
void paintFadeCurves(QPainter& p, const TimelineGeometry::Lane& lane, const CDTrack& shown, double pps,
                     double x0, double x1) {
    const double fadeIn = Viewport::widthOfSamples(shown.fadeInSamples, pps);
    const double fadeOut = Viewport::widthOfSamples(shown.fadeOutSamples, pps);
    // The part a fade takes away is shaded above its curve.
    const auto draw = [&](Polyline curve, Point corner) {
        const QPolygonF line = qPolyline(curve);
        curve.push_back(corner);
        p.setRenderHint(QPainter::Antialiasing, false); // the curve drawn over it hides the edge
        p.setPen(Qt::NoPen);
        p.setBrush(QColor(0, 0, 0, 95));
        p.drawPolygon(qPolyline(curve));
        p.setRenderHint(QPainter::Antialiasing, true);
        p.setPen(QPen(Theme::fade, 1.4));
        p.setBrush(Qt::NoBrush);
        p.drawPolyline(line);
    };
    if (shown.fadeInSamples > 0) {
        draw(TimelineOverlays::fadeInCurve(x0, fadeIn, lane, shown.fadeInCurve), {x0, lane.top});
    }
    if (shown.fadeOutSamples > 0) {
        draw(TimelineOverlays::fadeOutCurve(x1, fadeOut, lane, shown.fadeOutCurve), {x1, lane.top});
    }
}

void paintFadeHandles(Context& c, const CDTrack& shown, double x0, double x1) {
    const double fadeIn = Viewport::widthOfSamples(shown.fadeInSamples, c.pps);
    const double fadeOut = Viewport::widthOfSamples(shown.fadeOutSamples, c.pps);
    QPainter& p = c.painter;
    p.setRenderHint(QPainter::Antialiasing, true);
    p.setPen(QPen(Theme::background, 1.0));
    p.setBrush(qColour(TimelineOverlays::curveHandleColor));
    if (shown.fadeInSamples > 0) {
        const QRectF handle =
            qRect(TimelineOverlays::fadeInCurveHandle(x0, fadeIn, c.lane, shown.fadeInCurve));
        p.drawEllipse(handle.adjusted(1, 1, -1, -1));
    }
    if (shown.fadeOutSamples > 0) {
        const QRectF handle =
            qRect(TimelineOverlays::fadeOutCurveHandle(x1, fadeOut, c.lane, shown.fadeOutCurve));
        p.drawEllipse(handle.adjusted(1, 1, -1, -1));
    }
    // The length handles stay visible at no fade, so a fade can be pulled out of the corner.
    p.setBrush(qColour(TimelineOverlays::lengthHandleColor));
    for (const Rect& r : {TimelineOverlays::fadeInLengthHandle(x0, fadeIn),
                          TimelineOverlays::fadeOutLengthHandle(x1, fadeOut)}) {
        const QRectF handle = qRect(r);
        p.drawRoundedRect(QRectF(handle.center().x() - 3.5, c.lane.top - 4.0, 7.0, 12.0), 2.0, 2.0);
    }
}

void paintEnvelope(Context& c, const CDTrack& shown, const TimelineOverlays::AudioSpan& span) {
    if (!shown.envelopeEnabled) {
        return;
    }
    QPainter& p = c.painter;
    const Polyline line = TimelineOverlays::envelopeLine(shown, span, c.lane, std::max(c.minX - 4.0, span.x0),
                                                         std::min(c.maxX + 4.0, span.x1));
    p.setPen(QPen(QColor(0xff, 0x9f, 0x43), 1.5));
    p.setBrush(Qt::NoBrush);
    p.drawPolyline(qPolyline(line));
    const CanvasMirrors& mirrors = c.scene.canvas.mirrors();
    for (const GainPoint& point : shown.gainPoints) {
        const Point at = TimelineOverlays::envelopePoint(point, shown, span, c.lane);
        if (at.x < c.minX - 80.0 || at.x > c.maxX + 80.0) {
            continue;
        }
        const bool dragged = mirrors.envelope && mirrors.envelope->pointID == point.id;
        const bool hovered = mirrors.hoverEnvelope && mirrors.hoverEnvelope->pointID == point.id;
        p.setPen(QPen(Theme::background, 1.0));
        p.setBrush(dragged || hovered ? QColor(Qt::white) : QColor(0xff, 0x9f, 0x43));
        p.drawEllipse(QPointF(at.x, at.y), 4.5, 4.5);
        if (dragged || hovered) {
            const QString text = QString::fromStdString(TimelineOverlays::envelopeValueLabel(point.gainDB));
            p.setFont(c.small);
            const QRectF box(at.x + 8.0, std::max(c.lane.top, at.y - 20.0), 58.0, 16.0);
            p.setPen(Qt::NoPen);
            p.setBrush(withAlpha(Theme::raised, 230));
            p.drawRoundedRect(box, 3.0, 3.0);
            p.setPen(Theme::text);
            p.drawText(box, Qt::AlignCenter, text);
        }
    }
}

void paintTitle(Context& c, const CDTrack& shown, std::size_t index, const QRectF& clip) {
    if (clip.width() < 34.0) {
        return;
    }
    QPainter& p = c.painter;
    p.save();
    p.setClipRect(clip.adjusted(2, 0, -2, 0), Qt::IntersectClip);
    p.setFont(c.label);
    p.setPen(Theme::text);
    const QString title =
        QStringLiteral("%1  %2")
            .arg(index + 1, 2, 10, QLatin1Char('0'))
            .arg(QString::fromStdString(shown.title.empty() ? std::string("Untitled") : shown.title));
    p.drawText(clip.adjusted(10, 12, -6, 0), Qt::AlignLeft | Qt::AlignTop, title);
    p.restore();
}

// At a close zoom a track shows its file's real samples, read around the painted span, in place of
// its peaks. False when the zoom calls for peaks or the file gives no samples.
bool paintSamples(Context& c, const StripTrack& t, const QColor& fill) {
    const CDTrack& shown = t.shown;
    if (!c.scene.samples || !t.peaks || t.peaks->size() < 2 || !shown.audioFileURL ||
        shown.sourceAudioSamples <= 0) {
        return false;
    }
    const double rate = WaveformDrawing::fileRateOfPeaks(t.peaks->size(), shown.sourceAudioSamples);
    const double ppp = WaveformDrawing::pointsPerPixel(rate, c.pps);
    const std::filesystem::path file = shown.audioFileURL->path();
    const double from = std::max(c.minX, t.x0);
    const double to = std::min(c.maxX, t.x1);
    if (file.empty() || to <= from) {
        return false;
    }
    const auto [first, last] = WaveformDrawing::visibleNativeRange(shown, rate, t.x0, c.pps, from, to);
    const double nativeTotal =
        static_cast<double>(shown.sourceAudioSamples) * rate / static_cast<double>(RedBook::sampleRate);
    const SampleWindowCache::Fraction fraction{static_cast<double>(first) / nativeTotal,
                                               static_cast<double>(last) / nativeTotal};
    if (WaveformDrawing::choosePath(ppp) != WaveformDrawing::Path::samples) {
        // Close to it: read ahead so that the next zoom step finds the samples ready.
        if (WaveformDrawing::shouldPrewarmSamples(ppp)) {
            c.scene.samples->prewarm(file, fraction);
        }
        return false;
    }
    const auto window = c.scene.samples->window(file, fraction);
    if (!window || window->samples.empty()) {
        return false;
    }
    const double width = std::max(1.0, t.x1 - t.x0);
    const WaveformDrawing::GainTable gain =
        WaveformDrawing::gainTable(shown, static_cast<std::size_t>(std::clamp(width, 2.0, 4096.0)));
    const WaveformDrawing::Scaling scaling =
        WaveformDrawing::scalingFor(shown, &gain, c.scene.viewport.amplitudeZoom);
    const WaveformDrawing::SamplesInput in =
        WaveformDrawing::samplesInputFor(shown, window->samples, window->nativeStart, rate, t.x0, c.pps, from,
                                         to, c.lane.top, c.lane.height, scaling);
    QPainter& p = c.painter;
    p.setRenderHint(QPainter::Antialiasing, true);
    p.setPen(Qt::NoPen);
    p.setBrush(fill);
    QPainterPath strip;
    for (const Quad& quad : WaveformDrawing::samplesStrip(in)) {
        QPolygonF corners;
        for (const Point& corner : quad.corners) {
            corners.append(QPointF(corner.x, corner.y));
        }
        strip.addPolygon(corners);
        strip.closeSubpath();
    }
    strip.setFillRule(Qt::WindingFill);
    p.drawPath(strip);
    return true;
}

void paintTracks(Context& c, WaveformStripCache& strips) {
    const WorkspaceState& ws = c.scene.workspace;
    const TimelineCanvas& canvas = c.scene.canvas;
    const CDProject& project = ws.displayProject();
    const auto& positions = ws.displayPositions();
    const std::size_t count = std::min(project.tracks.size(), positions.size());

    std::vector<StripTrack> strip(count);
    for (std::size_t i = 0; i < count; ++i) {
        const auto span = canvas.shownAudioSpan(i);
        strip[i].x0 = span.x0;
        strip[i].x1 = span.x1;
        // Off-screen tracks keep their record; only those near the dirty span need the mirror.
        if (meets(c, span.x0 - 200.0, span.x1 + 200.0)) {
            strip[i].shown = canvas.trackAsShown(project.tracks[i]);
            strip[i].peaks = ws.peaks(project.tracks[i]);
        }
    }
    const StripView view{c.pps, c.scene.viewport.amplitudeZoom, c.lane};
    QPainter& p = c.painter;
    for (std::size_t i = 0; i < count; ++i) {
        const StripTrack& t = strip[i];
        if (!meets(c, Viewport::xOfFrame(positions[i].startLBA, c.pps), t.x1)) {
            continue;
        }
        p.setRenderHint(QPainter::Antialiasing, false);
        paintGap(c, positions[i], t.x0);
        if (!meets(c, t.x0, t.x1)) {
            continue;
        }
        const bool selected = ws.selectedTrackID() == t.shown.id;
        const QColor colour = trackColour(t.shown);
        const QRectF clip(t.x0, c.lane.top, std::max(1.0, t.x1 - t.x0), std::max(1.0, c.lane.height));
        // The clip's ground is mixed here rather than blended, so that it is a plain fill.
        p.fillRect(clip, mixed(laneColour, colour, selected ? 40 : 22));
        p.setPen(QPen(selected ? Theme::selection : Theme::line, selected ? 1.5 : 1.0));
        p.setBrush(Qt::NoBrush);
        p.drawRect(clip.adjusted(0.5, 0.5, -0.5, -0.5));

        const QColor fill = selected ? colour.lighter(115) : colour;
        const QTransform& device = p.deviceTransform();
        const auto fades = [&](QPainter& onto) { paintFadeCurves(onto, c.lane, t.shown, c.pps, t.x0, t.x1); };
        if (paintSamples(c, t, fill)) {
            fades(p);
        } else if (const auto picture = strips.picture(strip, i, view, c.minX, c.maxX, fill,
                                                       QPointF(device.dx(), device.dy()), fades)) {
            p.drawImage(picture->origin, *picture->image);
        } else {
            p.setPen(Qt::NoPen);
            p.setBrush(fill);
            p.setRenderHint(QPainter::Antialiasing, true);
            for (const QPolygonF& outline : strips.outlines(strip, i, view, c.minX, c.maxX)) {
                p.drawPolygon(outline);
            }
            if (!t.peaks) {
                p.setPen(QPen(colour.darker(160), 1.0));
                p.drawLine(QPointF(t.x0, clip.center().y()), QPointF(t.x1, clip.center().y()));
            }
            fades(p);
        }
        paintFadeHandles(c, t.shown, t.x0, t.x1);
        paintEnvelope(c, t.shown, {t.x0, t.x1});
        paintTitle(c, t.shown, i, clip);
    }

    // Crossfades: the overlap, both gain curves under the law, and the curve's handle.
    for (std::size_t i = 1; i < count; ++i) {
        const auto overlap =
            TimelineOverlays::crossfadeOverlapRect(positions[i - 1], positions[i], c.pps, c.lane);
        if (!overlap || !meets(c, overlap->x, overlap->maxX())) {
            continue;
        }
        const float curve = strip[i].shown.crossfadeCurve;
        const QRectF area = qRect(*overlap);
        p.setRenderHint(QPainter::Antialiasing, false);
        p.fillRect(area, QColor(255, 255, 255, 14));
        p.setPen(QPen(QColor(255, 255, 255, 90), 1.0, Qt::DashLine));
        p.setBrush(Qt::NoBrush);
        p.drawRect(area);
        p.setRenderHint(QPainter::Antialiasing, true);
        const auto [outgoing, incoming] = TimelineOverlays::crossfadeGainCurves(*overlap, curve);
        p.setPen(QPen(withAlpha(trackColour(strip[i - 1].shown).lighter(140), 220), 1.4));
        p.drawPolyline(qPolyline(outgoing));
        p.setPen(QPen(withAlpha(trackColour(strip[i].shown).lighter(140), 220), 1.4));
        p.drawPolyline(qPolyline(incoming));
        const Point handle = TimelineOverlays::crossfadeHandlePoint(*overlap, curve);
        p.setPen(QPen(Theme::background, 1.2));
        p.setBrush(Qt::white);
        p.drawEllipse(QPointF(handle.x, handle.y), 5.5, 5.5);
    }
}

void paintPreview(Context& c) {
    const PreviewState& preview = c.scene.workspace.preview();
    if (preview.previewPeaks.size() < 2) {
        return;
    }
    const auto in = WaveformDrawing::previewPeaksInput(preview.previewPeaks, preview.previewLengthFrames,
                                                       c.pps, c.minX, c.maxX, c.scene.viewport.amplitudeZoom);
    const Polyline outline =
        WaveformDrawing::stripOutline(WaveformDrawing::peaksSlots(in), c.lane.top, c.lane.height);
    QColor colour = Theme::accent;
    if (preview.previewColorHex) {
        const QColor own(QString::fromStdString(*preview.previewColorHex));
        colour = own.isValid() ? own : colour;
    }
    c.painter.setRenderHint(QPainter::Antialiasing, true);
    c.painter.setPen(Qt::NoPen);
    c.painter.setBrush(colour);
    c.painter.drawPolygon(qPolyline(outline));
}

void paintRuler(Context& c) {
    QPainter& p = c.painter;
    const double top = TimelineGeometry::rulerTop(c.scene.canvasHeight);
    p.setRenderHint(QPainter::Antialiasing, false);
    p.fillRect(QRectF(c.minX, top, c.maxX - c.minX, TimelineGeometry::rulerHeight), Theme::panel);
    p.setPen(Theme::line);
    p.drawLine(QPointF(c.minX, top), QPointF(c.maxX, top));
    p.setFont(c.small);
    for (const auto& tick : TimelineRuler::ticks(c.pps, c.scene.visibleWidth, c.minX, c.maxX)) {
        p.setPen(qColour(tick.color));
        p.drawLine(QPointF(tick.x, top), QPointF(tick.x, top + tick.height));
        if (tick.label) {
            p.setPen(Theme::dimText);
            p.drawText(QPointF(tick.x + 3.0, top + 27.0), QString::fromStdString(*tick.label));
        }
    }
}

std::optional<QRectF> loopBandOf(const Context& c) {
    const TimelineCanvas& canvas = c.scene.canvas;
    const auto band = TimelineOverlays::loopBand(canvas.shownLoopStartFrame(), canvas.shownLoopEndFrame(),
                                                 c.pps, c.scene.canvasHeight);
    return band ? std::optional<QRectF>(qRect(*band)) : std::nullopt;
}

// A flag in the band between the lane and the ruler, its stem down from the lane's top.
void paintFlag(Context& c, const TimelineOverlays::Flag& flag, double width, bool stemOverLane) {
    if (!meets(c, flag.hitArea.x - 2.0, flag.hitArea.maxX() + 2.0)) {
        return;
    }
    QPainter& p = c.painter;
    const QColor colour = qColour(flag.color);
    const double stemTop = stemOverLane ? c.lane.top : c.lane.bottom;
    p.setRenderHint(QPainter::Antialiasing, false);
    p.setPen(QPen(withAlpha(colour, 170), 1.0));
    p.drawLine(QPointF(flag.x, stemTop), QPointF(flag.x, TimelineGeometry::rulerTop(c.scene.canvasHeight)));
    const double left = flag.label == "]" ? flag.x - width : flag.x;
    const QRectF body(left, c.lane.bottom + 1.0, width, 12.0);
    p.fillRect(body, colour);
    p.setPen(Theme::background);
    p.setFont(c.small);
    p.drawText(body, Qt::AlignCenter, QString::fromStdString(flag.label));
}

void paintFlags(Context& c) {
    const WorkspaceState& ws = c.scene.workspace;
    const TimelineCanvas& canvas = c.scene.canvas;
    QPainter& p = c.painter;
    // The loop's band lies under the waveforms; over the ruler it is shown again.
    if (const auto band = loopBandOf(c)) {
        const double top = TimelineGeometry::rulerTop(c.scene.canvasHeight);
        p.fillRect(QRectF(band->left(), top, band->width(), band->bottom() - top),
                   withAlpha(qColour(TimelineOverlays::loopColor), 40));
    }
    if (!ws.vinylMode() && !ws.preview().previewURL) {
        for (const auto& flag :
             TimelineOverlays::indexFlags(canvas.shownMarkerFlags(), c.scene.canvasHeight)) {
            paintFlag(c, flag, flag.label == "01" ? 18.0 : 13.0, true);
        }
    }
    for (const auto& flag :
         TimelineOverlays::locatorFlags(canvas.shownLoopStartFrame(), canvas.shownLoopEndFrame(),
                                        canvas.shownPin(), c.pps, c.scene.canvasHeight)) {
        // The loop's edges stand through the lane too, since its band lies under the clips.
        paintFlag(c, flag, flag.label == "PIN" ? 24.0 : 11.0, flag.label != "PIN");
    }
}

} // namespace

void paint(QPainter& painter, const Scene& scene, WaveformStripCache& strips, double minX, double maxX) {
    Context c{painter,        scene,         TimelineGeometry::lane(scene.canvasHeight),
              minX,           maxX,          scene.viewport.pixelsPerSecond,
              painter.font(), painter.font()};
    c.small.setPointSizeF(7.5);
    c.small.setBold(true);
    c.label.setPointSizeF(8.5);
    c.label.setBold(true);

    painter.setRenderHint(QPainter::Antialiasing, false);
    painter.fillRect(QRectF(minX, 0.0, maxX - minX, scene.canvasHeight), Theme::background);
    // The lane a shade apart from the strip of flags under it.
    painter.fillRect(QRectF(minX, c.lane.top, maxX - minX, std::max(0.0, c.lane.height)), laneColour);
    if (const auto band = loopBandOf(c)) {
        painter.fillRect(*band, withAlpha(qColour(TimelineOverlays::loopColor), 40));
    }
    if (scene.workspace.preview().previewURL) {
        paintPreview(c);
    } else {
        paintTracks(c, strips);
    }
    paintRuler(c);
    paintFlags(c);
}

void paintPlayhead(QPainter& p, const Scene& scene, double minX, double maxX) {
    const double pps = scene.viewport.pixelsPerSecond;
    const auto [from, to] =
        TimelineOverlays::playheadLine(scene.workspace.currentTime(), pps, scene.canvasHeight);
    if (from.x + 6.0 < minX || from.x - 6.0 > maxX) {
        return;
    }
    p.setRenderHint(QPainter::Antialiasing, false);
    p.setPen(QPen(qColour(TimelineOverlays::playheadColor), 1.5));
    p.drawLine(QPointF(from.x, from.y), QPointF(to.x, to.y));
    QPolygonF cap;
    cap << QPointF(from.x - 5.0, 0.0) << QPointF(from.x + 5.0, 0.0) << QPointF(from.x, 6.0);
    p.setPen(Qt::NoPen);
    p.setBrush(qColour(TimelineOverlays::playheadColor));
    p.drawPolygon(cap);
}

} // namespace orvane::app::TimelinePainter
