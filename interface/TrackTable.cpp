#include "interface/TrackTable.h"

#include "model/RedBook.h"
#include "platform/AudioFileReader.h"
#include "workspace/WorkspaceState.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace orvane::TrackTable {

namespace {

constexpr std::array<TableColumn, 22> kColumns{{
    {"index", "Track", 50, false},
    {"filename", "File Name", 150, false},
    {"creationDate", "Created Date", 130, false},
    {"start", "Start", 80, false},
    {"end", "End", 80, false},
    {"length", "Length", 80, false},
    {"pregap", "Pregap", 80, true},
    {"lufs", "LUFS", 55, false},
    {"tp", "dBTP", 55, false},
    {"lra", "LRA", 55, false},
    {"lp", "LP", 36, false},
    {"format", "Format", 85, false},
    {"src", "SRC", 210, false},
    {"dither", "Dither", 70, false},
    {"title", "Track Title", 150, true},
    {"isrc", "ISRC", 100, true},
    {"flags", "Flags", 75, false},
    {"performer", "Performer", 120, true},
    {"songwriter", "Songwriter", 120, true},
    {"composer", "Composer", 120, true},
    {"arranger", "Arranger", 120, true},
    {"message", "Message", 150, true},
}};

std::string trimmed(std::string_view text) {
    std::size_t a = 0;
    std::size_t b = text.size();
    while (a < b && std::isspace(static_cast<unsigned char>(text[a]))) {
        ++a;
    }
    while (b > a && std::isspace(static_cast<unsigned char>(text[b - 1]))) {
        --b;
    }
    return std::string(text.substr(a, b - a));
}

std::optional<std::string>* textField(CDTrack& track, std::string_view field) {
    if (field == "performer") {
        return &track.performer;
    }
    if (field == "songwriter") {
        return &track.songwriter;
    }
    if (field == "composer") {
        return &track.composer;
    }
    if (field == "arranger") {
        return &track.arranger;
    }
    if (field == "message") {
        return &track.message;
    }
    return nullptr;
}

bool isAutofillField(std::string_view field) {
    return field == "performer" || field == "songwriter" || field == "composer" || field == "arranger";
}

std::string capitalised(std::string_view field) {
    std::string s(field);
    if (!s.empty()) {
        s[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(s[0])));
    }
    return s;
}

// One change of one track as a whole project value: one undo step of its own.
void editTrackFields(WorkspaceState& ws, const Uuid& trackID, const std::function<void(CDTrack&)>& change) {
    const auto index = ws.project().indexOfTrack(trackID);
    if (!index) {
        return;
    }
    CDProject edited = ws.project();
    change(edited.tracks[*index]);
    ws.setProject(std::move(edited));
}

std::optional<std::int64_t> parseInteger(std::string_view text) {
    std::int64_t value = 0;
    const auto* end = text.data() + text.size();
    const auto [ptr, ec] = std::from_chars(text.data(), end, value);
    if (ec != std::errc() || ptr != end || text.empty()) {
        return std::nullopt;
    }
    return value;
}

} // namespace

const std::array<TableColumn, 22>& columns() {
    return kColumns;
}

const TableColumn* column(std::string_view identifier) {
    for (const TableColumn& c : kColumns) {
        if (c.identifier == identifier) {
            return &c;
        }
    }
    return nullptr;
}

std::string_view heading(std::string_view identifier, bool vinylView) {
    if (vinylView && identifier == "pregap") {
        return "Gap";
    }
    const TableColumn* c = column(identifier);
    return c ? c->heading : std::string_view{};
}

std::vector<SpreadsheetRow> computeRows(const CDProject& project, const std::set<Uuid>& expanded,
                                        bool vinylView) {
    std::vector<SpreadsheetRow> rows;
    const auto appendTrackRows = [&](std::size_t i) {
        const CDTrack& track = project.tracks[i];
        rows.emplace_back(TrackRow{i, track});
        if (expanded.count(track.id) == 0) {
            return;
        }
        std::int64_t number = 1;
        for (const TrackVersion& v : track.versions) {
            rows.emplace_back(VersionRow{i, track, v, number++});
        }
    };
    if (!vinylView || !project.vinylProgram) {
        for (std::size_t i = 0; i < project.tracks.size(); ++i) {
            appendTrackRows(i);
        }
        return rows;
    }
    std::set<Uuid> placed;
    const auto& sides = project.vinylProgram->sides;
    for (std::size_t s = 0; s < sides.size(); ++s) {
        rows.emplace_back(SideHeaderRow{s, sides[s].label});
        for (const ProgramEntry& entry : sides[s].entries) {
            if (const auto i = project.indexOfTrack(entry.trackID)) {
                placed.insert(entry.trackID);
                appendTrackRows(*i);
            }
        }
    }
    rows.emplace_back(SideHeaderRow{std::nullopt, std::string(notOnVinylLabel)});
    for (std::size_t i = 0; i < project.tracks.size(); ++i) {
        if (placed.count(project.tracks[i].id) == 0) {
            appendTrackRows(i);
        }
    }
    return rows;
}

TableCellFingerprint TableCellFingerprint::of(const WorkspaceState& ws) {
    TableCellFingerprint f;
    f.project = ws.displayProject();
    f.positions = ws.displayPositions();
    for (const CDTrack& t : f.project.tracks) {
        f.loudness.push_back(t.loudness);
    }
    f.src.assign(ws.srcCacheState().begin(), ws.srcCacheState().end());
    std::sort(f.src.begin(), f.src.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    f.vinylMode = ws.vinylMode();
    f.activeSideIndex = ws.activeSideIndex();
    return f;
}

std::string indexText(std::size_t trackIndex) {
    char text[24];
    std::snprintf(text, sizeof text, "%02zu", trackIndex + 1);
    return text;
}

std::string signedCDTime(std::int64_t frames) {
    return CDTime::frames(frames).msfString();
}

std::string measurementText(const std::optional<double>& value) {
    if (!value || !std::isfinite(*value)) {
        return "";
    }
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", *value);
    return text;
}

std::string formatLabel(double sampleRate, std::optional<int> bitDepth) {
    char text[48];
    const double k = sampleRate / 1000.0;
    if (k == std::floor(k)) {
        std::snprintf(text, sizeof text, "%.0fk", k);
    } else {
        std::snprintf(text, sizeof text, "%.1fk", k);
    }
    std::string label = text;
    if (bitDepth) {
        label += " / " + std::to_string(*bitDepth);
    }
    return label;
}

std::string flagsText(const CDTrack& track) {
    std::string text;
    if (track.preEmphasis) {
        text = "PRE";
    }
    if (track.copyPermitted) {
        text += text.empty() ? "COPY" : " COPY";
    }
    return text;
}

std::string trackCellText(const CDTrack& track, std::size_t trackIndex, const TrackPosition* position,
                          std::string_view column) {
    if (column == "index") {
        return indexText(trackIndex);
    }
    if (column == "filename") {
        return track.audioFileURL ? track.audioFileURL->lastPathComponent() : "";
    }
    if (column == "start") {
        return position ? CDTime::frames(position->index01LBA).msfString() : "";
    }
    if (column == "end") {
        return position ? CDTime::frames(position->endLBA).msfString() : "";
    }
    if (column == "length") {
        return position ? CDTime::frames(position->endLBA - position->index01LBA).msfString() : "";
    }
    if (column == "pregap") {
        return signedCDTime(track.preGap.totalFrames);
    }
    const auto loudness = [&](auto pick) -> std::optional<double> {
        return track.loudness ? pick(*track.loudness) : std::nullopt;
    };
    if (column == "lufs") {
        return measurementText(
            loudness([](const StoredLoudness& l) { return std::optional<double>(l.lufs); }));
    }
    if (column == "tp") {
        return measurementText(
            loudness([](const StoredLoudness& l) { return std::optional<double>(l.truePeak); }));
    }
    if (column == "lra") {
        return measurementText(loudness([](const StoredLoudness& l) { return l.lra; }));
    }
    if (column == "title") {
        return track.title;
    }
    if (column == "isrc") {
        return track.isrc.value_or("");
    }
    if (column == "flags") {
        return flagsText(track);
    }
    CDTrack copy = track;
    if (auto* field = textField(copy, column)) {
        return field->value_or("");
    }
    return "";
}

const FormatCache::Entry& FormatCache::sourceFormat(const std::filesystem::path& file) {
    const auto found = cache_.find(file);
    if (found != cache_.end()) {
        return found->second;
    }
    Entry entry;
    entry.label = "Unknown";
    if (auto reader = AudioFileReader::open(file)) {
        const AudioFileFormat& format = reader->fileFormat();
        std::optional<int> bits;
        switch (format.sampleFormat) {
        case AudioSampleFormat::int8:
            bits = 8;
            break;
        case AudioSampleFormat::int16:
            bits = 16;
            break;
        case AudioSampleFormat::int24:
            bits = 24;
            break;
        case AudioSampleFormat::int32:
        case AudioSampleFormat::float32:
            bits = 32;
            break;
        case AudioSampleFormat::float64:
            bits = 64;
            break;
        case AudioSampleFormat::compressed:
            break;
        }
        entry.label = formatLabel(format.sampleRate, bits);
        entry.needsSRC = format.sampleRate != 44100.0;
        entry.hiRes = format.sampleRate > 44100.0 || bits.value_or(16) > 16;
    }
    return cache_.emplace(file, std::move(entry)).first->second;
}

std::optional<std::int64_t> parsePregapText(std::string_view input) {
    std::string text = trimmed(input);
    bool negative = false;
    if (!text.empty() && text[0] == '-') {
        negative = true;
        text.erase(0, 1);
    }
    std::optional<std::int64_t> frames;
    const auto first = text.find(':');
    const auto second = first == std::string::npos ? std::string::npos : text.find(':', first + 1);
    if (second != std::string::npos && text.find(':', second + 1) == std::string::npos) {
        const auto m = parseInteger(std::string_view(text).substr(0, first));
        const auto s = parseInteger(std::string_view(text).substr(first + 1, second - first - 1));
        const auto f = parseInteger(std::string_view(text).substr(second + 1));
        if (m && s && f) {
            frames = (*m * 60 + *s) * RedBook::framesPerSecond + *f;
        }
    } else if (first == std::string::npos) {
        std::replace(text.begin(), text.end(), ',', '.');
        double seconds = 0.0;
        const auto* end = text.data() + text.size();
        const auto [ptr, ec] = std::from_chars(text.data(), end, seconds);
        if (ec == std::errc() && ptr == end && !text.empty() && std::isfinite(seconds) &&
            std::abs(seconds) < 1e12) {
            frames = static_cast<std::int64_t>(std::trunc(seconds * RedBook::framesPerSecond));
        }
    }
    if (!frames) {
        return std::nullopt;
    }
    return negative ? -*frames : *frames;
}

EditOutcome commitCDTextField(WorkspaceState& ws, const Uuid& trackID, std::string_view field,
                              std::string_view text) {
    EditOutcome outcome;
    if (!ws.project().indexOfTrack(trackID)) {
        return outcome;
    }
    const std::string value(text);
    if (field == "title") {
        editTrackFields(ws, trackID, [&](CDTrack& t) { t.title = value; });
        outcome.stored = true;
        return outcome;
    }
    CDTrack probe;
    if (textField(probe, field) == nullptr) {
        return outcome;
    }
    editTrackFields(ws, trackID, [&](CDTrack& t) {
        auto* slot = textField(t, field);
        *slot = value.empty() ? std::nullopt : std::optional<std::string>(value);
    });
    outcome.stored = true;
    const std::string clean = trimmed(value);
    if (ws.project().tracks.size() >= 2 && !clean.empty() && isAutofillField(field)) {
        Question q;
        q.title = "Auto-fill " + capitalised(field) + "?";
        q.text = "Do you want to apply this " + std::string(field) + " to all remaining tracks?";
        q.action = Question::Action::autofillField;
        q.field = std::string(field);
        q.value = value;
        outcome.question = std::move(q);
    }
    return outcome;
}

EditOutcome commitISRC(WorkspaceState& ws, const Uuid& trackID, std::string_view text) {
    EditOutcome outcome;
    if (!ws.project().indexOfTrack(trackID)) {
        return outcome;
    }
    const std::string value(text);
    if (value.empty()) {
        editTrackFields(ws, trackID, [](CDTrack& t) { t.isrc.reset(); });
        outcome.stored = true;
        return outcome;
    }
    if (!WorkspaceState::isValidISRC(value)) {
        outcome.alert = Alert{"Invalid ISRC Code",
                              "The ISRC code you entered (" + value +
                                  ") does not match the standard format.\nFormat: 2 letters (country), 3 "
                                  "alphanumeric (registrant), 2 digits (year), 5 digits (track).\nExample: "
                                  "SKXXX2600001"};
        return outcome;
    }
    editTrackFields(ws, trackID, [&](CDTrack& t) { t.isrc = value; });
    outcome.stored = true;
    if (ws.project().tracks.size() >= 2) {
        Question q;
        q.title = "Auto-increment ISRC?";
        q.text = "Do you want to incrementally apply this ISRC code to the remaining tracks?";
        q.action = Question::Action::autofillISRC;
        q.value = value;
        outcome.question = std::move(q);
    }
    return outcome;
}

EditOutcome commitEdit(WorkspaceState& ws, const Uuid& trackID, std::string_view column,
                       std::string_view text) {
    if (column == "isrc") {
        return commitISRC(ws, trackID, text);
    }
    if (column == "pregap") {
        EditOutcome outcome;
        const auto frames = parsePregapText(text);
        if (!frames || !ws.project().indexOfTrack(trackID)) {
            return outcome;
        }
        if (ws.vinylMode()) {
            ws.vinylSetGap(trackID, std::max<std::int64_t>(*frames, 0), ReloadPlayback::yes);
        } else {
            ws.updatePregap(trackID, *frames, ReloadPlayback::yes);
        }
        outcome.stored = true;
        return outcome;
    }
    return commitCDTextField(ws, trackID, column, text);
}

void answer(WorkspaceState& ws, const Question& question, bool yes) {
    if (!yes) {
        return;
    }
    ws.withUndoGroup([&] {
        switch (question.action) {
        case Question::Action::autofillField:
            ws.autofillField(question.field, question.value);
            break;
        case Question::Action::autofillISRC:
            ws.autofillISRC(question.value);
            break;
        case Question::Action::deleteTrack:
        case Question::Action::deleteTracks: {
            std::vector<std::size_t> indexes;
            for (const Uuid& id : question.trackIDs) {
                if (const auto i = ws.project().indexOfTrack(id)) {
                    indexes.push_back(*i);
                }
            }
            ws.removeTracks(indexes);
            break;
        }
        case Question::Action::deleteVersion:
            if (!question.trackIDs.empty() && question.versionID) {
                ws.removeVersion(question.trackIDs.front(), *question.versionID);
            }
            break;
        }
    });
}

void handleRowClick(WorkspaceState& ws, const std::vector<SpreadsheetRow>& rows,
                    const std::vector<std::size_t>& selected, std::size_t clicked) {
    if (selected.size() >= 2) {
        ws.setInspectorTab(InspectorTab::track);
        return;
    }
    if (clicked >= rows.size()) {
        return;
    }
    const SpreadsheetRow& row = rows[clicked];
    if (const auto* header = std::get_if<SideHeaderRow>(&row)) {
        if (header->sideIndex) {
            ws.setActiveSideIndex(static_cast<std::int64_t>(*header->sideIndex));
        }
        ws.setSelectedTrackID(std::nullopt);
        ws.setSelectedVersionID(std::nullopt);
        ws.setInspectorTab(InspectorTab::master);
    } else if (const auto* version = std::get_if<VersionRow>(&row)) {
        ws.setSelectedTrackID(version->track.id);
        ws.setSelectedVersionID(version->version.id);
        ws.setInspectorTab(InspectorTab::take);
    } else if (const auto* track = std::get_if<TrackRow>(&row)) {
        ws.setSelectedTrackID(track->track.id);
        ws.setSelectedVersionID(std::nullopt);
        ws.setInspectorTab(InspectorTab::track);
    }
}

void handleEmptyClick(WorkspaceState& ws) {
    ws.setSelectedTrackID(std::nullopt);
    ws.setSelectedVersionID(std::nullopt);
    ws.setInspectorTab(InspectorTab::master);
}

bool cellOpensForEditing(const SpreadsheetRow& row, std::string_view columnID, bool vinylView,
                         const std::optional<std::int64_t>& vinylGapFrames) {
    const auto* track = std::get_if<TrackRow>(&row);
    const TableColumn* c = column(columnID);
    if (track == nullptr || c == nullptr || !c->editable) {
        return false;
    }
    if (columnID != "pregap") {
        return true;
    }
    if (vinylView) {
        return vinylGapFrames.has_value();
    }
    return track->trackIndex != 0 && track->track.preGap.totalFrames >= 0;
}

void playFromRow(WorkspaceState& ws, const SpreadsheetRow& row) {
    std::size_t index = 0;
    if (const auto* t = std::get_if<TrackRow>(&row)) {
        index = t->trackIndex;
    } else if (const auto* v = std::get_if<VersionRow>(&row)) {
        index = v->trackIndex;
    } else {
        return;
    }
    const CDProject& shown = ws.displayProject();
    const auto& positions = ws.displayPositions();
    if (index >= ws.project().tracks.size()) {
        return; // rows older than the project
    }
    const Uuid id = ws.project().tracks[index].id;
    const auto at = shown.indexOfTrack(id);
    if (!at || *at >= positions.size()) {
        return;
    }
    ws.playback().seek(positions[*at].index01LBA * RedBook::samplesPerFrame);
    ws.playback().play();
}

std::vector<Uuid> selectedTrackIDsForBulk(const std::vector<SpreadsheetRow>& rows,
                                          const std::vector<std::size_t>& selected) {
    std::vector<std::pair<std::size_t, Uuid>> found;
    for (std::size_t i : selected) {
        if (i < rows.size()) {
            if (const auto* t = std::get_if<TrackRow>(&rows[i])) {
                found.emplace_back(t->trackIndex, t->track.id);
            }
        }
    }
    std::sort(found.begin(), found.end());
    std::vector<Uuid> ids;
    for (const auto& [index, id] : found) {
        ids.push_back(id);
    }
    return ids;
}

std::optional<Question> deleteQuestion(const std::vector<SpreadsheetRow>& rows,
                                       const std::vector<std::size_t>& selected) {
    if (selected.size() == 1 && selected[0] < rows.size()) {
        const SpreadsheetRow& row = rows[selected[0]];
        Question q;
        if (const auto* v = std::get_if<VersionRow>(&row)) {
            q.title = "Delete this version?";
            q.text = "Are you sure you want to delete this version (take)? The track and its other versions "
                     "are kept.";
            q.confirmButton = "Delete";
            q.action = Question::Action::deleteVersion;
            q.trackIDs = {v->track.id};
            q.versionID = v->version.id;
            return q;
        }
        const auto* t = std::get_if<TrackRow>(&row);
        if (t == nullptr) {
            return std::nullopt;
        }
        q.action = Question::Action::deleteTrack;
        q.trackIDs = {t->track.id};
        if (t->track.versions.empty()) {
            q.text = "Are you sure you want to delete this track?\n\nIf you just want to replace it, drop a "
                     "new file "
                     "on the track or use Replace.";
            return q;
        }
        const std::size_t n = t->track.versions.size() + 1;
        q.title = "Delete track with " + std::to_string(n) + " versions?";
        q.text =
            "This track holds " + std::to_string(n) + " versions (takes) — the active master plus " +
            std::to_string(n - 1) +
            " in its history. Deleting the track removes ALL of them.\n\nTo delete only a single version, "
            "click Cancel, expand the track (the chevron next to its number) and delete that version on its "
            "own row.";
        q.confirmButton = "Delete All Versions";
        return q;
    }
    const auto ids = selectedTrackIDsForBulk(rows, selected);
    if (ids.empty()) {
        return std::nullopt;
    }
    std::size_t takes = 0;
    for (std::size_t i : selected) {
        if (i < rows.size()) {
            if (const auto* t = std::get_if<TrackRow>(&rows[i])) {
                takes += t->track.versions.size();
            }
        }
    }
    Question q;
    q.action = Question::Action::deleteTracks;
    q.trackIDs = ids;
    q.text = "Are you sure you want to delete these " + std::to_string(ids.size()) +
             " tracks? Their alternative versions (takes, " + std::to_string(takes) +
             " in total) are deleted with them.";
    return q;
}

bool multiToggleTarget(const std::vector<bool>& flags) {
    return !std::all_of(flags.begin(), flags.end(), [](bool on) { return on; });
}

std::string multiFieldMenuTitle(std::string_view field, std::size_t count) {
    return capitalised(field) + "… for " + std::to_string(count) + " tracks";
}

std::string multiFieldPrompt(std::string_view field) {
    return "The CD-Text " + std::string(field) +
           " is applied to every selected track. Leave the field empty to clear it.";
}

bool acceptDrop(WorkspaceState& ws, const std::vector<SpreadsheetRow>& rows,
                const std::vector<std::size_t>& dragged, std::size_t dropRow) {
    std::set<std::size_t> from;
    for (std::size_t i : dragged) {
        if (i < rows.size()) {
            if (const auto* t = std::get_if<TrackRow>(&rows[i])) {
                from.insert(t->trackIndex);
            }
        }
    }
    if (from.empty()) {
        return false;
    }
    // The drop lands before the first track row at or after it; past the last row is the end.
    std::size_t to = ws.project().tracks.size();
    for (std::size_t r = dropRow; r < rows.size(); ++r) {
        if (const auto* t = std::get_if<TrackRow>(&rows[r])) {
            to = t->trackIndex;
            break;
        }
    }
    ws.withUndoGroup([&] { ws.reorderTracks(from, to); });
    return true;
}

SRCMark srcMark(bool needsSRC, const std::optional<SRCCacheState>& state) {
    if (!needsSRC) {
        return {};
    }
    if (state == SRCCacheState::rendering) {
        return {SRCMark::Look::amber, "Building SRC cache…", true, false};
    }
    if (state == SRCCacheState::ready) {
        return {SRCMark::Look::green, "SRC engine cache ready", false, false};
    }
    return {SRCMark::Look::red, "SRC cache not built — click to build this take", false, true};
}

std::vector<MenuItem> contextMenu(const SpreadsheetRow& row, bool srcHybrid, bool vinylView,
                                  const std::vector<std::string>& otherSides) {
    std::vector<MenuItem> items;
    if (std::holds_alternative<VersionRow>(row)) {
        return {{"Replace…", {}}, {"Delete", {}}, {"Analyze Loudness (R128)", {}}};
    }
    if (!std::holds_alternative<TrackRow>(row)) {
        return items;
    }
    items = {{"Replace…", {}}, {"Delete", {}}, {"", {}}, {"Analyze Loudness (R128)", {}}};
    if (srcHybrid) {
        items.push_back({"SRC Phase", {"Linear", "Minimum"}});
    }
    if (vinylView) {
        for (const std::string& side : otherSides) {
            items.push_back({"Move to " + side, {}});
        }
        items.push_back({"Not on Vinyl", {}});
    }
    return items;
}

ColumnVisibility::ColumnVisibility() {
    for (const TableColumn& c : kColumns) {
        shown_.emplace(std::string(c.identifier), true);
    }
}

bool ColumnVisibility::isShown(std::string_view identifier) const {
    const auto it = shown_.find(identifier);
    return it != shown_.end() && it->second;
}

void ColumnVisibility::toggle(std::string_view identifier) {
    const auto it = shown_.find(identifier);
    if (it != shown_.end()) {
        it->second = !it->second;
    }
}

void ColumnVisibility::applyVinyl(bool vinyl) {
    if (vinyl && !saved_) {
        saved_ = shown_;
        // A record carries no ISRC and no PQ flags.
        for (std::string_view hidden : {"isrc", "flags"}) {
            shown_[std::string(hidden)] = false;
        }
    } else if (!vinyl && saved_) {
        shown_ = std::move(*saved_);
        saved_.reset();
    }
}

} // namespace orvane::TrackTable
