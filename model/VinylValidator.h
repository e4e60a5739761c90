#pragma once
// The pre-flight of a vinyl programme: empty or overlong sides, broken segues, missing audio and
// matrix numbers. Pure functions; any thread.

#include "model/CDProject.h"
#include "model/ValidationIssue.h"
#include "model/VinylProgram.h"

#include <string_view>
#include <vector>

namespace orvane::VinylValidator {

inline constexpr std::string_view kValidTitle = "Vinyl Program Is Valid";
inline constexpr std::string_view kValidText =
    "No issues found. Sides fit the target and the program is consistent.";

// Every check in its fixed order. Report the result with ProjectValidator::report.
std::vector<ValidationIssue> validate(const VinylProgram& program, const CDProject& project);

} // namespace orvane::VinylValidator
