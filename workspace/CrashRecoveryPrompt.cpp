#include "workspace/CrashRecoveryPrompt.h"

#include "workspace/WorkspaceState.h"

namespace orvane::CrashRecoveryPrompt {

AlertRequest alertFor(const RecoveryFile& file, const DateFormatter& formatDate) {
    AlertRequest alert;
    alert.message = "Restore Auto-Saved Project?";
    alert.informativeText =
        "Orvane did not shut down properly. An auto-saved copy of \u201c" + AutosaveStore::displayName(file) +
        "\u201d from " + (formatDate ? formatDate(file.savedAt) : file.savedAt.iso8601()) + " is available.";
    alert.buttons = {"Restore", "Discard"};
    alert.style = AlertStyle::warning;
    return alert;
}

Outcome runIfNeeded(WorkspaceState& workspace, PanelHost& host, const std::filesystem::path& directory,
                    const DateFormatter& formatDate) {
    if (!AutosaveStore::exists(directory)) {
        return Outcome::noCopy;
    }
    const auto file = AutosaveStore::load(directory);
    if (!file) {
        AutosaveStore::clear(directory);
        return Outcome::discardedUnreadable;
    }
    if (host.showAlert(alertFor(*file, formatDate)) == 0) {
        workspace.restoreFromRecovery(*file);
        return Outcome::restored;
    }
    AutosaveStore::clear(directory);
    return Outcome::discarded;
}

} // namespace orvane::CrashRecoveryPrompt
