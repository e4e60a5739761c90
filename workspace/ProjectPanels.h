#pragma once
// The dialogs and alerts around the document operations: open, open a recent entry, save, save
// as, the question before changes are thrown away, and the warning about audio files that have
// gone. The shell asks confirmDiscardChanges before it calls open or openRecent. Main thread.

#include "model/CDProject.h"
#include "model/FileURL.h"
#include "workspace/PanelHost.h"
#include "workspace/RecentProjectsStore.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace orvane {

class WorkspaceState;

class ProjectPanels final {
  public:
    using FileExists = std::function<bool(const FileURL&)>;

    static constexpr std::size_t missingAudioLinesShown = 8;

    // Both must outlive the panels.
    ProjectPanels(PanelHost& host, RecentProjectsStore& recent);
    ProjectPanels(const ProjectPanels&) = delete;
    ProjectPanels& operator=(const ProjectPanels&) = delete;

    // "Open Orvane Project": one .ovproj (or legacy) file. On success the file goes to the recent list
    // and missing audio is reported; a failure shows "Open Failed". True when a document was opened.
    bool open(WorkspaceState& workspace);
    // Opens a recent entry as if chosen in the open dialog. An entry whose file is gone is removed
    // from the list and "Open Failed" says "File no longer exists:\n<path>".
    bool openRecent(WorkspaceState& workspace, const std::filesystem::path& url);
    // Saves to the document's file (recording it as recent; "Save Failed" on an error), or, for a
    // document never saved, as saveAs. True when the project was written.
    bool save(WorkspaceState& workspace);
    // "Save Orvane Project", proposing the album title, or "Untitled"; the target always gets the
    // .ovproj extension. True when the project was written.
    bool saveAs(WorkspaceState& workspace);
    // True at once for an unmodified project; otherwise asks "Save" / "Don't Save" / "Cancel".
    // "Save" gives true only if the save succeeded; "Don't Save" gives true; anything else false.
    bool confirmDiscardChanges(WorkspaceState& workspace);
    // After an open: a warning listing the tracks whose audio file is gone; nothing if none is.
    void warnMissingAudio(const WorkspaceState& workspace);

    // "<track number> – <file name>" for every track whose audioFileURL names no existing file, in
    // running order. Takes in the stack are not checked.
    static std::vector<std::string> missingAudioLines(const CDProject& project, const FileExists& fileExists);
    // The warning's text for these lines: the first 8 and, from 9 on, "\n… and N more".
    static std::string missingAudioText(const std::vector<std::string>& lines);
    // A file URL whose local path exists.
    static bool audioFileExists(const FileURL& url);

    // Replaced in tests to point at made-up files.
    void setFileExists(FileExists fileExists) { fileExists_ = std::move(fileExists); }

  private:
    bool openChosen(WorkspaceState& workspace, const std::filesystem::path& url);
    bool saveTo(WorkspaceState& workspace, const std::filesystem::path& url);
    void showError(const std::string& title, const std::string& text);

    PanelHost& host_;
    RecentProjectsStore& recent_;
    FileExists fileExists_;
};

} // namespace orvane
