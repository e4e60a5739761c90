#include "model/ProjectValidator.h"

#include "model/DeliverySanitizing.h"
#include "model/RedBook.h"
#include "model/TimelineCalculator.h"
#include "model/detail/PreflightChecks.h"
#include "model/detail/ScalarBytes.h"
#include "model/detail/UnicodeText.h"

#include <array>
#include <cstdio>
#include <map>
#include <optional>
#include <utility>

namespace orvane::ProjectValidator {

namespace {

using Severity = ValidationIssue::Severity;

constexpr std::int64_t kMaxDiscFrames = 359775;  // 79:57
constexpr std::int64_t kLongDiscFrames = 333000; // 74:00
constexpr std::int64_t kMaxCDTextPacks = 252;
constexpr char32_t kLatin1Limit = 0xFF;
constexpr std::int64_t kEnglish = 9;

constexpr std::string_view kLatin1Tail =
    " contains characters outside Latin-1 — they will be replaced by '?' in CD-Text.";

std::string twoDigits(std::int64_t n) {
    char buffer[24];
    std::snprintf(buffer, sizeof buffer, "%02lld", static_cast<long long>(n));
    return buffer;
}

std::string trackName(std::size_t index) {
    return "Track " + twoDigits(static_cast<std::int64_t>(index) + 1);
}

bool outsideLatin1(const std::optional<std::string>& text) {
    return text && detail::hasScalarAbove(*text, kLatin1Limit);
}

// Upper-cased, with everything but letters and numbers removed; unlike sanitizedISRC it keeps any
// length, so a malformed code still takes part in the duplicate test.
std::string cleanISRC(const std::string& text) {
    return detail::cleanedCode(text, detail::KeepCharacters::lettersAndNumbers).text;
}

void checkDiscLength(std::span<const TrackPosition> positions, std::vector<ValidationIssue>& issues) {
    const std::int64_t total = positions.empty() ? 0 : positions.back().endLBA;
    const std::string length = detail::minutesSeconds(total);
    if (total > kMaxDiscFrames)
        issues.push_back({Severity::error, "Disc is too long: " + length + " (79:57 maximum)."});
    else if (total > kLongDiscFrames)
        issues.push_back({Severity::warning, "Disc exceeds 74:00 (" + length +
                                                 ") — some old players/pressing plants may complain."});
}

void checkTrackText(const CDTrack& track, const std::string& name, std::vector<ValidationIssue>& issues) {
    const std::array<std::pair<std::string_view, std::optional<std::string>>, 12> fields{{
        {"title", track.title},
        {"performer", track.performer},
        {"songwriter", track.songwriter},
        {"composer", track.composer},
        {"arranger", track.arranger},
        {"message", track.message},
        {"title (2nd language)", track.titleLang2},
        {"performer (2nd language)", track.performerLang2},
        {"songwriter (2nd language)", track.songwriterLang2},
        {"composer (2nd language)", track.composerLang2},
        {"arranger (2nd language)", track.arrangerLang2},
        {"message (2nd language)", track.messageLang2},
    }};
    for (const auto& [field, text] : fields)
        if (outsideLatin1(text))
            issues.push_back(
                {Severity::warning, name + ": " + std::string(field) + std::string(kLatin1Tail)});
}

void checkTrack(const CDTrack& track, std::size_t index, const TrackPosition* position,
                std::map<std::string, std::size_t>& isrcOwners, std::vector<ValidationIssue>& issues) {
    const std::string name = trackName(index);
    if (!track.audioFileURL)
        issues.push_back({Severity::error, name + ": no audio file assigned."});
    else if (detail::audioFileMissing(*track.audioFileURL))
        issues.push_back({Severity::error, name + ": audio file is missing (" +
                                               track.audioFileURL->lastPathComponent() + ")."});

    if (position) {
        const std::int64_t len = position->endLBA - position->index01LBA;
        if (len < RedBook::minTrackFrames)
            issues.push_back({Severity::error, name + ": shorter than 4 seconds."});
        if (!track.subIndexFrames.empty()) {
            const auto dropped = static_cast<std::int64_t>(track.subIndexFrames.size()) -
                                 static_cast<std::int64_t>(track.sanitizedSubIndexOffsets(len).size());
            if (dropped > 0)
                issues.push_back({Severity::warning, name + ": " + std::to_string(dropped) +
                                                         " sub-index point" + (dropped == 1 ? "" : "s") +
                                                         " outside the track body (or duplicate) will be "
                                                         "dropped on export."});
        }
    }

    if (!track.isrc || track.isrc->empty()) {
        issues.push_back({Severity::info, name + ": no ISRC."});
    } else {
        const std::string clean = cleanISRC(*track.isrc);
        if (!std::regex_match(clean, isrcPattern()))
            issues.push_back({Severity::warning,
                              name + ": ISRC \"" + *track.isrc + "\" has invalid format (CC-XXX-YY-NNNNN)."});
        const auto [owner, inserted] = isrcOwners.try_emplace(clean, index);
        if (!inserted)
            issues.push_back({Severity::error, name + ": duplicate ISRC " + clean + " (same as track " +
                                                   twoDigits(static_cast<std::int64_t>(owner->second) + 1) +
                                                   ")."});
    }

    checkTrackText(track, name, issues);
}

void checkAlbumText(const CDProject& project, std::vector<ValidationIssue>& issues) {
    const std::array<std::pair<std::string_view, std::optional<std::string>>, 14> fields{{
        {"Album title", project.albumTitle},
        {"Album performer", project.albumPerformer},
        {"Album songwriter", project.albumSongwriter},
        {"Album composer", project.albumComposer},
        {"Album arranger", project.albumArranger},
        {"Album message", project.albumMessage},
        {"Album title (2nd language)", project.albumTitleLang2},
        {"Album performer (2nd language)", project.albumPerformerLang2},
        {"Album songwriter (2nd language)", project.albumSongwriterLang2},
        {"Album composer (2nd language)", project.albumComposerLang2},
        {"Album arranger (2nd language)", project.albumArrangerLang2},
        {"Album message (2nd language)", project.albumMessageLang2},
        {"Disc ID", project.discID},
        {"Genre text", project.genreText},
    }};
    for (const auto& [label, text] : fields)
        if (outsideLatin1(text))
            issues.push_back({Severity::warning, std::string(label) + std::string(kLatin1Tail)});
}

} // namespace

const std::regex& isrcPattern() {
    static const std::regex pattern("^[A-Z]{2}[A-Z0-9]{3}[0-9]{7}$");
    return pattern;
}

std::vector<ValidationIssue> validate(const CDProject& project, std::span<const TrackPosition> positions,
                                      std::span<const std::int64_t> cdTextPackCounts,
                                      const DDPError* layoutFailure) {
    std::vector<ValidationIssue> issues;
    if (project.tracks.empty()) {
        issues.push_back({Severity::error, "Project contains no tracks."});
        return issues;
    }
    if (project.tracks.size() > static_cast<std::size_t>(RedBook::maxTracks))
        issues.push_back({Severity::error, "Too many tracks: " + std::to_string(project.tracks.size()) +
                                               " (Red Book maximum is 99)."});
    checkDiscLength(positions, issues);
    // Too many tracks already has its own line above; a track too short to lay out has none.
    if (layoutFailure != nullptr)
        if (const auto* tooShort = std::get_if<DDPError::TrackTooShort>(&layoutFailure->value))
            issues.push_back({Severity::error, "Track " + twoDigits(tooShort->track) +
                                                   ": cannot be laid out on the disc — its trims or the "
                                                   "crossfade into it leave no audio after INDEX 01."});

    std::map<std::string, std::size_t> isrcOwners;
    for (std::size_t i = 0; i < project.tracks.size(); ++i)
        checkTrack(project.tracks[i], i, i < positions.size() ? &positions[i] : nullptr, isrcOwners, issues);

    if (project.mcn.empty())
        issues.push_back({Severity::info, "No MCN/UPC code."});
    else if (!DDPWriter::isValidEAN13(project.mcn))
        issues.push_back(
            {Severity::warning, "MCN \"" + project.mcn + "\" is not a valid EAN-13 (check digit mismatch)."});

    checkAlbumText(project, issues);

    if (project.cdTextLanguage2Code &&
        *project.cdTextLanguage2Code == project.cdTextLanguageCode.value_or(kEnglish))
        issues.push_back({Severity::warning,
                          "Second CD-Text language is the same as the primary language — pick "
                          "a different language or turn the second block off."});

    for (std::size_t block = 0; block < cdTextPackCounts.size(); ++block)
        if (cdTextPackCounts[block] > kMaxCDTextPacks)
            issues.push_back(
                {Severity::error, std::string(block == 0 ? "CD-Text" : "CD-Text (2nd language)") +
                                      " is too long: " + std::to_string(cdTextPackCounts[block]) +
                                      " packs (maximum 252) — DDP export would fail. Shorten "
                                      "titles, performers or other CD-Text fields."});
    return issues;
}

std::vector<ValidationIssue> validate(const CDProject& project,
                                      std::span<const std::int64_t> cdTextPackCounts) {
    const auto positions = TimelineCalculator::calculatePositions(project);
    if (positions)
        return validate(project, *positions, cdTextPackCounts);
    return validate(project, {}, cdTextPackCounts, &positions.error());
}

ValidationReport report(std::span<const ValidationIssue> issues, std::string_view validTitle,
                        std::string_view validText) {
    if (issues.empty())
        return {ValidationReport::Style::informational, std::string(validTitle), std::string(validText)};
    std::int64_t errors = 0;
    std::string text;
    for (const auto& issue : issues) {
        if (issue.severity == Severity::error)
            ++errors;
        if (!text.empty())
            text += '\n';
        text += std::string(severityMark(issue.severity)) + "  " + issue.message;
    }
    ValidationReport result;
    result.style = errors > 0 ? ValidationReport::Style::critical : ValidationReport::Style::warning;
    result.title = errors > 0
                       ? "Validation Found " + std::to_string(errors) + " Error" + (errors == 1 ? "" : "s")
                       : "Validation Finished With Warnings";
    result.text = std::move(text);
    return result;
}

} // namespace orvane::ProjectValidator
