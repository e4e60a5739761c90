#include "interface/InspectorRules.h"

#include "model/DeliverySanitizing.h"
#include "model/RedBook.h"
#include "model/TrackGain.h"
#include "workspace/WorkspaceState.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <set>

namespace orvane::InspectorRules {

namespace {

std::string format(const char* pattern, double value) {
    char text[64];
    std::snprintf(text, sizeof text, pattern, value);
    return text;
}

const CDTrack* findTrack(const WorkspaceState& ws, const Uuid& id, std::size_t* index = nullptr) {
    const auto at = ws.displayProject().indexOfTrack(id);
    if (!at) {
        return nullptr;
    }
    if (index != nullptr) {
        *index = *at;
    }
    return &ws.displayProject().tracks[*at];
}

} // namespace

std::optional<double> parseSeconds(std::string_view input) {
    std::string text;
    for (char c : input) {
        if (!std::isspace(static_cast<unsigned char>(c))) {
            text.push_back(c == ',' ? '.' : c);
        }
    }
    if (text.empty()) {
        return std::nullopt;
    }
    double value = 0.0;
    const char* begin = text.data() + (text[0] == '+' ? 1 : 0);
    const char* end = text.data() + text.size();
    const auto [ptr, ec] = std::from_chars(begin, end, value);
    if (ec != std::errc() || ptr != end || !std::isfinite(value) || std::abs(value) > 1e9) {
        return std::nullopt;
    }
    return value;
}

std::int64_t framesFromSeconds(double seconds) {
    return std::llround(seconds * static_cast<double>(RedBook::framesPerSecond));
}

std::int64_t samplesFromSeconds(double seconds) {
    return std::llround(seconds * static_cast<double>(RedBook::sampleRate));
}

std::string secondsText(std::int64_t frames) {
    return format("%.2f", static_cast<double>(frames) / static_cast<double>(RedBook::framesPerSecond));
}

std::string secondsTextOfSamples(std::int64_t samples) {
    return format("%.2f", static_cast<double>(samples) / static_cast<double>(RedBook::sampleRate));
}

std::string discTotalText(const std::vector<TrackPosition>& positions) {
    const std::int64_t seconds = positions.empty() ? 0 : positions.back().endLBA / RedBook::framesPerSecond;
    char text[32];
    std::snprintf(text, sizeof text, "%lld:%02lld", static_cast<long long>(seconds / 60),
                  static_cast<long long>(seconds % 60));
    return text;
}

std::size_t isrcCount(const CDProject& project) {
    return static_cast<std::size_t>(
        std::count_if(project.tracks.begin(), project.tracks.end(),
                      [](const CDTrack& t) { return t.isrc.has_value() && !t.isrc->empty(); }));
}

std::string cacheSizeText(std::uint64_t bytes) {
    if (bytes < 1000) {
        return "SRC Cache: " + std::to_string(bytes) + " bytes";
    }
    const char* units[] = {"KB", "MB", "GB", "TB"};
    double value = static_cast<double>(bytes) / 1000.0;
    std::size_t unit = 0;
    while (value >= 1000.0 && unit + 1 < std::size(units)) {
        value /= 1000.0;
        ++unit;
    }
    char text[48];
    std::snprintf(text, sizeof text, "SRC Cache: %.1f %s", value, units[unit]);
    return text;
}

namespace {

template <typename Pick> bool tracksDiffer(const CDProject& project, Pick pick) {
    std::set<std::string> values;
    for (const CDTrack& t : project.tracks) {
        values.insert(pick(t));
    }
    return values.size() > 1;
}

bool anyNeedsSRC(const CDProject& project, const std::function<bool(const CDTrack&)>& needsSRC) {
    return std::any_of(project.tracks.begin(), project.tracks.end(),
                       [&](const CDTrack& t) { return needsSRC && needsSRC(t); });
}

} // namespace

SRCChoice srcChoice(const CDProject& project, const std::function<bool(const CDTrack&)>& needsSRC) {
    SRCChoice choice;
    choice.enabled = anyNeedsSRC(project, needsSRC);
    choice.tooltip = choice.enabled ? "Sample-rate conversion for hi-res sources"
                                    : "All sources are 44.1 kHz — no conversion needed";
    const std::string master = project.effectiveMasterSRC();
    if (!project.isSRCHybrid() &&
        tracksDiffer(project, [&](const CDTrack& t) { return t.srcAlgorithm.value_or(master); })) {
        choice.mixedNote = "Tracks use different SRC algorithms — pick one to apply to all";
    }
    return choice;
}

PhaseChoice phaseChoice(const CDProject& project, const std::function<bool(const CDTrack&)>& needsSRC) {
    PhaseChoice choice;
    choice.tooltip = "Linear phase (symmetric FIR) or minimum phase (no pre-ringing on transients). soxr / "
                     "r8brain / SSRC only — Velmont SRC and Meridon Reference are linear-only.";
    const bool converting = anyNeedsSRC(project, needsSRC) && project.effectiveMasterSRC() != "Disabled";
    choice.shown = converting ? project.effectiveMasterSRCPhase() : "Disabled";
    const std::string master = project.effectiveMasterSRCPhase();
    if (tracksDiffer(project, [&](const CDTrack& t) { return t.srcPhase.value_or(master); })) {
        choice.mixedNote = "Tracks use different SRC — set phase per track in the SRC column";
    }
    return choice;
}

std::optional<Mark> mcnMark(std::string_view mcn) {
    if (mcn.empty()) {
        return std::nullopt;
    }
    if (DDPWriter::isValidEAN13(mcn)) {
        return Mark{true, "Valid EAN-13"};
    }
    return Mark{false, "Invalid EAN-13 check digit"};
}

void commitMCN(WorkspaceState& ws, std::string_view text) {
    CDProject edited = ws.project();
    edited.mcn = std::string(text);
    ws.setProject(std::move(edited));
}

std::optional<std::string> crossfadeText(const CDTrack& track) {
    if (track.preGap.totalFrames >= 0) {
        return std::nullopt;
    }
    return format("Crossfade: %.2fs",
                  static_cast<double>(-track.preGap.totalFrames) / RedBook::framesPerSecond);
}

std::optional<IndexOffsetField> indexOffsetField(const CDTrack& track, std::size_t trackIndex) {
    if (track.indexLocked) {
        return std::nullopt;
    }
    IndexOffsetField field;
    if (trackIndex > 0 && track.preGap.totalFrames < 0) {
        field.label = "INDEX 01 in crossfade (s, ± from middle)";
        return field;
    }
    field.label = "Offset (audible pregap, seconds)";
    field.maxFrames = track.maxIndex01Offset();
    field.hint = format("Audio before track start. Max %.2fs.",
                        static_cast<double>(*field.maxFrames) / RedBook::framesPerSecond);
    return field;
}

std::vector<SubIndexRow> subIndexRows(const CDTrack& track) {
    std::vector<SubIndexRow> rows;
    for (std::size_t k = 0; k < track.subIndexFrames.size(); ++k) {
        char number[24];
        std::snprintf(number, sizeof number, "%02zu", k + 2);
        rows.push_back({number, secondsText(track.subIndexFrames[k])});
    }
    return rows;
}

bool commitPregapSeconds(WorkspaceState& ws, const Uuid& trackID, std::string_view text) {
    const auto seconds = parseSeconds(text);
    if (!seconds || findTrack(ws, trackID) == nullptr) {
        return false;
    }
    ws.updatePregap(trackID, framesFromSeconds(*seconds), ReloadPlayback::yes);
    return true;
}

bool commitIndexOffsetSeconds(WorkspaceState& ws, const Uuid& trackID, std::string_view text) {
    std::size_t index = 0;
    const CDTrack* track = findTrack(ws, trackID, &index);
    const auto seconds = parseSeconds(text);
    if (!seconds || track == nullptr) {
        return false;
    }
    const auto field = indexOffsetField(*track, index);
    if (!field) {
        return false;
    }
    std::int64_t frames = framesFromSeconds(*seconds);
    if (field->maxFrames) {
        if (frames < 0 || frames > *field->maxFrames) {
            return false;
        }
    } else {
        // Within the overlap, counted from its middle.
        const std::int64_t half = (-track->preGap.totalFrames) / 2;
        frames = std::clamp(frames, -half, -track->preGap.totalFrames - half);
    }
    ws.updateIndexOffset(trackID, frames, ReloadPlayback::yes);
    return true;
}

bool commitSubIndexSeconds(WorkspaceState& ws, const Uuid& trackID, std::size_t ordinal,
                           std::string_view text) {
    const auto seconds = parseSeconds(text);
    const CDTrack* track = findTrack(ws, trackID);
    if (!seconds || track == nullptr || ordinal >= track->subIndexFrames.size()) {
        return false;
    }
    const std::int64_t frames = framesFromSeconds(*seconds);
    if (frames < 1) {
        return false;
    }
    ws.updateSubIndex(trackID, ordinal, frames);
    return true;
}

bool commitTrimSeconds(WorkspaceState& ws, const Uuid& trackID, TrimEdge edge, std::string_view text) {
    const auto seconds = parseSeconds(text);
    const CDTrack* track = findTrack(ws, trackID);
    if (!seconds || track == nullptr) {
        return false;
    }
    const std::int64_t samples = samplesFromSeconds(*seconds);
    const std::int64_t other = edge == TrimEdge::start ? track->trimEndSamples : track->trimStartSamples;
    // The same rule as a drag: four seconds stay between the trims.
    if (samples < 0 || samples > std::max<std::int64_t>(track->sourceAudioSamples - other - 176400, 0)) {
        return false;
    }
    const std::int64_t start = edge == TrimEdge::start ? samples : track->trimStartSamples;
    const std::int64_t end = edge == TrimEdge::end ? samples : track->trimEndSamples;
    ws.updateTrackTrim(trackID, start, end, ReloadPlayback::yes);
    return true;
}

bool commitFadeSeconds(WorkspaceState& ws, const Uuid& trackID, FadeSide side, std::string_view text) {
    const auto seconds = parseSeconds(text);
    const CDTrack* track = findTrack(ws, trackID);
    if (!seconds || track == nullptr) {
        return false;
    }
    const std::int64_t samples = samplesFromSeconds(*seconds);
    const std::int64_t most = std::max<std::int64_t>(
        track->sourceAudioSamples - track->trimStartSamples - track->trimEndSamples, 0);
    if (samples < 0 || samples > most) {
        return false;
    }
    ws.updateTrackFade(trackID, side == FadeSide::in ? samples : track->fadeInSamples,
                       side == FadeSide::out ? samples : track->fadeOutSamples, ReloadPlayback::yes);
    return true;
}

bool commitGainDB(WorkspaceState& ws, const Uuid& trackID, std::string_view text) {
    const auto value = parseSeconds(text); // the same decimal reading
    if (!value || findTrack(ws, trackID) == nullptr || *value < TrackGain::masterMinDB ||
        *value > TrackGain::masterMaxDB) {
        return false;
    }
    ws.updateTrackGain(trackID, static_cast<float>(*value), ReloadPlayback::yes);
    return true;
}

double smoothingPercent(const CDTrack& track) {
    return static_cast<double>(track.envelopeSmoothing) * 100.0;
}

bool commitSmoothingPercent(WorkspaceState& ws, const Uuid& trackID, double percent) {
    if (!std::isfinite(percent) || percent < 0.0 || percent > 100.0 || findTrack(ws, trackID) == nullptr) {
        return false;
    }
    ws.setEnvelopeSmoothing(trackID, static_cast<float>(percent / 100.0), ReloadPlayback::yes);
    return true;
}

std::string takeNumberText(std::int64_t number) {
    char text[24];
    std::snprintf(text, sizeof text, "%02lld", static_cast<long long>(number));
    return text;
}

std::string takeLabelText(const std::optional<std::string>& label) {
    return label && !label->empty() ? *label : "Untitled";
}

std::string versionHeading(std::size_t trackIndex) {
    return "Version of Track " + std::to_string(trackIndex + 1);
}

std::string loudnessText(const std::optional<StoredLoudness>& loudness) {
    if (!loudness) {
        return "Not measured";
    }
    char text[96];
    std::snprintf(text, sizeof text, "%.1f LUFS   %.1f dBTP", loudness->lufs, loudness->truePeak);
    std::string out = text;
    if (loudness->lra) {
        out += format("   %.1f LRA", *loudness->lra);
    }
    return out;
}

std::string analyzeButtonTitle(const std::optional<StoredLoudness>& loudness) {
    return loudness ? "Re-analyze" : "Analyze";
}

std::string ratingTooltip(std::int64_t stars) {
    return "Rate " + std::to_string(stars);
}

DeletePrompt deleteTrackPrompt() {
    return {"", "Are you sure you want to delete this track? This will also delete the history of versions."};
}

DeletePrompt deleteTakePrompt(bool activeTake) {
    if (activeTake) {
        return {"Delete this take?",
                "Delete the active take? The next version becomes active. The track is kept."};
    }
    return {
        "Delete this version?",
        "Are you sure you want to delete this version (take)? The track and its other versions are kept."};
}

} // namespace orvane::InspectorRules
