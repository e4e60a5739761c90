// The edit commands of WorkspaceState on one track: fades, trims, gain, envelope, gaps and indexes.
// In CD mode they write the track; in vinyl mode the same change lands in the track's vinyl
// override, which starts as a copy of the CD edit on first touch.

#include "model/RedBook.h"
#include "model/TrackGain.h"
#include "workspace/WorkspaceState.h"

#include <algorithm>
#include <cmath>

namespace orvane {

namespace {

std::int64_t lengthSamples(const CDTrack& track) {
    return track.effectiveLength().totalFrames * RedBook::samplesPerFrame;
}

// A value that is no number leaves the field alone rather than poisoning the render.
bool usable(float value) {
    return std::isfinite(value);
}

void sortPoints(std::vector<GainPoint>& points) {
    std::stable_sort(points.begin(), points.end(), [](const GainPoint& a, const GainPoint& b) {
        return a.positionSamples < b.positionSamples;
    });
}

GainPoint* findPoint(CDTrack& track, const Uuid& pointID) {
    const auto it = std::find_if(track.gainPoints.begin(), track.gainPoints.end(),
                                 [&](const GainPoint& p) { return p.id == pointID; });
    return it == track.gainPoints.end() ? nullptr : &*it;
}

} // namespace

void WorkspaceState::editTrack(const Uuid& trackID, ReloadPlayback reload, MovesLayout moves,
                               const std::function<void(CDTrack&)>& change) {
    if (vinylMode_) {
        if (!vinylMutateEdit(trackID, change)) {
            return;
        }
        if (reload == ReloadPlayback::yes) {
            recalculateTimeline(ReloadPlayback::yes);
        } else if (hooks.refreshVinylSide) {
            hooks.refreshVinylSide();
        }
        return;
    }
    const auto index = project_.indexOfTrack(trackID);
    if (!index) {
        return;
    }
    CDProject edited = project_;
    change(edited.tracks[*index]);
    if (edited.tracks[*index] == project_.tracks[*index]) {
        return;
    }
    setProject(std::move(edited));
    if (reload == ReloadPlayback::yes) {
        recalculateTimeline(ReloadPlayback::yes);
    } else if (moves == MovesLayout::yes) {
        recalculateTimelineQuietly();
    }
}

// The change runs on the track as vinyl hears it; only the fields an override holds are kept.
bool WorkspaceState::vinylMutateEdit(const Uuid& trackID, const std::function<void(CDTrack&)>& change) {
    if (!project_.vinylProgram) {
        return false;
    }
    const auto location = project_.vinylProgram->entryLocation(trackID);
    const auto index = project_.indexOfTrack(trackID);
    if (!location || !index) {
        return false;
    }
    const CDTrack& track = project_.tracks[*index];
    const ProgramEntry& entry = project_.vinylProgram->sides[location->side].entries[location->position];
    const VinylEdit before = entry.edit ? *entry.edit : VinylEdit::from(track);

    CDTrack heard = track;
    before.apply(heard);
    change(heard);
    VinylEdit after = VinylEdit::from(heard);
    after.takeURL = before.takeURL;
    after.takeSourceSamples = before.takeSourceSamples;
    // With a vinyl take, the heard converter settings are the take's own and may be what changed.
    after.takeSRCAlgorithm = before.takeURL ? heard.srcAlgorithm : before.takeSRCAlgorithm;
    after.takeSRCPhase = before.takeURL ? heard.srcPhase : before.takeSRCPhase;
    // A first touch always makes the override, even one that equals the CD edit.
    if (entry.edit && *entry.edit == after) {
        return false;
    }
    CDProject edited = project_;
    edited.vinylProgram->sides[location->side].entries[location->position].edit = std::move(after);
    setProject(std::move(edited));
    return true;
}

void WorkspaceState::updateTrackFade(const Uuid& trackID, std::int64_t newFadeIn, std::int64_t newFadeOut,
                                     ReloadPlayback reload) {
    editTrack(trackID, reload, MovesLayout::no, [&](CDTrack& t) {
        t.fadeInSamples = newFadeIn;
        t.fadeOutSamples = newFadeOut;
    });
}

void WorkspaceState::updateTrackFadeCurve(const Uuid& trackID, float newFadeInCurve, float newFadeOutCurve,
                                          ReloadPlayback reload) {
    editTrack(trackID, reload, MovesLayout::no, [&](CDTrack& t) {
        if (usable(newFadeInCurve)) {
            t.fadeInCurve = newFadeInCurve;
        }
        if (usable(newFadeOutCurve)) {
            t.fadeOutCurve = newFadeOutCurve;
        }
    });
}

void WorkspaceState::updateTrackTrim(const Uuid& trackID, std::int64_t newTrimStart, std::int64_t newTrimEnd,
                                     ReloadPlayback reload) {
    editTrack(trackID, reload, MovesLayout::yes, [&](CDTrack& t) {
        t.trimStartSamples = newTrimStart;
        t.trimEndSamples = newTrimEnd;
        // An envelope survives a cut: no point is lost to a trim, it waits at the new end.
        const std::int64_t length = lengthSamples(t);
        for (GainPoint& point : t.gainPoints) {
            point.positionSamples = std::min(point.positionSamples, length);
        }
    });
}

void WorkspaceState::updateTrackGain(const Uuid& trackID, float gainDB, ReloadPlayback reload) {
    if (!usable(gainDB)) {
        return;
    }
    const float clamped = std::clamp(gainDB, TrackGain::masterMinDB, TrackGain::masterMaxDB);
    editTrack(trackID, reload, MovesLayout::no, [&](CDTrack& t) { t.gainDB = clamped; });
}

void WorkspaceState::setTrackCrossfadeCurve(const Uuid& trackID, float curve, ReloadPlayback reload) {
    if (!usable(curve)) {
        return;
    }
    const float clamped = std::clamp(curve, -1.0f, 1.5f);
    editTrack(trackID, reload, MovesLayout::no, [&](CDTrack& t) { t.crossfadeCurve = clamped; });
}

void WorkspaceState::addGainPoint(const Uuid& trackID, std::int64_t positionSamples, float gainDB,
                                  ReloadPlayback reload) {
    if (!usable(gainDB)) {
        return;
    }
    const Uuid pointID = Uuid::random();
    editTrack(trackID, reload, MovesLayout::no, [&](CDTrack& t) {
        GainPoint point;
        point.id = pointID;
        point.positionSamples = std::clamp<std::int64_t>(positionSamples, 0, lengthSamples(t));
        point.gainDB = std::clamp(gainDB, TrackGain::curveMinDB, TrackGain::curveMaxDB);
        t.gainPoints.push_back(point);
        sortPoints(t.gainPoints);
    });
}

void WorkspaceState::moveGainPoint(const Uuid& trackID, const Uuid& pointID, std::int64_t positionSamples,
                                   float gainDB, ReloadPlayback reload) {
    if (!usable(gainDB)) {
        return;
    }
    editTrack(trackID, reload, MovesLayout::no, [&](CDTrack& t) {
        GainPoint* point = findPoint(t, pointID);
        if (point == nullptr) {
            return;
        }
        point->positionSamples = std::clamp<std::int64_t>(positionSamples, 0, lengthSamples(t));
        point->gainDB = std::clamp(gainDB, TrackGain::curveMinDB, TrackGain::curveMaxDB);
        sortPoints(t.gainPoints);
    });
}

void WorkspaceState::removeGainPoint(const Uuid& trackID, const Uuid& pointID, ReloadPlayback reload) {
    editTrack(trackID, reload, MovesLayout::no, [&](CDTrack& t) {
        std::erase_if(t.gainPoints, [&](const GainPoint& p) { return p.id == pointID; });
    });
}

void WorkspaceState::setGainPointSmoothing(const Uuid& trackID, const Uuid& pointID, float smoothing,
                                           ReloadPlayback reload) {
    if (!usable(smoothing)) {
        return;
    }
    editTrack(trackID, reload, MovesLayout::no, [&](CDTrack& t) {
        if (GainPoint* point = findPoint(t, pointID)) {
            point->smoothing = std::clamp(smoothing, 0.0f, 1.0f);
        }
    });
}

void WorkspaceState::setEnvelopeEnabled(const Uuid& trackID, bool enabled, ReloadPlayback reload) {
    editTrack(trackID, reload, MovesLayout::no, [&](CDTrack& t) { t.envelopeEnabled = enabled; });
}

void WorkspaceState::setEnvelopeSmoothing(const Uuid& trackID, float smoothing, ReloadPlayback reload) {
    if (!usable(smoothing)) {
        return;
    }
    editTrack(trackID, reload, MovesLayout::no,
              [&](CDTrack& t) { t.envelopeSmoothing = std::clamp(smoothing, 0.0f, 1.0f); });
}

void WorkspaceState::resetEnvelope(const Uuid& trackID, ReloadPlayback reload) {
    editTrack(trackID, reload, MovesLayout::no, [&](CDTrack& t) {
        t.gainPoints.clear();
        t.envelopeSmoothing = 0.0f;
    });
}

void WorkspaceState::updatePregap(const Uuid& trackID, std::int64_t newPregapFrames, ReloadPlayback reload) {
    if (vinylMode_) {
        vinylSetGap(trackID, newPregapFrames, reload);
        return;
    }
    editTrack(trackID, reload, MovesLayout::yes,
              [&](CDTrack& t) { t.preGap = CDTime::frames(newPregapFrames); });
}

void WorkspaceState::updateIndexOffset(const Uuid& trackID, std::int64_t newOffsetFrames,
                                       ReloadPlayback reload) {
    // A side carries no CD index markers, so there is nothing to override in vinyl mode.
    if (vinylMode_) {
        return;
    }
    editTrack(trackID, reload, MovesLayout::yes,
              [&](CDTrack& t) { t.index01OffsetFrames = newOffsetFrames; });
}

void WorkspaceState::vinylSetGap(const Uuid& trackID, std::int64_t gapFrames, ReloadPlayback reload) {
    if (!project_.vinylProgram) {
        return;
    }
    const VinylProgram& program = *project_.vinylProgram;
    const auto location = program.entryLocation(trackID);
    if (!location) {
        return;
    }
    const auto& entries = program.sides[location->side].entries;
    std::int64_t gap = gapFrames;
    if (location->position == 0) {
        gap = std::max<std::int64_t>(gapFrames, 0);
    } else if (gapFrames < 0) {
        // At least minTrackFrames of each neighbour stay outside the overlap.
        const auto framesOf = [&](const Uuid& id) {
            const auto t = program.effectiveTrack(id, project_);
            return t ? t->effectiveLength().totalFrames : 0;
        };
        const std::int64_t limit =
            std::min(framesOf(entries[location->position - 1].trackID), framesOf(trackID)) -
            RedBook::minTrackFrames;
        gap = limit < 1 ? 0 : std::max(gapFrames, -limit);
    }
    if (entries[location->position].gapFrames == gap) {
        return;
    }
    CDProject edited = project_;
    edited.vinylProgram->sides[location->side].entries[location->position].gapFrames = gap;
    setProject(std::move(edited));
    if (reload == ReloadPlayback::yes) {
        recalculateTimeline(ReloadPlayback::yes);
    } else if (hooks.refreshVinylSide) {
        hooks.refreshVinylSide();
    }
}

std::optional<Uuid> WorkspaceState::vinylTakeVersionID(const Uuid& trackID) const {
    const auto index = project_.indexOfTrack(trackID);
    if (!index || !project_.vinylProgram) {
        return std::nullopt;
    }
    const auto edit = project_.vinylProgram->edit(trackID);
    if (!edit || !edit->takeURL) {
        return std::nullopt;
    }
    std::optional<Uuid> sameURL;
    for (const TrackVersion& v : project_.tracks[*index].versions) {
        if (v.url != *edit->takeURL) {
            continue;
        }
        if (v.srcAlgorithm == edit->takeSRCAlgorithm && v.srcPhase == edit->takeSRCPhase) {
            return v.id;
        }
        if (!sameURL) {
            sameURL = v.id;
        }
    }
    return sameURL;
}

// --- Sub-indexes ---

namespace {

// Frames from INDEX 01 to the track's end, from the present layout; nothing without one.
std::optional<std::pair<std::int64_t, std::int64_t>> indexSpan(const std::vector<TrackPosition>& positions,
                                                               std::size_t index) {
    if (index >= positions.size()) {
        return std::nullopt;
    }
    return std::make_pair(positions[index].index01LBA, positions[index].endLBA);
}

} // namespace

void WorkspaceState::addSubIndex(const Uuid& trackID) {
    const auto index = project_.indexOfTrack(trackID);
    if (!index) {
        return;
    }
    const auto span = indexSpan(trackPositions_, *index);
    if (!span) {
        return;
    }
    const auto [index01, end] = *span;
    const std::int64_t length = end - index01;
    const CDTrack& track = project_.tracks[*index];
    if (length < 3 || track.subIndexFrames.size() >= 98) {
        return;
    }
    const std::int64_t playhead = playheadFrame();
    std::int64_t offset = (playhead > index01 && playhead < end) ? playhead - index01 : length / 2;
    const auto taken = [&](std::int64_t value) {
        return std::find(track.subIndexFrames.begin(), track.subIndexFrames.end(), value) !=
               track.subIndexFrames.end();
    };
    while (taken(offset) && offset < length - 1) {
        ++offset;
    }
    if (offset < 1 || offset > length - 1 || taken(offset)) {
        return;
    }
    CDProject edited = project_;
    auto& list = edited.tracks[*index].subIndexFrames;
    list.push_back(offset);
    std::sort(list.begin(), list.end());
    setProject(std::move(edited));
}

void WorkspaceState::removeSubIndex(const Uuid& trackID, std::size_t ordinal) {
    const auto index = project_.indexOfTrack(trackID);
    if (!index || ordinal >= project_.tracks[*index].subIndexFrames.size()) {
        return;
    }
    CDProject edited = project_;
    auto& list = edited.tracks[*index].subIndexFrames;
    list.erase(list.begin() + static_cast<std::ptrdiff_t>(ordinal));
    setProject(std::move(edited));
}

void WorkspaceState::updateSubIndex(const Uuid& trackID, std::size_t ordinal, std::int64_t newOffsetFrames) {
    const auto index = project_.indexOfTrack(trackID);
    if (!index || ordinal >= project_.tracks[*index].subIndexFrames.size()) {
        return;
    }
    const auto span = indexSpan(trackPositions_, *index);
    if (!span || span->second - span->first < 2) {
        return;
    }
    const std::int64_t offset = std::clamp<std::int64_t>(newOffsetFrames, 1, span->second - span->first - 1);
    if (project_.tracks[*index].subIndexFrames[ordinal] == offset) {
        return;
    }
    CDProject edited = project_;
    auto& list = edited.tracks[*index].subIndexFrames;
    list[ordinal] = offset;
    std::sort(list.begin(), list.end());
    setProject(std::move(edited));
}

} // namespace orvane
