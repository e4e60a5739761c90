#pragma once
// The Red Book pre-flight: lists what a pressing plant would refuse or question in a project, and
// the report that shows such a list. Pure functions that change and block nothing; any thread.

#include "model/CDProject.h"
#include "model/DDPError.h"
#include "model/TrackPosition.h"
#include "model/ValidationIssue.h"

#include <cstdint>
#include <regex>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orvane {

// What an alert over a list of issues shows.
struct ValidationReport {
    enum class Style { informational, warning, critical };

    Style style = Style::informational;
    std::string title;
    std::string text;

    bool operator==(const ValidationReport&) const = default;
};

namespace ProjectValidator {

inline constexpr std::string_view kValidTitle = "Project Is Valid";
inline constexpr std::string_view kValidText = "No issues found. Project is Red Book compliant.";

// "^[A-Z]{2}[A-Z0-9]{3}[0-9]{7}$", compiled once.
const std::regex& isrcPattern();

// Every check in its fixed order; `positions` are the project's laid-out tracks (fewer or none when
// the layout failed). `cdTextPackCounts` are the content packs per CD-Text block as the encoder
// counts them; the encoder lives above the model, so its caller hands them in.
// A layout failure given as `layoutFailure` is reported as an error naming its track.
std::vector<ValidationIssue> validate(const CDProject& project, std::span<const TrackPosition> positions,
                                      std::span<const std::int64_t> cdTextPackCounts,
                                      const DDPError* layoutFailure = nullptr);

// The pre-flight of the project as it stands: lays it out first, so that a disc the export would
// refuse (a track trimmed to nothing) never reports as valid.
std::vector<ValidationIssue> validate(const CDProject& project,
                                      std::span<const std::int64_t> cdTextPackCounts);

// An empty list gives the valid title and text; otherwise a title that counts the errors and one
// line per issue: its mark, two spaces, its message.
ValidationReport report(std::span<const ValidationIssue> issues, std::string_view validTitle,
                        std::string_view validText);

} // namespace ProjectValidator

} // namespace orvane
