#pragma once
// The project document: UTF-8 JSON, pretty-printed, keys sorted, a `version` and the `project`.
// Encoding is deterministic (no time stamps), so saving an unchanged project twice gives the same
// bytes. Every failure is thrown as a ProjectStoreError whose what() is the text to show the user;
// nothing is written or changed when one is thrown. Stateless functions; any thread.

#include "model/CDProject.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace orvane {

// The top level of the document.
struct ProjectFile {
    std::int64_t version = 1;
    CDProject project;

    bool operator==(const ProjectFile&) const = default;
};

enum class ProjectStoreErrorCode {
    unsupportedVersion, // the file's version is newer than this program reads
    readFailed,         // the file could not be read
    invalidJSON,        // the bytes are not JSON
    invalidDocument,    // JSON, but a required key is missing or a value has the wrong type
    encodeFailed,       // the project could not be turned into JSON (e.g. text that is not UTF-8)
    writeFailed,        // the file could not be written
};

// A failure of the document format or its file, with the user's text as what().
class ProjectStoreError final : public std::runtime_error {
  public:
    ProjectStoreError(ProjectStoreErrorCode code, const std::string& message,
                      std::optional<std::int64_t> version = std::nullopt);

    // "Project file version N is not supported by this version of Orvane."
    static ProjectStoreError unsupportedVersion(std::int64_t version);

    static constexpr std::string_view domain = "ProjectStore";
    ProjectStoreErrorCode code() const { return code_; }
    std::string description() const { return what(); }
    // The file's version, for unsupportedVersion only.
    std::optional<std::int64_t> version() const { return version_; }

  private:
    ProjectStoreErrorCode code_;
    std::optional<std::int64_t> version_;
};

namespace ProjectStore {

inline constexpr std::string_view fileExtension = "ovproj";
// Older extensions of the same format; the open dialog accepts them, saving never writes them.
inline constexpr std::array<std::string_view, 2> legacyFileExtensions{"ovt", "orvane"};
// The highest version this program reads; every version up to it (0 and negatives too) is read.
inline constexpr std::int64_t currentVersion = 1;

// fileExtension then the legacy ones: what the open dialog offers.
std::vector<std::string> openableExtensions();
// True when the path's extension, compared without case, is one of openableExtensions().
bool isOpenablePath(const std::filesystem::path& path);

// The document's bytes. Throws encodeFailed.
std::string encode(const ProjectFile& file);
// The document of this project at currentVersion. Throws encodeFailed.
std::string encode(const CDProject& project);

// The document in these bytes, whatever its version. Throws invalidJSON or invalidDocument.
ProjectFile decode(std::string_view bytes);
// decode, then refuse a version above currentVersion with unsupportedVersion.
ProjectFile decodeSupported(std::string_view bytes);

// The whole file. Throws readFailed.
std::string read(const std::filesystem::path& path);
// Replaces the file atomically (temporary beside it, flushed, renamed). Throws writeFailed; the
// old file, if any, is then left whole.
void writeAtomically(const std::filesystem::path& path, std::string_view bytes);

// read + decodeSupported: the one call behind opening a document.
ProjectFile load(const std::filesystem::path& path);
// encode + writeAtomically: the one call behind saving a document.
void save(const CDProject& project, const std::filesystem::path& path);

} // namespace ProjectStore

} // namespace orvane
