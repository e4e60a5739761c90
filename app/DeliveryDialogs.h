#pragma once
// The panels of the delivery commands: where a CUE sheet comes from or goes, the folder for track
// files, the client preview's folder with its address, zip and password, and the batch delivery's
// folder with its parts. Each is Qt's own folder or file dialog with the command's fields under it,
// preset from and stored to the per-user defaults where the setting is kept. GUI thread; each is
// modal.

#include "delivery/BatchDelivery.h"
#include "delivery/PreviewManifest.h"
#include "platform/DefaultsStore.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

class QWidget;

namespace orvane::app {

namespace DeliveryKeys {
inline constexpr std::string_view approvalEmail = "OrvaneApprovalEmail";
inline constexpr std::string_view batchIncludeDDP = "batchIncludeDDP";
inline constexpr std::string_view batchIncludeWAV = "batchIncludeWAV";
inline constexpr std::string_view batchIncludePreview = "batchIncludePreview";
inline constexpr std::string_view batchIncludePQ = "batchIncludePQ";
inline constexpr std::string_view batchPreviewFormat = "batchPreviewFormat";
} // namespace DeliveryKeys

struct PreviewChoice {
    std::filesystem::path folder;
    std::string approvalEmail; // trimmed
    bool zip = false;
    std::string password; // as typed; never stored
};

struct BatchChoice {
    std::filesystem::path folder;
    BatchDelivery::Components components;
    PreviewFormat previewFormat = PreviewFormat::quality;
    std::string approvalEmail; // trimmed
};

namespace DeliveryDialogs {

// The text without blanks, tabs and line ends around it.
std::string trimmed(std::string_view text);

// The stored choices: the address as last given, the batch parts on unless turned off, the
// preview format by its index (quality when unset or out of range).
std::string storedApprovalEmail(const DefaultsStore& defaults);
BatchChoice storedBatchChoice(const DefaultsStore& defaults);
void storeBatchChoice(DefaultsStore& defaults, const BatchChoice& choice);

// Each panel opens in `startFolder`; nothing comes back when it is cancelled.

// "Import CUE Sheet": one .cue file.
std::optional<std::filesystem::path> chooseCUESheet(QWidget* parent,
                                                    const std::filesystem::path& startFolder);
// "Export CUE + Image": where the sheet goes; its name is preset to `suggestedName`.
std::optional<std::filesystem::path>
chooseCUETarget(QWidget* parent, const std::filesystem::path& startFolder, const std::string& suggestedName);
// "Export Tracks as WAV" / "… as AIFF": one folder, which may be made in the panel.
std::optional<std::filesystem::path>
chooseTracksFolder(QWidget* parent, const std::filesystem::path& startFolder, std::string_view formatName);
// "Select Output Folder for Preview — <format>": the folder with the address (stored on OK), the
// zip box and the password.
std::optional<PreviewChoice> choosePreview(QWidget* parent, const std::filesystem::path& startFolder,
                                           PreviewFormat format, DefaultsStore& defaults);
// "Select Output Folder for Batch Delivery": the folder and the parts, all stored on OK.
std::optional<BatchChoice> chooseBatch(QWidget* parent, const std::filesystem::path& startFolder,
                                       DefaultsStore& defaults);

} // namespace DeliveryDialogs

} // namespace orvane::app
