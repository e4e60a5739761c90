#include "workspace/ProjectPanels.h"

#include "workspace/ProjectStore.h"
#include "workspace/WorkspaceState.h"

#include <algorithm>
#include <cctype>
#include <exception>
#include <system_error>

namespace orvane {

namespace {

constexpr const char* kOK = "OK";

std::string lowercased(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// The album title as a file name: a slash would name a folder.
std::string proposedFileName(const std::string& albumTitle) {
    if (albumTitle.empty())
        return "Untitled";
    std::string name = albumTitle;
    std::replace(name.begin(), name.end(), '/', '-');
    return name;
}

// Saving always writes the current extension, whatever the dialog gave back.
std::filesystem::path withProjectExtension(std::filesystem::path path) {
    const std::string wanted = "." + std::string{ProjectStore::fileExtension};
    if (lowercased(path.extension().string()) != wanted)
        path += wanted;
    return path;
}

} // namespace

ProjectPanels::ProjectPanels(PanelHost& host, RecentProjectsStore& recent)
    : host_(host), recent_(recent), fileExists_(&ProjectPanels::audioFileExists) {}

void ProjectPanels::showError(const std::string& title, const std::string& text) {
    host_.showAlert(AlertRequest{title, text, {kOK}, AlertStyle::warning});
}

bool ProjectPanels::open(WorkspaceState& workspace) {
    OpenPanelRequest request;
    request.title = "Open Orvane Project";
    request.allowedExtensions = ProjectStore::openableExtensions();
    const auto chosen = host_.runOpenPanel(request);
    if (!chosen)
        return false;
    return openChosen(workspace, *chosen);
}

bool ProjectPanels::openRecent(WorkspaceState& workspace, const std::filesystem::path& url) {
    std::error_code error;
    if (!std::filesystem::exists(url, error)) {
        recent_.remove(url);
        showError("Open Failed", "File no longer exists:\n" + url.string());
        return false;
    }
    return openChosen(workspace, url);
}

bool ProjectPanels::openChosen(WorkspaceState& workspace, const std::filesystem::path& url) {
    try {
        workspace.openProject(url);
    } catch (const std::exception& failure) {
        // The workspace leaves its project untouched when opening throws.
        showError("Open Failed", failure.what());
        return false;
    }
    recent_.record(url);
    warnMissingAudio(workspace);
    return true;
}

bool ProjectPanels::saveTo(WorkspaceState& workspace, const std::filesystem::path& url) {
    try {
        workspace.saveProject(url);
    } catch (const std::exception& failure) {
        showError("Save Failed", failure.what());
        return false;
    }
    recent_.record(url);
    return true;
}

bool ProjectPanels::save(WorkspaceState& workspace) {
    if (const auto& url = workspace.projectFileURL())
        return saveTo(workspace, *url);
    return saveAs(workspace);
}

bool ProjectPanels::saveAs(WorkspaceState& workspace) {
    SavePanelRequest request;
    request.title = "Save Orvane Project";
    request.proposedName = proposedFileName(workspace.project().albumTitle);
    request.extension = std::string{ProjectStore::fileExtension};
    request.canCreateDirectories = true;
    const auto chosen = host_.runSavePanel(request);
    if (!chosen)
        return false;
    return saveTo(workspace, withProjectExtension(*chosen));
}

bool ProjectPanels::confirmDiscardChanges(WorkspaceState& workspace) {
    if (!workspace.isModified())
        return true;
    const std::size_t answer =
        host_.showAlert(AlertRequest{"Do you want to save the changes to this project?",
                                     "Your changes will be lost if you don't save them.",
                                     {"Save", "Don't Save", "Cancel"},
                                     AlertStyle::warning});
    switch (answer) {
    case 0:
        return save(workspace);
    case 1:
        return true;
    default:
        return false;
    }
}

void ProjectPanels::warnMissingAudio(const WorkspaceState& workspace) {
    const auto lines = missingAudioLines(workspace.project(), fileExists_);
    if (lines.empty())
        return;
    host_.showAlert(AlertRequest{"Missing Audio Files", missingAudioText(lines), {kOK}, AlertStyle::warning});
}

std::vector<std::string> ProjectPanels::missingAudioLines(const CDProject& project,
                                                          const FileExists& fileExists) {
    std::vector<std::string> lines;
    for (std::size_t index = 0; index < project.tracks.size(); ++index) {
        const auto& url = project.tracks[index].audioFileURL;
        if (!url || fileExists(*url))
            continue;
        lines.push_back(std::to_string(index + 1) + " \u2013 " + url->lastPathComponent());
    }
    return lines;
}

std::string ProjectPanels::missingAudioText(const std::vector<std::string>& lines) {
    std::string text = "The project references audio files that no longer exist (moved, renamed, or on a "
                       "disconnected volume). Affected tracks show an empty waveform and play silence:\n\n";
    const std::size_t shown = std::min(lines.size(), missingAudioLinesShown);
    for (std::size_t i = 0; i < shown; ++i) {
        if (i > 0)
            text += "\n";
        text += lines[i];
    }
    if (lines.size() > missingAudioLinesShown)
        text += "\n\u2026 and " + std::to_string(lines.size() - missingAudioLinesShown) + " more";
    return text;
}

bool ProjectPanels::audioFileExists(const FileURL& url) {
    const auto path = url.path();
    if (path.empty())
        return false; // not a local file: nothing to play
    std::error_code error;
    return std::filesystem::is_regular_file(path, error);
}

} // namespace orvane
