#pragma once
// The seam to the platform's modal alerts and file dialogs. The desktop shell implements it with
// its own windows; tests script it. Every call is modal and made on the main thread.

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace orvane {

enum class AlertStyle { informational, warning, critical };

struct AlertRequest {
    std::string message;              // the bold first line, e.g. "Open Failed"
    std::string informativeText;      // the text below it
    std::vector<std::string> buttons; // left to right as the user reads them; the first is the default
    AlertStyle style = AlertStyle::warning;

    bool operator==(const AlertRequest&) const = default;
};

struct OpenPanelRequest {
    std::string title;
    std::vector<std::string> allowedExtensions; // without dots, compared without case
    bool canChooseFiles = true;
    bool canChooseDirectories = false;
    bool allowsMultipleSelection = false;

    bool operator==(const OpenPanelRequest&) const = default;
};

struct SavePanelRequest {
    std::string title;
    std::string proposedName; // without extension
    std::string extension;    // without dot
    bool canCreateDirectories = true;

    bool operator==(const SavePanelRequest&) const = default;
};

class PanelHost {
  public:
    virtual ~PanelHost() = default;

    // The index in `buttons` of the button pressed; any other value when the alert was dismissed
    // without one.
    virtual std::size_t showAlert(const AlertRequest& request) = 0;
    // The chosen file, or nothing when cancelled.
    virtual std::optional<std::filesystem::path> runOpenPanel(const OpenPanelRequest& request) = 0;
    // The chosen target, or nothing when cancelled.
    virtual std::optional<std::filesystem::path> runSavePanel(const SavePanelRequest& request) = 0;
};

} // namespace orvane
