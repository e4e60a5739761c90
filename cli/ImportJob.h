#pragma once
// What every import command shares: a project read from some source into a document and its track
// files, all or nothing. The importer cuts its files into a hidden staging folder beside the audio
// folder and the document is written beside its final name; both move into place only once
// everything is whole, so a failure or an interrupt leaves neither a half-written document nor stray
// audio. Tracks pointing at files outside the staging folder keep them. Runs on the command's thread.

#include "model/CDProject.h"

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <tl/expected.hpp>

namespace orvane::cli {

struct ImportFailure {
    bool cancelled = false;
    std::string message; // the user's text; empty when cancelled
};

struct ImportedDocument {
    CDProject project; // as saved: its tracks point at the files in audioDir
    std::filesystem::path projectPath;
    std::filesystem::path audioDir;
};

// Fills the staging folder it is given (or leaves it alone) and returns the project.
using StagedImport =
    std::function<tl::expected<CDProject, ImportFailure>(const std::filesystem::path& staging)>;

// `projectPath` and `audioDir` are absolute. `partialPrefix` names the hidden staging folder.
tl::expected<ImportedDocument, ImportFailure> importIntoDocument(const std::filesystem::path& projectPath,
                                                                 const std::filesystem::path& audioDir,
                                                                 std::string_view partialPrefix,
                                                                 const StagedImport& import);

// The path made absolute and normal, without a trailing separator.
std::filesystem::path absoluteNormal(const std::filesystem::path& path);

} // namespace orvane::cli
