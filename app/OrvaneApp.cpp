#include "app/OrvaneApp.h"

#include "app/AppDialogs.h"
#include "app/HelpViewer.h"
#include "app/MainWindow.h"
#include "app/ProgressWindow.h"
#include "app/ReportPanel.h"
#include "delivery/CDTextEncoder.h"
#include "delivery/DDPExport.h"
#include "delivery/DDPImportError.h"
#include "delivery/DDPReader.h"
#include "delivery/DDPVerifier.h"
#include "delivery/DDPWriter.h"
#include "delivery/PQSheetBuilder.h"
#include "model/ProjectValidator.h"
#include "model/TimelineCalculator.h"
#include "platform/UserCancelledError.h"
#include "workspace/AutosaveStore.h"
#include "workspace/CrashRecoveryPrompt.h"
#include "workspace/ProjectStore.h"

#include <QDateTime>
#include <QFileInfo>
#include <QLocale>
#include <QTimer>
#include <algorithm>
#include <cctype>

namespace orvane::app {

namespace {

std::unique_ptr<AudioOutput> makeOutput(bool offlineOnly) {
    if (offlineOnly) {
        return std::make_unique<OfflineAudioOutput>();
    }
    return makeSystemAudioOutput();
}

std::string lowercaseExtension(const std::filesystem::path& path) {
    std::string extension = path.extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return extension;
}

std::string localDate(Timestamp stamp) {
    const QDateTime time = QDateTime::fromSecsSinceEpoch(stamp.secondsSinceEpoch).toLocalTime();
    const QLocale locale;
    return (locale.toString(time.date(), QLocale::ShortFormat) + QStringLiteral(", ") +
            locale.toString(time.time(), QLocale::ShortFormat))
        .toStdString();
}

} // namespace

OrvaneApp::OrvaneApp(AppOptions options)
    : options_(std::move(options)), defaults_(DefaultsStore::defaultFilePath()), settings_(defaults_),
      loop_(options_.clock), recent_(defaults_), panels_(panelHost_, recent_) {
    AppSettings::migrateLegacyDefaultsIfNeeded(defaults_, AppSettings::legacyDefaultsFilePath());
    driver_ = std::make_unique<MainLoopDriver>(loop_, this);
    output_ = makeOutput(options_.offlineAudio);
    auto engine = std::make_unique<PlaybackEngine>(loop_, defaults_, *output_);
    engine_ = engine.get();
    workspace_ = std::make_unique<WorkspaceState>(loop_, std::move(engine), defaults_);
    peakHooks_ = std::make_unique<PeakHooks>(*workspace_, loop_);
    deviceManager_ = std::make_unique<AudioDeviceManager>(*output_, defaults_, &loop_);
    deviceManager_->attach(*engine_);
    deviceManager_->installListeners();
    workspace_->startAutosaveTimer(AutosaveStore::defaultDirectory());
    workspace_->recalculateTimeline(ReloadPlayback::yes);
    recent_.setOnChange([this] {
        if (onRecentChanged) {
            onRecentChanged();
        }
    });
    loudness_ = std::make_unique<LoudnessCommands>(*workspace_, loop_, panelHost_);
    window_ = std::make_unique<MainWindow>(*this);
    panelHost_.setParentWindow(window_.get());
    loudness_->setParentWindow(window_.get());
}

OrvaneApp::~OrvaneApp() {
    help_.reset();
    window_.reset();
    loudness_.reset();
    peakHooks_.reset();
    deviceManager_->detach();
    deviceManager_.reset();
    workspace_.reset(); // the engine goes with it, before the output it plays on
    output_.reset();
}

void OrvaneApp::showWindow() {
    window_->show();
    // After the present event, so the question stands over a finished window.
    QTimer::singleShot(0, this, [this] {
        runRecoveryPrompt();
        openPendingProject();
    });
}

void OrvaneApp::runRecoveryPrompt() {
    if (recoveryAsked_) {
        return;
    }
    recoveryAsked_ = true;
    CrashRecoveryPrompt::runIfNeeded(*workspace_, panelHost_, workspace_->recoveryDirectory(), localDate);
}

void OrvaneApp::openDocuments(const std::vector<std::filesystem::path>& urls) {
    for (const auto& url : urls) {
        const std::string extension = lowercaseExtension(url);
        if (extension == ".ovproj" || extension == ".ovt") {
            pendingProjectURL_ = url;
            break;
        }
    }
    if (pendingProjectURL_ && window_->isVisible() && recoveryAsked_) {
        QTimer::singleShot(0, this, [this] { openPendingProject(); });
    }
}

void OrvaneApp::openPendingProject() {
    if (!pendingProjectURL_) {
        return;
    }
    const std::filesystem::path url = *std::exchange(pendingProjectURL_, std::nullopt);
    if (panels_.confirmDiscardChanges(*workspace_)) {
        panels_.openRecent(*workspace_, url);
    }
}

bool OrvaneApp::shouldTerminate() {
    if (workspace_->isModified() && !panels_.confirmDiscardChanges(*workspace_)) {
        return false;
    }
    workspace_->clearAutosaveForTermination();
    return true;
}

void OrvaneApp::showError(const std::string& title, const std::string& text) {
    panelHost_.showAlert(AlertRequest{title, text, {"OK"}, AlertStyle::warning});
}

// --- Documents ---

void OrvaneApp::openProject() {
    if (panels_.confirmDiscardChanges(*workspace_)) {
        panels_.open(*workspace_);
    }
}

void OrvaneApp::openRecent(const std::filesystem::path& url) {
    if (panels_.confirmDiscardChanges(*workspace_)) {
        panels_.openRecent(*workspace_, url);
    }
}

void OrvaneApp::clearRecent() {
    recent_.clear();
}

bool OrvaneApp::saveProject() {
    return panels_.save(*workspace_);
}

bool OrvaneApp::saveProjectAs() {
    return panels_.saveAs(*workspace_);
}

void OrvaneApp::closeProject() {
    if (panels_.confirmDiscardChanges(*workspace_)) {
        workspace_->closeProject();
    }
}

void OrvaneApp::addFiles(const std::vector<std::filesystem::path>& files) {
    // Each on its own, with no insertion point: several land at the end in order.
    for (const auto& file : files) {
        workspace_->addDroppedFiles({file});
    }
}

// --- Delivery ---

void OrvaneApp::exportDDP() {
    const auto choice = AppDialogs::chooseDDPExport(window_.get(), settings_.exportIncludePQSheet());
    if (!choice) {
        return;
    }
    settings_.setExportIncludePQSheet(choice->includePQSheet);
    const CDProject project = workspace_->project();
    const auto positions = TimelineCalculator::calculatePositions(project);
    if (!positions) {
        showError("Export Failed", "The disc cannot be laid out: " + positions.error().description() + ".");
        return;
    }
    std::vector<Exporter::ExtraFile> extras;
    if (choice->includePQSheet) {
        const auto sheet = PQSheetBuilder::exportFiles(project, *positions, loudness_->figureMap(),
                                                       loudness_->store().albumLoudness());
        if (!sheet) {
            showError("Export Failed", sheet.error());
            return;
        }
        extras.emplace_back(std::string(PQSheetBuilder::pdfFileName), sheet->pdf);
        extras.emplace_back(std::string(PQSheetBuilder::csvFileName), sheet->csv);
    }
    const auto target = choice->folder;
    const auto outcome =
        runWithProgress(window_.get(), QStringLiteral("Export DDP"), [&](const ProgressReport& report) {
            Exporter::exportDDP(project, *positions, target, extras, report);
        });
    if (outcome.cancelled) {
        return;
    }
    if (outcome.error) {
        try {
            std::rethrow_exception(outcome.error);
        } catch (const UserCancelledError&) {
            return;
        } catch (const ExportError& error) {
            showError("Export Failed", error.message);
        } catch (const std::exception& error) {
            showError("Export Failed", error.what());
        }
        return;
    }
    panelHost_.showAlert(AlertRequest{"Export Successful",
                                      "DDP 2.00 fileset exported to:\n" + target.string(),
                                      {"OK"},
                                      AlertStyle::informational});
}

void OrvaneApp::importDDP() {
    // Asked first, so a refusal costs no extraction.
    if (!panels_.confirmDiscardChanges(*workspace_)) {
        return;
    }
    const auto folder = AppDialogs::chooseFolder(
        window_.get(), "Import DDP Fileset",
        "Choose the folder containing the DDP fileset (DDPID, DDPMS, PQDESCR, IMAGE.DAT)", "Import");
    if (!folder) {
        return;
    }
    std::filesystem::path parent = folder->parent_path();
    if (!QFileInfo(QString::fromStdString(parent.string())).isWritable()) {
        const auto chosen = AppDialogs::chooseFolder(
            window_.get(), "Choose Audio Folder Location",
            "The source location is read-only \u2014 choose where the extracted audio files should go",
            "Choose");
        if (!chosen) {
            return;
        }
        parent = *chosen;
    }
    const auto audioFolder = DDPReader::freeAudioFolder(parent, folder->filename().string());
    std::optional<tl::expected<CDProject, DDPImportError>> result;
    const auto outcome =
        runWithProgress(window_.get(), QStringLiteral("Import DDP"), [&](const ProgressReport& report) {
            report(0.0, "Reading fileset\u2026");
            result =
                DDPReader::importDDP(*folder, audioFolder, [&](std::string_view status, double fraction) {
                    return report(fraction, std::string(status));
                });
        });
    if (outcome.cancelled || !result) {
        return;
    }
    if (!*result) {
        if (!result->error().isCancel()) {
            showError("DDP Import Failed", result->error().message());
        }
        return;
    }
    workspace_->importProject(std::move(**result));
}

void OrvaneApp::verifyDDP() {
    const auto folder =
        AppDialogs::chooseFolder(window_.get(), "Verify DDP Fileset",
                                 "Choose the folder containing the DDP fileset to verify", "Verify");
    if (!folder) {
        return;
    }
    std::optional<std::vector<ValidationIssue>> issues;
    runWithProgress(window_.get(), QStringLiteral("Verify DDP"), [&](const ProgressReport& report) {
        report(0.0, "Reading fileset\u2026");
        issues = DDPVerifier::verify(*folder, [&](std::string_view status, double fraction) {
            return report(fraction, std::string(status));
        });
    });
    if (!issues) {
        return;
    }
    const bool errors = std::any_of(issues->begin(), issues->end(), [](const ValidationIssue& issue) {
        return issue.severity == ValidationIssue::Severity::error;
    });
    panelHost_.showAlert(AlertRequest{DDPVerifier::reportTitle(*issues),
                                      DDPVerifier::reportText(*issues),
                                      {"OK"},
                                      errors ? AlertStyle::critical : AlertStyle::informational});
}

void OrvaneApp::validateProject() {
    const CDProject& project = workspace_->project();
    const auto positions = TimelineCalculator::calculatePositions(project);
    const std::vector<TrackPosition> laidOut = positions ? *positions : std::vector<TrackPosition>{};
    const auto issues =
        ProjectValidator::validate(project, laidOut, DDPWriter::cdTextBlockPackCounts(project));
    const auto report =
        ProjectValidator::report(issues, ProjectValidator::kValidTitle, ProjectValidator::kValidText);
    AppDialogs::showValidationReport(window_.get(), report, issues);
}

void OrvaneApp::showPQSheet() {
    AppDialogs::showPQSheet(window_.get(), *this);
}

void OrvaneApp::analyzeLoudness() {
    loudness_->analyzeAlbum();
}

void OrvaneApp::showMasteringReport() {
    ReportPanel panel(*workspace_, *loudness_, defaults_, panelHost_, window_.get());
    panel.exec();
}

void OrvaneApp::showShortcuts() {
    AppDialogs::showShortcuts(window_.get());
}

void OrvaneApp::showHelp() {
    if (!help_) {
        help_ = std::make_unique<HelpViewer>();
    }
    help_->show();
    help_->raise();
    help_->activateWindow();
}

void OrvaneApp::showAbout() {
    AppDialogs::showAbout(window_.get());
}

} // namespace orvane::app
