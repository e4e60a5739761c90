#pragma once
// Re-checks a DDP fileset already on disk, from any source: required files, stream sizes against
// DDPMS and the PQ lead-out, frame alignment, CD-Text CRCs and the MD5 sums. It changes nothing and
// fails with nothing: every finding is an issue in the list. Any thread (runs on a background queue).

#include "model/ValidationIssue.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvane::DDPVerifier {

// Status text and fraction done (0...1); false stops the verification.
using Progress = std::function<bool(std::string_view status, double fraction)>;

// The issues in the order the checks ran, info lines included; nothing when `progress` said stop.
// Large files are read only by the MD5 check, in 1 MiB blocks.
std::optional<std::vector<ValidationIssue>> verify(const std::filesystem::path& directory,
                                                   const Progress& progress = {});

// The alert title: "Verification Found 2 Errors", "... 1 Error", or "DDP Fileset Is Valid".
std::string reportTitle(const std::vector<ValidationIssue>& issues);

// One line per issue in list order: the severity's mark, two spaces, the message.
std::string reportText(const std::vector<ValidationIssue>& issues);

} // namespace orvane::DDPVerifier
