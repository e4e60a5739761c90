// What the track table does with rows besides editing cells: where dragged rows and dropped files
// may land, the edits over several selected rows, the SRC cell's choices and the LP column.

#include "engines/SRCPreset.h"
#include "interface/TrackTable.h"
#include "workspace/WorkspaceState.h"

#include <algorithm>

namespace orvane::TrackTable {

namespace {

// The track index of the first track row at or after `dropRow`; absent past the last track row.
std::optional<std::size_t> trackAtOrAfter(const std::vector<SpreadsheetRow>& rows, std::size_t dropRow) {
    for (std::size_t r = dropRow; r < rows.size(); ++r) {
        if (const auto* t = std::get_if<TrackRow>(&rows[r])) {
            return t->trackIndex;
        }
    }
    return std::nullopt;
}

// A drop before a take row would land between a track and its own takes.
bool insideTakes(const std::vector<SpreadsheetRow>& rows, std::size_t dropRow) {
    return dropRow < rows.size() && std::holds_alternative<VersionRow>(rows[dropRow]);
}

std::vector<bool> flagsOf(const CDProject& project, const std::vector<Uuid>& ids, bool CDTrack::*flag) {
    std::vector<bool> flags;
    for (const Uuid& id : ids) {
        if (const auto at = project.indexOfTrack(id)) {
            flags.push_back(project.tracks[*at].*flag);
        }
    }
    return flags;
}

std::vector<Uuid> knownIDs(const CDProject& project, const std::vector<Uuid>& ids) {
    std::vector<Uuid> known;
    std::copy_if(ids.begin(), ids.end(), std::back_inserter(known),
                 [&](const Uuid& id) { return project.indexOfTrack(id).has_value(); });
    return known;
}

} // namespace

std::vector<std::size_t> draggableRows(const std::vector<SpreadsheetRow>& rows,
                                       const std::vector<std::size_t>& selected) {
    std::vector<std::size_t> result;
    for (std::size_t r : selected) {
        if (r < rows.size() && std::holds_alternative<TrackRow>(rows[r])) {
            result.push_back(r);
        }
    }
    std::sort(result.begin(), result.end());
    result.erase(std::unique(result.begin(), result.end()), result.end());
    return result;
}

bool validateDrop(const std::vector<SpreadsheetRow>& rows, const std::vector<std::size_t>& dragged,
                  std::size_t dropRow) {
    const auto moving = draggableRows(rows, dragged);
    if (moving.empty() || dropRow > rows.size() || insideTakes(rows, dropRow)) {
        return false;
    }
    std::vector<std::size_t> indexes;
    std::size_t trackCount = 0;
    for (const auto& row : rows) {
        trackCount += std::holds_alternative<TrackRow>(row) ? 1 : 0;
    }
    for (std::size_t r : moving) {
        indexes.push_back(std::get<TrackRow>(rows[r]).trackIndex);
    }
    std::sort(indexes.begin(), indexes.end());
    const std::size_t to = trackAtOrAfter(rows, dropRow).value_or(trackCount);
    // A block of neighbours dropped at its own start or just after its end changes nothing.
    const bool contiguous = indexes.back() - indexes.front() + 1 == indexes.size();
    return !(contiguous && to >= indexes.front() && to <= indexes.back() + 1);
}

std::optional<std::size_t> fileDropIndex(const std::vector<SpreadsheetRow>& rows, std::size_t dropRow,
                                         std::size_t trackCount) {
    if (insideTakes(rows, dropRow)) {
        return std::nullopt;
    }
    return std::min(trackAtOrAfter(rows, dropRow).value_or(trackCount), trackCount);
}

bool acceptFileDrop(WorkspaceState& ws, const std::vector<SpreadsheetRow>& rows,
                    const std::vector<std::filesystem::path>& files, std::size_t dropRow) {
    const auto at = fileDropIndex(rows, dropRow, ws.project().tracks.size());
    if (!at || files.empty()) {
        return false;
    }
    ws.withUndoGroup([&] { ws.addDroppedFiles(files, *at); });
    return true;
}

FlagState flagState(const std::vector<bool>& flags) {
    const auto on = static_cast<std::size_t>(std::count(flags.begin(), flags.end(), true));
    if (on == 0) {
        return FlagState::off;
    }
    return on == flags.size() ? FlagState::on : FlagState::mixed;
}

BulkMenu multiSelectionMenu(const CDProject& project, const std::vector<Uuid>& trackIDs) {
    const auto ids = knownIDs(project, trackIDs);
    BulkMenu menu;
    for (std::string_view field : bulkFields) {
        menu.fieldTitles.push_back(multiFieldMenuTitle(field, ids.size()));
    }
    menu.preEmphasis = flagState(flagsOf(project, ids, &CDTrack::preEmphasis));
    menu.copyPermitted = flagState(flagsOf(project, ids, &CDTrack::copyPermitted));
    return menu;
}

void multiSetCDTextField(WorkspaceState& ws, std::string_view field, const std::vector<Uuid>& trackIDs,
                         std::string_view value) {
    const auto ids = knownIDs(ws.project(), trackIDs);
    if (ids.empty()) {
        return;
    }
    ws.withUndoGroup([&] { ws.bulkSetCDTextField(field, ids, std::string(value)); });
}

void multiTogglePreEmphasis(WorkspaceState& ws, const std::vector<Uuid>& trackIDs) {
    const auto ids = knownIDs(ws.project(), trackIDs);
    if (ids.empty()) {
        return;
    }
    const bool on = multiToggleTarget(flagsOf(ws.project(), ids, &CDTrack::preEmphasis));
    ws.withUndoGroup([&] { ws.bulkSetPreEmphasis(ids, on); });
}

void multiToggleCopyPermitted(WorkspaceState& ws, const std::vector<Uuid>& trackIDs) {
    const auto ids = knownIDs(ws.project(), trackIDs);
    if (ids.empty()) {
        return;
    }
    const bool on = multiToggleTarget(flagsOf(ws.project(), ids, &CDTrack::copyPermitted));
    ws.withUndoGroup([&] { ws.bulkSetCopyPermitted(ids, on); });
}

std::optional<SRCPopup> srcPopup(const SpreadsheetRow& row, const CDProject& project) {
    std::optional<std::string> ownAlgorithm;
    std::optional<std::string> ownPhase;
    if (const auto* t = std::get_if<TrackRow>(&row)) {
        ownAlgorithm = t->track.srcAlgorithm;
        ownPhase = t->track.srcPhase;
    } else if (const auto* v = std::get_if<VersionRow>(&row)) {
        ownAlgorithm = v->version.srcAlgorithm;
        ownPhase = v->version.srcPhase;
    } else {
        return std::nullopt;
    }
    SRCPopup popup;
    popup.enabled = project.isSRCHybrid();
    for (SRCPreset preset : allSRCPresets) {
        popup.algorithms.emplace_back(rawValue(preset));
    }
    popup.algorithm = ownAlgorithm.value_or(project.effectiveMasterSRC());
    popup.phases = {"Linear", "Minimum"};
    popup.phaseEnabled =
        popup.enabled && !isLinearOnly(popup.algorithm) && srcPresetFromRaw(popup.algorithm).has_value();
    // A converter without a phase choice always runs linear, whatever the stored string says.
    popup.phase =
        isLinearOnly(popup.algorithm) ? "Linear" : ownPhase.value_or(project.effectiveMasterSRCPhase());
    return popup;
}

bool chooseSRCAlgorithm(WorkspaceState& ws, const SpreadsheetRow& row, std::string_view algorithm) {
    const auto popup = srcPopup(row, ws.project());
    if (!popup || !popup->enabled || !srcPresetFromRaw(algorithm)) {
        return false;
    }
    if (const auto* t = std::get_if<TrackRow>(&row)) {
        ws.setTrackSRC(t->track.id, std::string(algorithm));
    } else if (const auto* v = std::get_if<VersionRow>(&row)) {
        ws.setVersionSRC(v->track.id, v->version.id, std::string(algorithm));
    }
    return true;
}

bool chooseSRCPhase(WorkspaceState& ws, const SpreadsheetRow& row, std::string_view phase) {
    const auto popup = srcPopup(row, ws.project());
    if (!popup || !popup->phaseEnabled ||
        std::find(popup->phases.begin(), popup->phases.end(), phase) == popup->phases.end()) {
        return false;
    }
    if (const auto* t = std::get_if<TrackRow>(&row)) {
        ws.setTrackPhase(t->track.id, std::string(phase));
    } else if (const auto* v = std::get_if<VersionRow>(&row)) {
        ws.setVersionPhase(v->track.id, v->version.id, std::string(phase));
    }
    return true;
}

void buildRowSRCCache(WorkspaceState& ws, const SpreadsheetRow& row) {
    if (const auto* t = std::get_if<TrackRow>(&row)) {
        ws.rebuildTrackSRCCache(t->track.id);
    } else if (const auto* v = std::get_if<VersionRow>(&row)) {
        ws.rebuildVersionSRCCache(v->track.id, v->version.id);
    }
}

std::string lpText(const CDProject& project, const Uuid& trackID) {
    if (!project.vinylProgram) {
        return "";
    }
    const auto at = project.vinylProgram->entryLocation(trackID);
    if (!at) {
        return "\u2014";
    }
    // "Side A" reads as "A": the last word of the side's label.
    const std::string& label = project.vinylProgram->sides[at->side].label;
    const auto space = label.find_last_of(' ');
    const std::string side = space == std::string::npos ? label : label.substr(space + 1);
    return side + std::to_string(at->position + 1);
}

} // namespace orvane::TrackTable
