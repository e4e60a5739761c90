#include "cli/ImportJob.h"

#include "model/FileURL.h"
#include "model/Uuid.h"
#include "workspace/ProjectStore.h"

#include <system_error>
#include <utility>
#include <vector>

namespace orvane::cli {

namespace {

namespace fs = std::filesystem;

tl::unexpected<ImportFailure> failure(std::string message) {
    return tl::unexpected(ImportFailure{false, std::move(message)});
}

// Removes what the import made on every way out unless it was committed.
class Leftovers final {
  public:
    Leftovers() = default;
    Leftovers(const Leftovers&) = delete;
    Leftovers& operator=(const Leftovers&) = delete;
    ~Leftovers() {
        std::error_code ec;
        for (const fs::path& p : paths_)
            fs::remove_all(p, ec); // best effort: the job has already failed or finished
    }
    void add(fs::path path) { paths_.push_back(std::move(path)); }
    void forget(const fs::path& path) { std::erase(paths_, path); }

  private:
    std::vector<fs::path> paths_;
};

void moveBack(const std::vector<fs::path>& names, const fs::path& from, const fs::path& to) {
    std::error_code ec;
    for (const fs::path& name : names)
        fs::rename(from / name, to / name, ec); // best effort; the staging folder goes anyway
}

// Moves every file of `from` into `to`, which must not hold any of their names, and gives the names
// moved. On failure the files already moved go back, so that `to` is as it was.
tl::expected<std::vector<fs::path>, std::string> moveFilesInto(const fs::path& from, const fs::path& to) {
    std::error_code ec;
    std::vector<fs::path> names;
    for (const auto& entry : fs::directory_iterator(from, ec))
        names.push_back(entry.path().filename());
    if (ec)
        return tl::unexpected(ec.message());
    for (const fs::path& name : names)
        if (fs::exists(to / name, ec))
            return tl::unexpected(to.string() + " already holds " + name.string() +
                                  "; choose another audio folder.");
    std::vector<fs::path> moved;
    for (const fs::path& name : names) {
        fs::rename(from / name, to / name, ec);
        if (ec) {
            moveBack(moved, to, from);
            return tl::unexpected("Could not move " + name.string() + " into " + to.string() + ": " +
                                  ec.message() + ".");
        }
        moved.push_back(name);
    }
    return moved;
}

// The staged track files become the audio folder: a rename of the whole folder when the audio
// folder is new (it then joins the leftovers until committed), file by file into one that exists.
// Gives the names moved file by file.
tl::expected<std::vector<fs::path>, std::string> placeAudio(const fs::path& staging, const fs::path& audioDir,
                                                            Leftovers& leftovers) {
    std::error_code ec;
    if (!fs::exists(audioDir, ec)) {
        fs::rename(staging, audioDir, ec);
        if (ec)
            return tl::unexpected("Could not create " + audioDir.string() + ": " + ec.message() + ".");
        leftovers.forget(staging);
        leftovers.add(audioDir);
        return std::vector<fs::path>{};
    }
    if (!fs::is_directory(audioDir, ec))
        return tl::unexpected(audioDir.string() + " exists and is not a folder.");
    return moveFilesInto(staging, audioDir);
}

bool isEmptyFolder(const fs::path& folder) {
    std::error_code ec;
    return !fs::exists(folder, ec) || fs::is_empty(folder, ec);
}

} // namespace

fs::path absoluteNormal(const fs::path& path) {
    std::error_code ec;
    fs::path absolute = fs::absolute(path, ec).lexically_normal();
    if (ec)
        absolute = path.lexically_normal();
    // "dir/" names the folder "dir", not an empty last component.
    if (absolute.filename().empty() && absolute.has_parent_path())
        absolute = absolute.parent_path();
    return absolute;
}

tl::expected<ImportedDocument, ImportFailure> importIntoDocument(const fs::path& projectPath,
                                                                 const fs::path& audioDir,
                                                                 std::string_view partialPrefix,
                                                                 const StagedImport& import) {
    std::error_code ec;
    if (fs::is_directory(projectPath, ec))
        return failure(projectPath.string() + " is a folder, not a project document.");
    fs::create_directories(audioDir.parent_path(), ec);
    if (ec)
        return failure("Could not create " + audioDir.parent_path().string() + ": " + ec.message() + ".");

    Leftovers leftovers;
    const fs::path staging = audioDir.parent_path() / (std::string(partialPrefix) + Uuid::random().string());
    leftovers.add(staging);
    auto imported = import(staging);
    if (!imported)
        return tl::unexpected(imported.error());
    CDProject project = std::move(*imported);
    const bool staged = !isEmptyFolder(staging);
    for (CDTrack& track : project.tracks)
        if (track.audioFileURL && track.audioFileURL->path().parent_path() == staging)
            track.audioFileURL = FileURL::fromPath(audioDir / track.audioFileURL->path().filename());

    // The document is made whole beside its final name before any audio moves.
    const fs::path projectPartial = projectPath.parent_path() / ("." + projectPath.filename().string() +
                                                                 ".partial-" + Uuid::random().string());
    try {
        ProjectStore::writeAtomically(projectPartial, ProjectStore::encode(project));
    } catch (const ProjectStoreError& error) {
        return failure(error.what());
    }
    leftovers.add(projectPartial);
    std::vector<fs::path> placed;
    if (staged) {
        auto moved = placeAudio(staging, audioDir, leftovers);
        if (!moved)
            return failure(moved.error());
        placed = std::move(*moved);
    }
    fs::rename(projectPartial, projectPath, ec);
    if (ec) {
        // No audio without its document: a new audio folder is a leftover already, and files
        // moved into an existing one go back to the staging folder, which is removed.
        moveBack(placed, audioDir, staging);
        return failure("Could not write " + projectPath.string() + ": " + ec.message() + ".");
    }
    leftovers.forget(projectPartial);
    leftovers.forget(audioDir);
    return ImportedDocument{std::move(project), projectPath, staged ? audioDir : fs::path()};
}

} // namespace orvane::cli
