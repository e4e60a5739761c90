#pragma once
// The question at start after an unclean end: if a recovery copy is there, offer to restore it
// ("Restore") or throw it away ("Discard"). A damaged or too new copy is deleted without asking.
// Main thread, once, before the first window's work begins.

#include "model/Timestamp.h"
#include "workspace/AutosaveStore.h"
#include "workspace/PanelHost.h"

#include <filesystem>
#include <functional>
#include <string>

namespace orvane {

class WorkspaceState;

namespace CrashRecoveryPrompt {

// The date as the user's locale writes it (medium date, short time); the shell supplies it.
using DateFormatter = std::function<std::string(Timestamp)>;

// The alert for this copy: "Restore Auto-Saved Project?", its message, "Restore" then "Discard".
AlertRequest alertFor(const RecoveryFile& file, const DateFormatter& formatDate);

enum class Outcome { noCopy, discardedUnreadable, restored, discarded };

// Asks about the copy in `directory` and acts on the answer. Dismissing the alert counts as "Discard".
Outcome runIfNeeded(WorkspaceState& workspace, PanelHost& host, const std::filesystem::path& directory,
                    const DateFormatter& formatDate);

} // namespace CrashRecoveryPrompt

} // namespace orvane
