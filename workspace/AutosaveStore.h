#pragma once
// The recovery copy of an unsaved project: one JSON file per user, outside every project, under
// "$XDG_DATA_HOME/Orvane/Recovery/Recovery.json". It is a courtesy: reading never throws, and
// only write() reports a failure (which the autosave tick drops). Stateless functions, any thread;
// the workspace calls them only on its "orvane.autosave" queue, the one place the file changes.

#include "model/CDProject.h"
#include "model/Timestamp.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace orvane {

// What the recovery file holds.
struct RecoveryFile {
    std::int64_t version = 1;
    Timestamp savedAt;
    std::optional<std::string> originalPath; // left out for a project never saved
    CDProject project;

    bool operator==(const RecoveryFile&) const = default;
};

// A failed write of the recovery file, with the reason as what().
class AutosaveError final : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

namespace AutosaveStore {

inline constexpr std::string_view fileName = "Recovery.json";
// The first version this program refuses.
inline constexpr std::int64_t firstUnreadableVersion = 2;

// "<data folder>/Orvane/Recovery": $XDG_DATA_HOME when set and absolute, else "$HOME/.local/share",
// else the temporary folder.
std::filesystem::path defaultDirectory();
std::filesystem::path fileURL(const std::filesystem::path& directory = defaultDirectory());

// The file's bytes for this copy (version 1, keys sorted). Throws AutosaveError for text that is
// not UTF-8.
std::string encode(const RecoveryFile& file);
// The copy in these bytes; nothing when they are not a recovery file of a version below 2.
std::optional<RecoveryFile> decode(std::string_view bytes);

// Makes the folder with its parents and replaces the file atomically with a copy saved now.
// Throws AutosaveError.
void write(const CDProject& project, const std::optional<std::filesystem::path>& originalURL,
           const std::filesystem::path& directory = defaultDirectory());
// Nothing when the file is missing, unreadable, undecodable or too new.
std::optional<RecoveryFile> load(const std::filesystem::path& directory = defaultDirectory());
bool exists(const std::filesystem::path& directory = defaultDirectory());
// Deletes the file; an error is dropped, since a stale copy only costs a question at the next start.
void clear(const std::filesystem::path& directory = defaultDirectory());

// The name the recovery question shows: the original document's name less its extension, else
// the project's title, else "Untitled".
std::string displayName(const RecoveryFile& file);

} // namespace AutosaveStore

} // namespace orvane
