#pragma once
// The program's own small windows: the DDP export target, folder choices, the validation report,
// the PQ sheet panel, the shortcut overlay and "About Orvane". GUI thread; each is modal.

#include "model/ProjectValidator.h"
#include "model/ValidationIssue.h"

#include <filesystem>
#include <optional>
#include <span>
#include <string>

class QWidget;

namespace orvane::app {

class OrvaneApp;

struct DDPExportChoice {
    std::filesystem::path folder;
    bool includePQSheet = false;
};

namespace AppDialogs {

// "Select Output Directory for DDP/CUE Export" with "Include PQ sheet (PDF + CSV)" preset.
std::optional<DDPExportChoice> chooseDDPExport(QWidget* parent, bool includePQSheet);
// One folder, or nothing when cancelled.
std::optional<std::filesystem::path> chooseFolder(QWidget* parent, const std::string& title,
                                                  const std::string& message, const std::string& button);
void showValidationReport(QWidget* parent, const ValidationReport& report,
                          std::span<const ValidationIssue> issues);
// The PQ sheet panel: head lines and columns on the left, the sheet as it will print on the right,
// following every change; "Export PDF + CSV…" writes both files into a chosen folder.
void showPQSheet(QWidget* parent, OrvaneApp& app);
void showShortcuts(QWidget* parent);
void showAbout(QWidget* parent);

} // namespace AppDialogs

} // namespace orvane::app
