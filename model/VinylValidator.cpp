#include "model/VinylValidator.h"

#include "model/detail/PreflightChecks.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_set>
#include <utility>

namespace orvane::VinylValidator {

namespace {

using Severity = ValidationIssue::Severity;

// "Side B" becomes "B"; an entry's label is that with its 1-based place, "B2".
std::string shortName(std::string name) {
    constexpr std::string_view prefix = "Side ";
    for (auto at = name.find(prefix); at != std::string::npos; at = name.find(prefix, at))
        name.erase(at, prefix.size());
    return name;
}

// Matrix numbers compare without surrounding spaces and without case.
std::string matrixKey(const std::optional<std::string>& number) {
    if (!number)
        return {};
    const auto first = number->find_first_not_of(' ');
    if (first == std::string::npos)
        return {};
    std::string key = number->substr(first, number->find_last_not_of(' ') - first + 1);
    std::transform(key.begin(), key.end(), key.begin(),
                   [](char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; });
    return key;
}

void checkSideLength(const VinylProgram& program, std::size_t index, const CDProject& project,
                     std::vector<ValidationIssue>& issues) {
    const std::string& name = program.sides[index].label;
    const std::optional<std::int64_t> length = program.sideLengthFrames(index, project);
    if (!length) {
        issues.push_back({Severity::error, name +
                                               ": side timeline cannot be calculated — check the segues (a "
                                               "track cannot be swallowed whole by a crossfade)."});
        return;
    }
    const std::int64_t target = program.sideTargetFrames;
    const std::int64_t limit = target * 9 / 10;
    if (*length > target)
        issues.push_back(
            {Severity::warning, name + " runs " + detail::minutesSeconds(*length) + " — over the " +
                                    detail::minutesSeconds(target) +
                                    " side target; the cutting engineer may need to reduce level."});
    else if (*length > limit)
        issues.push_back({Severity::info, name + " runs " + detail::minutesSeconds(*length) +
                                              " — close to the " + detail::minutesSeconds(target) +
                                              " side target."});
}

void checkEntries(const VinylProgram& program, std::size_t index, const CDProject& project,
                  std::vector<ValidationIssue>& issues) {
    const ProgramGroup& side = program.sides[index];
    const std::string prefix = shortName(side.label);
    for (std::size_t p = 0; p < side.entries.size(); ++p) {
        const std::optional<CDTrack> track = program.effectiveTrack(side.entries[p].trackID, project);
        if (!track)
            continue;
        const std::string label = prefix + std::to_string(p + 1);
        if (!track->audioFileURL)
            issues.push_back({Severity::error, label + ": no audio file assigned."});
        else if (detail::audioFileMissing(*track->audioFileURL))
            issues.push_back({Severity::error, label + ": audio file is missing (" +
                                                   track->audioFileURL->lastPathComponent() + ")."});
        if (track->preEmphasis)
            issues.push_back({Severity::info, label +
                                                  ": carries the CD pre-emphasis flag — the vinyl pre-master "
                                                  "exports audio flat (no de-emphasis)."});
    }
}

void checkSide(const VinylProgram& program, std::size_t index, const CDProject& project,
               std::vector<ValidationIssue>& issues) {
    const ProgramGroup& side = program.sides[index];
    for (const auto& entry : side.entries) {
        const bool live = std::any_of(project.tracks.begin(), project.tracks.end(),
                                      [&](const CDTrack& t) { return t.id == entry.trackID; });
        if (!live)
            issues.push_back({Severity::error, side.label + ": an entry references a deleted track."});
    }
    if (side.entries.empty()) {
        issues.push_back({Severity::warning, side.label + " is empty."});
        return;
    }
    checkSideLength(program, index, project, issues);
    checkEntries(program, index, project, issues);
}

void checkMatrixNumbers(const VinylProgram& program, std::vector<ValidationIssue>& issues) {
    std::vector<std::pair<std::string, std::size_t>> seen; // key, side that first had it
    std::string unnumbered;
    for (std::size_t i = 0; i < program.sides.size(); ++i) {
        const ProgramGroup& side = program.sides[i];
        const std::string key = matrixKey(side.matrixNumber);
        if (key.empty()) {
            unnumbered += (unnumbered.empty() ? "" : ", ") + side.label;
            continue;
        }
        const auto earlier =
            std::find_if(seen.begin(), seen.end(), [&](const auto& s) { return s.first == key; });
        if (earlier == seen.end())
            seen.emplace_back(key, i);
        else
            issues.push_back({Severity::warning, side.label + ": matrix number \u201C" + *side.matrixNumber +
                                                     "\u201D is the same as " +
                                                     program.sides[earlier->second].label +
                                                     " — each side needs its own cut identifier."});
    }
    if (!unnumbered.empty())
        issues.push_back({Severity::info, "No matrix number for " + unnumbered +
                                              " — it goes to the cue sheet for the cutting engineer."});
}

} // namespace

std::vector<ValidationIssue> validate(const VinylProgram& program, const CDProject& project) {
    std::vector<ValidationIssue> issues;
    const bool anyEntry = std::any_of(program.sides.begin(), program.sides.end(),
                                      [](const ProgramGroup& side) { return !side.entries.empty(); });
    if (!anyEntry) {
        issues.push_back({Severity::error, "Vinyl program is empty — no tracks on any side."});
        return issues;
    }
    for (std::size_t i = 0; i < program.sides.size(); ++i)
        checkSide(program, i, project, issues);
    checkMatrixNumbers(program, issues);

    const std::size_t unused = program.unusedTrackIDs(project).size();
    if (unused > 0)
        issues.push_back({Severity::info, std::to_string(unused) + " track" + (unused == 1 ? "" : "s") +
                                              " not on any side (Not on Vinyl)."});
    return issues;
}

} // namespace orvane::VinylValidator
