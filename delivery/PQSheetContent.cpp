#include "delivery/PQSheetContent.h"

#include "model/DeliverySanitizing.h"
#include "model/RedBook.h"

#include <cstdio>
#include <functional>

namespace orvane {

namespace {

constexpr const char* kNoMeasurement = "\u2014";

// One column as the model defines it: the drawn attributes and how a cell is worked out.
struct ColumnRule {
    PQSheetColumn column;
    std::function<std::string(std::size_t, const CDTrack&, const TrackPosition&)> value;
};

std::string oneDecimal(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", value);
    return text;
}

std::string flagsText(const CDTrack& track) {
    std::string flags;
    if (track.preEmphasis)
        flags = "PRE";
    if (track.copyPermitted)
        flags += flags.empty() ? "DCP" : " DCP";
    return flags;
}

std::vector<ColumnRule> columnRules(const PQSheetModel& model, const TrackLoudnessMap& loudness) {
    using Time = PQSheetContent;
    std::vector<ColumnRule> rules;
    auto add = [&](std::string header, std::optional<double> width, bool rightAlign, auto value) {
        rules.push_back({PQSheetColumn{std::move(header), width, rightAlign}, value});
    };
    auto measured = [&loudness](const CDTrack& track, double TrackLoudness::*figure) -> std::string {
        const auto found = loudness.find(track.id);
        return found == loudness.end() ? kNoMeasurement : oneDecimal(found->second.*figure);
    };

    add("#", 24.0, false, [](std::size_t index, const CDTrack&, const TrackPosition&) {
        char text[24];
        std::snprintf(text, sizeof text, "%02zu", index + 1);
        return std::string(text);
    });
    if (model.colTitle)
        add("TITLE", std::nullopt, false,
            [](std::size_t, const CDTrack& t, const TrackPosition&) { return t.title; });
    if (model.colPerformer)
        add("PERFORMER", std::nullopt, false,
            [](std::size_t, const CDTrack& t, const TrackPosition&) { return t.performer.value_or(""); });
    if (model.colNote)
        add("NOTE", std::nullopt, false,
            [](std::size_t, const CDTrack& t, const TrackPosition&) { return t.note.value_or(""); });
    if (model.colISRC)
        add("ISRC", 92.0, false, [](std::size_t, const CDTrack& t, const TrackPosition&) {
            return DDPWriter::sanitizedISRC(t.isrc);
        });
    if (model.colFlags)
        add("FLAGS", 58.0, false,
            [](std::size_t, const CDTrack& t, const TrackPosition&) { return flagsText(t); });
    if (model.colPregap)
        add("PREGAP", 62.0, true, [](std::size_t, const CDTrack&, const TrackPosition& p) {
            return Time::timeText(p.index01LBA - p.startLBA);
        });
    if (model.colStart)
        add("START", 62.0, true,
            [](std::size_t, const CDTrack&, const TrackPosition& p) { return Time::timeText(p.index01LBA); });
    if (model.colDuration)
        add("LENGTH", 62.0, true, [](std::size_t, const CDTrack&, const TrackPosition& p) {
            return Time::timeText(p.endLBA - p.index01LBA);
        });
    if (model.colEnd)
        add("END", 62.0, true,
            [](std::size_t, const CDTrack&, const TrackPosition& p) { return Time::timeText(p.endLBA); });
    if (model.colLUFS)
        add("LUFS", 48.0, true, [measured](std::size_t, const CDTrack& t, const TrackPosition&) {
            return measured(t, &TrackLoudness::lufs);
        });
    if (model.colTP)
        add("dBTP", 48.0, true, [measured](std::size_t, const CDTrack& t, const TrackPosition&) {
            return measured(t, &TrackLoudness::truePeak);
        });
    return rules;
}

std::vector<PQSheetHeadLine> makeHeadLines(const CDProject& project, const PQSheetModel& model,
                                           const std::optional<TrackLoudness>& albumLoudness) {
    std::vector<PQSheetHeadLine> lines;
    auto addIfAny = [&lines](std::string label, const std::string& value) {
        if (!value.empty())
            lines.push_back({std::move(label), value});
    };
    lines.push_back({"Album", project.albumTitle.empty() ? "Untitled" : project.albumTitle});
    addIfAny("Performer", project.albumPerformer.value_or(""));
    addIfAny("UPC/EAN", DDPWriter::sanitizedMCN(project.mcn));
    addIfAny("Client", model.client);
    addIfAny("Engineer", model.engineer);
    if (albumLoudness && (model.colLUFS || model.colTP)) {
        char text[160];
        std::snprintf(text, sizeof text, "%.1f LUFS, true peak %.1f dBTP", albumLoudness->lufs,
                      albumLoudness->truePeak);
        std::string value = text;
        if (albumLoudness->lra) {
            std::snprintf(text, sizeof text, ", LRA %.1f LU", *albumLoudness->lra);
            value += text;
        }
        lines.push_back({"Loudness", value + " (EBU R128)"});
    }
    addIfAny("Note", project.masterNote.value_or(""));
    return lines;
}

} // namespace

std::string PQSheetContent::timeText(std::int64_t frames) {
    const MSF msf = CDTime::frames(frames).msf();
    char text[48];
    std::snprintf(text, sizeof text, "%02lld:%02lld:%02lld", static_cast<long long>(msf.minutes),
                  static_cast<long long>(msf.seconds), static_cast<long long>(msf.frames));
    return text;
}

PQSheetContent PQSheetContent::make(const CDProject& project, const std::vector<TrackPosition>& positions,
                                    const PQSheetModel& model, const TrackLoudnessMap& loudness,
                                    const std::optional<TrackLoudness>& albumLoudness) {
    PQSheetContent content;
    const auto rules = columnRules(model, loudness);
    for (const auto& rule : rules)
        content.columns.push_back(rule.column);

    for (const auto& position : positions) {
        if (position.trackIndex < 1 || static_cast<std::size_t>(position.trackIndex) > project.tracks.size())
            break;
        const auto index = static_cast<std::size_t>(position.trackIndex - 1);
        std::vector<std::string> cells;
        cells.reserve(rules.size());
        for (const auto& rule : rules)
            cells.push_back(rule.value(index, project.tracks[index], position));
        content.rows.push_back(std::move(cells));
    }
    content.headLines = makeHeadLines(project, model, albumLoudness);
    if (model.includeTotal && !positions.empty())
        content.leadOutTime = timeText(positions.back().endLBA);
    return content;
}

} // namespace orvane
