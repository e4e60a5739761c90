#include "app/WaveformStripCache.h"

#include <QPainter>
#include <algorithm>
#include <cmath>
#include <unordered_set>

namespace orvane::app {

namespace {

using WaveformDrawing::Slot;

bool hasPeaks(const StripTrack& track) {
    return track.peaks != nullptr && track.peaks->size() >= 2 && track.shown.sourceAudioSamples > 0;
}

// The overlap of two neighbours on the canvas, when the later starts before the earlier ends.
std::optional<std::pair<double, double>> overlapOf(const StripTrack& earlier, const StripTrack& later) {
    if (later.x0 >= earlier.x1) {
        return std::nullopt;
    }
    return std::make_pair(later.x0, std::min(earlier.x1, later.x1));
}

bool inside(const Slot& slot, const std::optional<std::pair<double, double>>& range) {
    const double centre = slot.x + 0.5 * WaveformDrawing::slotPx;
    return range && centre >= range->first && centre <= range->second;
}

QPolygonF polygonOf(const std::vector<Slot>& strip, const TimelineGeometry::Lane& lane) {
    const Polyline outline = WaveformDrawing::stripOutline(strip, lane.top, lane.height);
    QPolygonF polygon;
    polygon.reserve(static_cast<qsizetype>(outline.size()));
    for (const Point& p : outline) {
        polygon.append(QPointF(p.x, p.y));
    }
    return polygon;
}

std::vector<Slot> reduce(const StripTrack& track, const StripView& view, double minX, double maxX) {
    if (!hasPeaks(track) || maxX <= minX) {
        return {};
    }
    const CDTrack& shown = track.shown;
    const double width = std::max(1.0, track.x1 - track.x0);
    // One gain entry a point is as fine as the screen can show an envelope.
    const auto count = static_cast<std::size_t>(std::clamp(width, 2.0, 4096.0));
    const WaveformDrawing::GainTable gain = WaveformDrawing::gainTable(shown, count);
    const WaveformDrawing::Scaling scaling = WaveformDrawing::scalingFor(shown, &gain, view.amplitudeZoom);
    const double rate = WaveformDrawing::fileRateOfPeaks(track.peaks->size(), shown.sourceAudioSamples);
    const WaveformDrawing::PeaksInput in =
        WaveformDrawing::peaksInputFor(shown, *track.peaks, rate, track.x0, view.pps,
                                       std::max(minX, track.x0), std::min(maxX, track.x1), scaling);
    return WaveformDrawing::peaksSlots(in);
}

} // namespace

WaveformStripCache::SlotKey WaveformStripCache::slotKey(const StripTrack& track,
                                                        const StripView& view) const {
    return SlotKey{track.shown, track.peaks, track.peaks ? track.peaks->size() : 0, track.x0, track.x1, view};
}

std::vector<Slot> WaveformStripCache::slotsOf(const StripTrack& track, const StripView& view, double minX,
                                              double maxX, bool whole) {
    if (!whole) {
        return reduce(track, view, minX, maxX);
    }
    SlotKey key = slotKey(track, view);
    auto found = slots_.find(track.shown.id);
    if (found == slots_.end() || !(found->second.key == key)) {
        SlotEntry entry{std::move(key), reduce(track, view, track.x0, track.x1)};
        found = slots_.insert_or_assign(track.shown.id, std::move(entry)).first;
    }
    return found->second.reduced;
}

std::vector<QPolygonF> WaveformStripCache::build(const std::vector<StripTrack>& tracks, std::size_t index,
                                                 const StripView& view, double minX, double maxX,
                                                 bool whole) {
    ++builds_;
    const StripTrack& track = tracks[index];
    const auto fromEarlier = index > 0 ? overlapOf(tracks[index - 1], track) : std::nullopt;
    const auto intoLater = index + 1 < tracks.size() ? overlapOf(track, tracks[index + 1]) : std::nullopt;
    const std::vector<Slot> own = slotsOf(track, view, minX, maxX, whole);

    std::vector<QPolygonF> polygons;
    // The track's own strip, in runs between the crossfades it takes part in.
    std::vector<Slot> run;
    const auto flush = [&] {
        if (run.size() >= 2) {
            polygons.push_back(polygonOf(run, view.lane));
        }
        run.clear();
    };
    for (const Slot& slot : own) {
        if (inside(slot, fromEarlier) || inside(slot, intoLater)) {
            flush();
        } else {
            run.push_back(slot);
        }
    }
    flush();

    // The crossfade into this track: both sides under the law, added slot by slot.
    if (fromEarlier) {
        const StripTrack& earlier = tracks[index - 1];
        const bool earlierWhole = earlier.x1 - earlier.x0 <= maxCachedWidth;
        std::vector<Slot> outgoing;
        for (const Slot& slot : slotsOf(earlier, view, minX, maxX, earlierWhole)) {
            if (inside(slot, fromEarlier)) {
                outgoing.push_back(slot);
            }
        }
        std::vector<Slot> incoming;
        for (const Slot& slot : own) {
            if (inside(slot, fromEarlier)) {
                incoming.push_back(slot);
            }
        }
        const float curve = track.shown.crossfadeCurve;
        outgoing =
            WaveformDrawing::withCrossfadeGain(std::move(outgoing), fromEarlier->first, fromEarlier->second,
                                               curve, WaveformDrawing::CrossfadeSide::outgoing);
        incoming =
            WaveformDrawing::withCrossfadeGain(std::move(incoming), fromEarlier->first, fromEarlier->second,
                                               curve, WaveformDrawing::CrossfadeSide::incoming);
        const std::vector<Slot> mixed = WaveformDrawing::mixSlots(outgoing, incoming);
        if (mixed.size() >= 2) {
            polygons.push_back(polygonOf(mixed, view.lane));
        }
    }
    return polygons;
}

const std::vector<QPolygonF>& WaveformStripCache::outlines(const std::vector<StripTrack>& tracks,
                                                           std::size_t index, const StripView& view,
                                                           double minX, double maxX) {
    const StripTrack& track = tracks[index];
    const bool whole = track.x1 - track.x0 <= maxCachedWidth;
    if (!whole) {
        scratch_ = build(tracks, index, view, minX, maxX, false);
        return scratch_;
    }
    OutlineKey key{slotKey(track, view), std::nullopt, std::nullopt};
    if (index > 0 && overlapOf(tracks[index - 1], track)) {
        key.incomingFrom = slotKey(tracks[index - 1], view);
    }
    if (index + 1 < tracks.size() && overlapOf(track, tracks[index + 1])) {
        key.outgoingFrom = tracks[index + 1].x0;
    }
    auto found = outlines_.find(track.shown.id);
    if (found != outlines_.end() && found->second.key == key) {
        return found->second.polygons;
    }
    if (found != outlines_.end()) {
        pictureBytes_ -= static_cast<std::size_t>(found->second.image.sizeInBytes());
    }
    Entry entry{std::move(key), build(tracks, index, view, minX, maxX, true), {}, {}, 0, {}, 0};
    return outlines_.insert_or_assign(track.shown.id, std::move(entry)).first->second.polygons;
}

std::optional<WaveformStripCache::Picture>
WaveformStripCache::picture(const std::vector<StripTrack>& tracks, std::size_t index, const StripView& view,
                            double minX, double maxX, const QColor& colour, QPointF phase,
                            const Overlay& overlay) {
    const StripTrack& track = tracks[index];
    if (track.x1 - track.x0 > maxPictureWidth) {
        return std::nullopt;
    }
    const std::vector<QPolygonF>& polygons = outlines(tracks, index, view, minX, maxX);
    Entry& entry = outlines_.at(track.shown.id);
    entry.lastDrawn = ++drawCounter_;
    // Only the sub-pixel part of the offset changes which pixels a fill touches.
    const QPointF subPixel(phase.x() - std::floor(phase.x()), phase.y() - std::floor(phase.y()));
    if (!entry.image.isNull() && entry.imageColour == colour.rgba() && entry.imagePhase == subPixel) {
        return Picture{&entry.image, entry.imageOrigin};
    }
    // A first picture of a track the paint shows only in part would fill more than the paint needs
    // (a zoom step or a page turn); such a track is filled in place until it is shown whole.
    if (entry.image.isNull() && (track.x0 < minX - 1.0 || track.x1 > maxX + 1.0)) {
        return std::nullopt;
    }
    pictureBytes_ -= static_cast<std::size_t>(entry.image.sizeInBytes());
    entry.image = QImage();
    // The clip's span over the lane, where an overlay may paint too.
    const QRectF bounds(track.x0, view.lane.top, std::max(1.0, track.x1 - track.x0),
                        std::max(1.0, view.lane.height));
    if (polygons.empty()) {
        entry.imageOrigin = QPointF();
        return std::nullopt;
    }
    // The picture's corner on whole device pixels, one pixel of margin for the antialiased edge.
    const QPointF origin(std::floor(bounds.left() + subPixel.x()) - 1.0 - subPixel.x(),
                         std::floor(bounds.top() + subPixel.y()) - 1.0 - subPixel.y());
    const QSize size(static_cast<int>(std::ceil(bounds.right() - origin.x())) + 2,
                     static_cast<int>(std::ceil(bounds.bottom() - origin.y())) + 2);
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    {
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing, true);
        painter.setPen(Qt::NoPen);
        painter.setBrush(colour);
        painter.translate(-origin);
        for (const QPolygonF& polygon : polygons) {
            painter.drawPolygon(polygon);
        }
        painter.setClipRect(bounds.adjusted(-1.0, -1.0, 1.0, 1.0));
        overlay(painter);
    }
    entry.image = std::move(image);
    entry.imageOrigin = origin;
    entry.imageColour = colour.rgba();
    entry.imagePhase = subPixel;
    pictureBytes_ += static_cast<std::size_t>(entry.image.sizeInBytes());
    dropPicturesOverBudget(track.shown.id);
    return Picture{&entry.image, entry.imageOrigin};
}

void WaveformStripCache::dropPicturesOverBudget(const Uuid& keep) {
    while (pictureBytes_ > pictureBudgetBytes) {
        Entry* oldest = nullptr;
        for (auto& [id, entry] : outlines_) {
            if (id != keep && !entry.image.isNull() && (!oldest || entry.lastDrawn < oldest->lastDrawn)) {
                oldest = &entry;
            }
        }
        if (!oldest) {
            return;
        }
        pictureBytes_ -= static_cast<std::size_t>(oldest->image.sizeInBytes());
        oldest->image = QImage();
    }
}

void WaveformStripCache::retainOnly(const std::vector<Uuid>& keep) {
    const std::unordered_set<Uuid> kept(keep.begin(), keep.end());
    std::erase_if(outlines_, [&](const auto& item) {
        if (kept.contains(item.first)) {
            return false;
        }
        pictureBytes_ -= static_cast<std::size_t>(item.second.image.sizeInBytes());
        return true;
    });
    std::erase_if(slots_, [&](const auto& item) { return !kept.contains(item.first); });
}

void WaveformStripCache::clear() {
    outlines_.clear();
    slots_.clear();
    pictureBytes_ = 0;
}

} // namespace orvane::app
