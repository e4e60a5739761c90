#pragma once
// One finding of a check over a project or a fileset: the pre-flight and the DDP verifier both
// report in these. A list keeps the order in which the checks ran. Pure value; any thread.

#include <string>
#include <string_view>

namespace orvane {

struct ValidationIssue {
    enum class Severity { error, warning, info };

    Severity severity = Severity::info;
    std::string message;

    bool operator==(const ValidationIssue&) const = default;
};

// The severity's mark in a report: "✗" for error, "⚠" for warning, "ℹ" for info.
constexpr std::string_view severityMark(ValidationIssue::Severity severity) {
    switch (severity) {
    case ValidationIssue::Severity::error:
        return "\u2717";
    case ValidationIssue::Severity::warning:
        return "\u26A0";
    case ValidationIssue::Severity::info:
        return "\u2139";
    }
    return "";
}

// The severity's word in JSON and plain reports: "error", "warning", "info".
constexpr std::string_view severityName(ValidationIssue::Severity severity) {
    switch (severity) {
    case ValidationIssue::Severity::error:
        return "error";
    case ValidationIssue::Severity::warning:
        return "warning";
    case ValidationIssue::Severity::info:
        return "info";
    }
    return "";
}

} // namespace orvane
