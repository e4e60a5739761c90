#include "app/DeliveryCommands.h"

#include "app/AppDialogs.h"
#include "app/MainWindow.h"
#include "app/OrvaneApp.h"
#include "app/ProgressWindow.h"
#include "app/QtPanelHost.h"
#include "delivery/BatchDelivery.h"
#include "delivery/CUEExporter.h"
#include "delivery/CUEImporter.h"
#include "delivery/DDPReader.h"
#include "delivery/PQSheetBuilder.h"
#include "delivery/PreviewExporter.h"
#include "model/TimelineCalculator.h"
#include "platform/UserCancelledError.h"
#include "render/Exporter.h"

#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QUrl>
#include <cctype>
#include <system_error>

namespace orvane::app::DeliveryCommands {

namespace {

namespace fs = std::filesystem;

const std::string revealButton = "Show in File Manager";

// The disc as it stands now, laid out; nothing (after the alert) when it cannot be exported.
struct Disc {
    CDProject project;
    std::vector<TrackPosition> positions;
};

void alert(OrvaneApp& app, const std::string& title, const std::string& text, AlertStyle style,
           std::vector<std::string> buttons = {"OK"}) {
    QtPanelHost host;
    host.setParentWindow(&app.window());
    host.showAlert(AlertRequest{title, text, std::move(buttons), style});
}

// The success alert with the file manager's button, which opens the folder holding `result`.
void announce(OrvaneApp& app, const std::string& title, const std::string& text, const fs::path& result) {
    QtPanelHost host;
    host.setParentWindow(&app.window());
    const auto answer =
        host.showAlert(AlertRequest{title, text, {revealButton, "OK"}, AlertStyle::informational});
    if (answer == 0) {
        QDesktopServices::openUrl(QUrl::fromLocalFile(QString::fromStdString(result.parent_path().string())));
    }
}

std::optional<Disc> currentDisc(OrvaneApp& app, const std::string& failureTitle) {
    Disc disc{app.workspace().project(), {}};
    if (disc.project.tracks.empty()) {
        alert(app, "Nothing to Export", "Project contains no tracks.", AlertStyle::warning);
        return std::nullopt;
    }
    auto positions = TimelineCalculator::calculatePositions(disc.project);
    if (!positions) {
        alert(app, failureTitle, "The disc cannot be laid out: " + positions.error().description() + ".",
              AlertStyle::warning);
        return std::nullopt;
    }
    disc.positions = std::move(*positions);
    return disc;
}

// The user's text of what a job threw; nothing for a cancel, which shows no alert.
std::optional<std::string> failureText(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const UserCancelledError&) {
        return std::nullopt;
    } catch (const ExportError& e) {
        return e.message;
    } catch (const PreviewExportError& e) {
        return e.message;
    } catch (const std::exception& e) {
        return std::string(e.what());
    } catch (...) {
        return std::string("An unknown error occurred.");
    }
}

// Runs the job in a progress window; true when it finished, false after a cancel or a failure (whose
// alert, titled `failureTitle`, has then been shown).
bool runJob(OrvaneApp& app, const QString& title, const std::string& failureTitle,
            const std::function<void(const ProgressReport&)>& job) {
    const ProgressOutcome outcome = runWithProgress(&app.window(), title, job);
    if (outcome.error) {
        if (const auto text = failureText(outcome.error)) {
            alert(app, failureTitle, *text, AlertStyle::warning);
        }
        return false;
    }
    return !outcome.cancelled;
}

// Where the panels open: beside the project's document, else the home folder.
fs::path startFolder(OrvaneApp& app) {
    if (const auto& document = app.workspace().projectFileURL()) {
        return document->parent_path();
    }
    return fs::path(QDir::homePath().toStdString());
}

std::string firstLetterLowered(std::string text) {
    if (!text.empty()) {
        text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
    }
    return text;
}

QString qs(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

} // namespace

// --- CUE import ---

void importCUE(OrvaneApp& app) {
    // Asked first, so a refusal costs no panel and no extraction.
    if (!app.panels().confirmDiscardChanges(app.workspace())) {
        return;
    }
    const auto sheet = DeliveryDialogs::chooseCUESheet(&app.window(), startFolder(app));
    if (!sheet) {
        return;
    }
    fs::path parent = sheet->parent_path();
    if (!QFileInfo(QString::fromStdString(parent.string())).isWritable()) {
        const auto chosen = AppDialogs::chooseFolder(
            &app.window(), "Choose Audio Folder Location",
            "The source location is read-only \u2014 choose where the extracted audio files should go",
            "Choose");
        if (!chosen) {
            return;
        }
        parent = *chosen;
    }
    runCUEImport(app, *sheet, parent);
}

bool runCUEImport(OrvaneApp& app, const fs::path& sheet, const fs::path& audioParent) {
    const fs::path audioFolder = DDPReader::freeAudioFolder(audioParent, sheet.stem().string());
    std::error_code probe;
    const bool folderWasFree = !fs::exists(audioFolder, probe) && !probe;
    std::optional<tl::expected<CDProject, CUEImportError>> result;
    const auto outcome =
        runWithProgress(&app.window(), QStringLiteral("Import CUE"), [&](const ProgressReport& report) {
            report(0.0, "Reading CUE sheet\u2026");
            result =
                CUEImporter::importCUE(sheet, audioFolder, [&](std::string_view status, double fraction) {
                    return report(fraction, std::string(status));
                });
        });
    const bool imported = !outcome.cancelled && !outcome.error && result && *result;
    if (!imported && folderWasFree) {
        // The folder was free before the import, so whatever is in it is this import's half-work.
        std::error_code ignored;
        fs::remove_all(audioFolder, ignored);
    }
    if (outcome.error) {
        if (const auto text = failureText(outcome.error)) {
            alert(app, "CUE Import Failed", *text, AlertStyle::critical);
        }
        return false;
    }
    if (outcome.cancelled || !result) {
        return false;
    }
    if (!*result) {
        if (!result->error().isCancel()) {
            alert(app, "CUE Import Failed", result->error().message(), AlertStyle::critical);
        }
        return false;
    }
    // A sheet of files a track leaves the folder untouched; an empty one would only confuse.
    std::error_code ignored;
    fs::remove(audioFolder, ignored); // removes only an empty folder
    app.workspace().importProject(std::move(**result));
    return true;
}

// --- CUE + image ---

void exportCUEImage(OrvaneApp& app) {
    if (app.workspace().project().tracks.empty()) {
        alert(app, "Nothing to Export", "Project contains no tracks.", AlertStyle::warning);
        return;
    }
    std::string name = DeliveryDialogs::trimmed(app.workspace().project().albumTitle);
    for (char& c : name) {
        if (c == '/' || c == ':') {
            c = '-';
        }
    }
    const auto cue = DeliveryDialogs::chooseCUETarget(&app.window(), startFolder(app),
                                                      (name.empty() ? "Disc" : name) + ".cue");
    if (cue) {
        runCUEExport(app, *cue);
    }
}

std::optional<fs::path> runCUEExport(OrvaneApp& app, const fs::path& cue) {
    const auto disc = currentDisc(app, "CUE Export Failed");
    if (!disc) {
        return std::nullopt;
    }
    const bool done = runJob(
        app, QStringLiteral("Export CUE + Image"), "CUE Export Failed", [&](const ProgressReport& report) {
            report(0.0, "Rendering disc\u2026");
            CUEExporter::exportCUE(disc->project, disc->positions, cue, [&](double f) {
                return report(f, f < 0.6 ? "Rendering disc\u2026" : "Writing WAV image\u2026");
            });
        });
    if (!done) {
        return std::nullopt;
    }
    alert(app, "Export Successful", "CUE sheet and WAV image written to:\n" + cue.string(),
          AlertStyle::informational);
    return cue;
}

// --- Track files ---

void exportTracks(OrvaneApp& app, AudioExporter::Format format) {
    if (app.workspace().project().tracks.empty()) {
        alert(app, "Nothing to Export", "Project contains no tracks.", AlertStyle::warning);
        return;
    }
    if (const auto folder = DeliveryDialogs::chooseTracksFolder(&app.window(), startFolder(app),
                                                                AudioExporter::shortName(format))) {
        runTracksExport(app, format, *folder);
    }
}

std::optional<fs::path> runTracksExport(OrvaneApp& app, AudioExporter::Format format,
                                        const fs::path& folder) {
    const auto disc = currentDisc(app, "Export Failed");
    if (!disc) {
        return std::nullopt;
    }
    std::size_t written = 0;
    const QString title = QStringLiteral("Export %1 Tracks").arg(qs(AudioExporter::shortName(format)));
    const bool done = runJob(app, title, "Export Failed", [&](const ProgressReport& report) {
        report(0.0, "Rendering disc\u2026");
        written =
            AudioExporter::exportTrackFiles(disc->project, disc->positions, folder, format, [&](double f) {
                return report(f, f < 0.7 ? "Rendering disc\u2026" : "Writing track files\u2026");
            });
    });
    if (!done) {
        return std::nullopt;
    }
    alert(app, "Export Successful",
          std::to_string(written) + (written == 1 ? " track" : " tracks") + " exported to:\n" +
              folder.string(),
          AlertStyle::informational);
    return folder;
}

// --- Client preview ---

void exportPreview(OrvaneApp& app, PreviewFormat format) {
    if (app.workspace().project().tracks.empty()) {
        alert(app, "Nothing to Export", "Project contains no tracks.", AlertStyle::warning);
        return;
    }
    if (const auto choice =
            DeliveryDialogs::choosePreview(&app.window(), startFolder(app), format, app.defaults())) {
        runPreviewExport(app, format, *choice);
    }
}

std::optional<fs::path> runPreviewExport(OrvaneApp& app, PreviewFormat format, const PreviewChoice& choice) {
    const auto disc = currentDisc(app, "Preview Export Failed");
    if (!disc) {
        return std::nullopt;
    }
    const std::string shown(PreviewExporter::shownName(format));
    const std::string encoding =
        format == PreviewFormat::quality ? "Encoding FLAC\u2026" : "Encoding AAC\u2026";
    fs::path result;
    const bool done = runJob(
        app, QStringLiteral("Exporting %1 Preview").arg(QString::fromStdString(shown)),
        "Preview Export Failed", [&](const ProgressReport& report) {
            report(0.0, "Rendering audio\u2026");
            result = PreviewExporter::exportPreview(
                disc->project, disc->positions, format, choice.folder, choice.approvalEmail, std::nullopt,
                [&](double f) { return report(f, f < 0.7 ? "Rendering audio\u2026" : encoding); });
            if (!choice.zip) {
                return;
            }
            report(1.0, choice.password.empty() ? "Packaging .zip\u2026" : "Packaging encrypted .zip\u2026");
            const fs::path zip = PreviewExporter::zipBundle(result, choice.password);
            std::error_code ignored; // the zip holds it; a leftover copy does no harm
            fs::remove_all(result, ignored);
            result = zip;
        });
    if (!done) {
        return std::nullopt;
    }
    const std::string hint =
        format == PreviewFormat::smartphone
            ? "Open the .html in any browser \u2014 audio is embedded, so it works on phones too."
            : "Open player.html in a browser \u2014 the audio loads automatically.";
    std::string text;
    if (choice.zip) {
        text = shown + " preview packaged to:\n" + result.string() + "\n\n";
        if (!choice.password.empty()) {
            text += "The .zip is password-protected. Send the password to the client separately.\n\n";
        }
        text += "Unzip, then " + firstLetterLowered(hint);
    } else {
        text = shown + " preview written to:\n" + result.string() + "\n\n" + hint;
    }
    announce(app, "Preview Exported", text, result);
    return result;
}

// --- Batch delivery ---

void batchDelivery(OrvaneApp& app) {
    if (app.workspace().project().tracks.empty()) {
        alert(app, "Nothing to Export", "Project contains no tracks.", AlertStyle::warning);
        return;
    }
    if (const auto choice = DeliveryDialogs::chooseBatch(&app.window(), startFolder(app), app.defaults())) {
        runBatchDelivery(app, *choice);
    }
}

std::optional<fs::path> runBatchDelivery(OrvaneApp& app, const BatchChoice& choice) {
    const auto& c = choice.components;
    if (!c.ddp && !c.wav && !c.preview && !c.pqSheet) {
        alert(app, "Nothing Selected",
              "Select at least one delivery component (DDP, WAV, preview or PQ sheet).", AlertStyle::warning);
        return std::nullopt;
    }
    const auto disc = currentDisc(app, "Batch Delivery Failed");
    if (!disc) {
        return std::nullopt;
    }
    // Made here, from the project as it stands, before the job leaves the GUI thread.
    std::vector<BatchDelivery::PQFile> pqFiles;
    if (c.pqSheet) {
        const auto sheet = PQSheetBuilder::exportFiles(
            disc->project, disc->positions, PQSheetBuilder::storedLoudness(disc->project), std::nullopt);
        if (!sheet) {
            alert(app, "Batch Delivery Failed", sheet.error(), AlertStyle::warning);
            return std::nullopt;
        }
        pqFiles.emplace_back(std::string(PQSheetBuilder::pdfFileName), sheet->pdf);
        pqFiles.emplace_back(std::string(PQSheetBuilder::csvFileName), sheet->csv);
    }
    fs::path folder;
    const bool done = runJob(
        app, QStringLiteral("Batch Delivery"), "Batch Delivery Failed", [&](const ProgressReport& report) {
            report(0.0, "Preparing\u2026");
            folder =
                BatchDelivery::exportDelivery(disc->project, disc->positions, choice.folder, c,
                                              choice.previewFormat, choice.approvalEmail, pqFiles, report);
        });
    if (!done) {
        return std::nullopt;
    }
    std::vector<std::string> parts;
    if (c.ddp) {
        parts.emplace_back("DDP fileset");
    }
    if (c.wav) {
        parts.emplace_back("WAV tracks");
    }
    if (c.preview) {
        parts.push_back("client preview (" + std::string(PreviewExporter::shownName(choice.previewFormat)) +
                        ")");
    }
    if (c.pqSheet) {
        parts.emplace_back("PQ sheet");
    }
    std::string text;
    for (const auto& part : parts) {
        text += (text.empty() ? "" : ", ") + part;
    }
    // "folder/" has the folder itself as its parent, so the file manager opens inside the delivery.
    announce(app, "Batch Delivery Complete", text + " written to:\n" + folder.string(), folder / "");
    return folder;
}

} // namespace orvane::app::DeliveryCommands
