#pragma once
// The timeline's waveform outlines, kept per track so that a redraw paints polygons rather than
// reducing peaks again. A track's outline is rebuilt only when what shapes it changes: the zoom, the
// lane, its shown fades, trims, gain and envelope, where its audio starts, its peak list, or the
// neighbour it crossfades with. Inside a crossfade the two tracks are drawn once, as their sum.
// Tracks wider than a cache holds are reduced for the asked span only. Filling a tall antialiased
// outline is what makes a fresh paint slow, so each outline is also kept filled, as a picture that a
// paint copies; the pictures are bounded in memory, least recently drawn going first. GUI thread.

#include "interface/TimelineGeometry.h"
#include "interface/WaveformDrawing.h"
#include "model/CDTrack.h"
#include "model/Uuid.h"

#include <QColor>
#include <QImage>
#include <QPointF>
#include <QPolygonF>

class QPainter;
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <unordered_map>
#include <vector>

namespace orvane::app {

// One shown track as the cache reads it. `shown` carries any gesture's mirrored values.
struct StripTrack {
    CDTrack shown;
    const std::vector<float>* peaks = nullptr; // null: nothing to draw yet
    double x0 = 0.0;                           // canvas x of the audio's start and end
    double x1 = 0.0;
};

struct StripView {
    double pps = 10.0;
    double amplitudeZoom = 1.0;
    TimelineGeometry::Lane lane;
    bool operator==(const StripView&) const = default;
};

class WaveformStripCache final {
  public:
    // A track this wide or less is reduced whole and kept.
    static constexpr double maxCachedWidth = 32768.0;

    // The outlines of track `index` that meet [minX, maxX), in canvas points: its own strip outside
    // any crossfade, and the mixed strip of the crossfade into it. Valid until the next call.
    const std::vector<QPolygonF>& outlines(const std::vector<StripTrack>& tracks, std::size_t index,
                                           const StripView& view, double minX, double maxX);

    // Pictures wider than this are not kept: such a track is filled from its outline each time.
    static constexpr int maxPictureWidth = 8192;
    // The bytes all kept pictures may take together.
    static constexpr std::size_t pictureBudgetBytes = std::size_t{96} << 20;

    struct Picture {
        const QImage* image = nullptr;
        QPointF origin; // canvas position of the image's top left
    };
    // Paints over a track's filled outline what else depends only on the outline's key (the track
    // as shown, its place and the lane), e.g. its fades' shading; it stays inside the clip's span.
    using Overlay = std::function<void(QPainter&)>;

    // The outlines of track `index` filled in `colour`, antialiased, with `overlay` over them, as one
    // picture to copy at `origin`. `phase` is the painter's device offset: the picture is laid on the same
    // pixel grid as the outline would be, so copying it gives the same pixels as filling the outline. Nothing
    // when the track is too wide to keep; then fill outlines(). Valid until the next call.
    std::optional<Picture> picture(const std::vector<StripTrack>& tracks, std::size_t index,
                                   const StripView& view, double minX, double maxX, const QColor& colour,
                                   QPointF phase, const Overlay& overlay);

    // Forgets every track not among `keep` (after a project change).
    void retainOnly(const std::vector<Uuid>& keep);
    void clear();
    // How many track outlines were built since the cache was made: a redraw that changes nothing
    // builds none.
    std::size_t builds() const { return builds_; }

  private:
    struct SlotKey {
        CDTrack shown;
        const std::vector<float>* peaks = nullptr;
        std::size_t peakValues = 0;
        double x0 = 0.0;
        double x1 = 0.0;
        StripView view;
        bool operator==(const SlotKey&) const = default;
    };
    struct OutlineKey {
        SlotKey own;
        std::optional<SlotKey> incomingFrom; // the earlier track when it overlaps this one
        std::optional<double> outgoingFrom;  // where the later track's overlap begins
        bool operator==(const OutlineKey&) const = default;
    };
    struct Entry {
        OutlineKey key;
        std::vector<QPolygonF> polygons;
        // The filled picture, valid while the key, colour and phase it was made with hold.
        QImage image;
        QPointF imageOrigin;
        QRgb imageColour = 0;
        QPointF imagePhase;
        std::uint64_t lastDrawn = 0;
    };
    void dropPicturesOverBudget(const Uuid& keep);
    struct SlotEntry {
        SlotKey key;
        std::vector<WaveformDrawing::Slot> reduced;
    };

    SlotKey slotKey(const StripTrack& track, const StripView& view) const;
    // Whole-track slots, cached; or for [minX, maxX) only when the track is too wide.
    std::vector<WaveformDrawing::Slot> slotsOf(const StripTrack& track, const StripView& view, double minX,
                                               double maxX, bool whole);
    std::vector<QPolygonF> build(const std::vector<StripTrack>& tracks, std::size_t index,
                                 const StripView& view, double minX, double maxX, bool whole);

    std::unordered_map<Uuid, Entry> outlines_;
    std::unordered_map<Uuid, SlotEntry> slots_;
    std::vector<QPolygonF> scratch_;
    std::size_t builds_ = 0;
    std::size_t pictureBytes_ = 0;
    std::uint64_t drawCounter_ = 0;
};

} // namespace orvane::app
