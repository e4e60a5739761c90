#include "app/DeliveryDialogs.h"

#include "app/Theme.h"
#include "delivery/PreviewExporter.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QFileDialog>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>
#include <algorithm>
#include <array>

namespace orvane::app::DeliveryDialogs {

namespace {

namespace fs = std::filesystem;

constexpr std::array previewFormats{PreviewFormat::quality, PreviewFormat::light, PreviewFormat::smartphone};

bool storedFlag(const DefaultsStore& defaults, std::string_view key) {
    // A part never chosen counts as on, so a first delivery has everything.
    return defaults.boolValue(key).value_or(true);
}

// A folder panel (or, set so, a file panel): the title as a heading (a sheet or a bare X server shows no
// title bar), Qt's own folder browser, which can make folders, and the command's fields under it. The
// browser's "Export" and "Cancel" end the panel.
class FolderPanel final {
  public:
    FolderPanel(QWidget* parent, const QString& title, const QString& name, const fs::path& startFolder)
        : dialog_(parent) {
        dialog_.setObjectName(name);
        dialog_.setWindowTitle(title);
        dialog_.resize(820, 560);
        auto* layout = new QVBoxLayout(&dialog_);
        layout->setContentsMargins(18, 14, 18, 12);
        layout->setSpacing(8);
        auto* heading = new QLabel(title);
        heading->setObjectName(QStringLiteral("panelTitle"));
        QFont font = heading->font();
        font.setPointSizeF(font.pointSizeF() * 1.25);
        font.setBold(true);
        heading->setFont(font);
        layout->addWidget(heading);
        browser_ = new QFileDialog(&dialog_);
        browser_->setWindowFlags(Qt::Widget); // inside the panel, not a window of its own
        browser_->setOption(QFileDialog::DontUseNativeDialog);
        browser_->setFileMode(QFileDialog::Directory);
        browser_->setOption(QFileDialog::ShowDirsOnly);
        browser_->setLabelText(QFileDialog::Accept, QStringLiteral("Export"));
        browser_->setSizeGripEnabled(false);
        browser_->setDirectory(QString::fromStdString(startFolder.string()));
        layout->addWidget(browser_, 1);
        // The heading starts where the browser's own rows do.
        heading->setContentsMargins(browser_->layout()->contentsMargins().left(), 0, 0, 0);
        browser_->setVisible(true); // a dialog stays hidden, even inside another, until shown
        QObject::connect(browser_, &QDialog::finished, &dialog_, &QDialog::done);
    }

    // The browser itself, for a panel that chooses a file rather than a folder.
    QFileDialog& browser() { return *browser_; }

    // A row of the command's own under the browser's rows, its label and field in the browser's own
    // columns so that they line up with "Directory:" and "Files of type:".
    void addRow(const QString& label, QWidget* field) {
        auto* grid = qobject_cast<QGridLayout*>(browser_->layout());
        if (!grid) {
            return;
        }
        const int row = grid->rowCount();
        if (!label.isEmpty()) {
            // A label of a block of several lines stands beside its first line.
            auto* text = new QLabel(label);
            const bool tall = field->sizeHint().height() > 2 * text->sizeHint().height();
            grid->addWidget(text, row, 0, tall ? Qt::AlignTop : Qt::Alignment());
            if (tall) {
                text->setContentsMargins(0, 7, 0, 0);
            }
        }
        grid->addWidget(field, row, 1, 1, std::max(1, grid->columnCount() - 2));
    }
    void addRow(QWidget* field) { addRow(QString(), field); }

    std::optional<fs::path> run() {
        if (dialog_.exec() != QDialog::Accepted || browser_->selectedFiles().isEmpty()) {
            return std::nullopt;
        }
        return fs::path(browser_->selectedFiles().front().toStdString());
    }

  private:
    QDialog dialog_;
    QFileDialog* browser_ = nullptr;
};

QString qs(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

QLineEdit* approvalField(const std::string& preset) {
    auto* email = new QLineEdit(QString::fromStdString(preset));
    email->setObjectName(QStringLiteral("approvalEmail"));
    email->setPlaceholderText(QStringLiteral("where the client sends approval"));
    email->setMinimumWidth(320);
    return email;
}

} // namespace

std::string trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) {
        return {};
    }
    return std::string(text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1));
}

std::string storedApprovalEmail(const DefaultsStore& defaults) {
    return defaults.stringValue(DeliveryKeys::approvalEmail).value_or("");
}

BatchChoice storedBatchChoice(const DefaultsStore& defaults) {
    BatchChoice choice;
    choice.components.ddp = storedFlag(defaults, DeliveryKeys::batchIncludeDDP);
    choice.components.wav = storedFlag(defaults, DeliveryKeys::batchIncludeWAV);
    choice.components.preview = storedFlag(defaults, DeliveryKeys::batchIncludePreview);
    choice.components.pqSheet = storedFlag(defaults, DeliveryKeys::batchIncludePQ);
    const auto index = defaults.intValue(DeliveryKeys::batchPreviewFormat).value_or(0);
    if (index >= 0 && index < static_cast<std::int64_t>(previewFormats.size())) {
        choice.previewFormat = previewFormats[static_cast<std::size_t>(index)];
    }
    choice.approvalEmail = storedApprovalEmail(defaults);
    return choice;
}

void storeBatchChoice(DefaultsStore& defaults, const BatchChoice& choice) {
    defaults.setBool(DeliveryKeys::batchIncludeDDP, choice.components.ddp);
    defaults.setBool(DeliveryKeys::batchIncludeWAV, choice.components.wav);
    defaults.setBool(DeliveryKeys::batchIncludePreview, choice.components.preview);
    defaults.setBool(DeliveryKeys::batchIncludePQ, choice.components.pqSheet);
    defaults.setInt(DeliveryKeys::batchPreviewFormat, static_cast<std::int64_t>(choice.previewFormat));
    defaults.setString(DeliveryKeys::approvalEmail, trimmed(choice.approvalEmail));
}

std::optional<std::filesystem::path> chooseCUESheet(QWidget* parent,
                                                    const std::filesystem::path& startFolder) {
    FolderPanel panel(parent, QStringLiteral("Import CUE Sheet"), QStringLiteral("cueImportPanel"),
                      startFolder);
    panel.browser().setFileMode(QFileDialog::ExistingFile);
    panel.browser().setOption(QFileDialog::ShowDirsOnly, false);
    panel.browser().setNameFilter(QStringLiteral("CUE sheets (*.cue *.CUE)"));
    panel.browser().setLabelText(QFileDialog::Accept, QStringLiteral("Import"));
    return panel.run();
}

std::optional<std::filesystem::path>
chooseCUETarget(QWidget* parent, const std::filesystem::path& startFolder, const std::string& suggestedName) {
    FolderPanel panel(parent, QStringLiteral("Export CUE + Image"), QStringLiteral("cuePanel"), startFolder);
    panel.browser().setFileMode(QFileDialog::AnyFile);
    panel.browser().setAcceptMode(QFileDialog::AcceptSave);
    panel.browser().setOption(QFileDialog::ShowDirsOnly, false);
    panel.browser().setNameFilter(QStringLiteral("CUE sheets (*.cue)"));
    panel.browser().setDefaultSuffix(QStringLiteral("cue"));
    panel.browser().selectFile(QString::fromStdString(suggestedName));
    auto* note = new QLabel(QStringLiteral("A single WAV image will be written next to the .cue file."));
    note->setStyleSheet(QStringLiteral("color: %1;").arg(Theme::dimText.name()));
    panel.addRow(note);
    return panel.run();
}

std::optional<std::filesystem::path>
chooseTracksFolder(QWidget* parent, const std::filesystem::path& startFolder, std::string_view formatName) {
    FolderPanel panel(parent, QStringLiteral("Export Tracks as ") + qs(formatName),
                      QStringLiteral("tracksPanel"), startFolder);
    return panel.run();
}

std::optional<PreviewChoice> choosePreview(QWidget* parent, const std::filesystem::path& startFolder,
                                           PreviewFormat format, DefaultsStore& defaults) {
    FolderPanel panel(parent,
                      QStringLiteral("Select Output Folder for Preview \u2014 ") +
                          qs(PreviewExporter::shownName(format)),
                      QStringLiteral("previewPanel"), startFolder);
    auto* email = approvalField(storedApprovalEmail(defaults));
    auto* zip = new QCheckBox(QStringLiteral("Package as a single .zip file"));
    zip->setObjectName(QStringLiteral("packageZip"));
    auto* password = new QLineEdit;
    password->setObjectName(QStringLiteral("zipPassword"));
    password->setEchoMode(QLineEdit::Password);
    password->setPlaceholderText(QStringLiteral("optional \u2014 leave empty for none"));
    // A password means nothing without the zip.
    password->setEnabled(false);
    QObject::connect(zip, &QCheckBox::toggled, password, &QWidget::setEnabled);
    panel.addRow(QStringLiteral("Approval email:"), email);
    panel.addRow(zip);
    panel.addRow(QStringLiteral("Zip password:"), password);

    auto folder = panel.run();
    if (!folder) {
        return std::nullopt;
    }
    PreviewChoice choice;
    choice.folder = std::move(*folder);
    choice.approvalEmail = trimmed(email->text().toStdString());
    choice.zip = zip->isChecked();
    choice.password = zip->isChecked() ? password->text().toStdString() : std::string();
    defaults.setString(DeliveryKeys::approvalEmail, choice.approvalEmail);
    return choice;
}

std::optional<BatchChoice> chooseBatch(QWidget* parent, const std::filesystem::path& startFolder,
                                       DefaultsStore& defaults) {
    const BatchChoice stored = storedBatchChoice(defaults);
    FolderPanel panel(parent, QStringLiteral("Select Output Folder for Batch Delivery"),
                      QStringLiteral("batchPanel"), startFolder);
    auto* ddp = new QCheckBox(QStringLiteral("DDP fileset"));
    auto* wav = new QCheckBox(QStringLiteral("Tracks as WAV"));
    auto* preview = new QCheckBox(QStringLiteral("Client preview"));
    auto* pq = new QCheckBox(QStringLiteral("PQ sheet (PDF + CSV)"));
    ddp->setChecked(stored.components.ddp);
    wav->setChecked(stored.components.wav);
    preview->setChecked(stored.components.preview);
    pq->setChecked(stored.components.pqSheet);
    auto* formats = new QComboBox;
    formats->setObjectName(QStringLiteral("previewFormat"));
    for (const PreviewFormat format : previewFormats) {
        formats->addItem(qs(PreviewExporter::shownName(format)));
    }
    formats->setCurrentIndex(static_cast<int>(stored.previewFormat));
    formats->setEnabled(stored.components.preview);
    QObject::connect(preview, &QCheckBox::toggled, formats, &QWidget::setEnabled);
    auto* parts = new QWidget;
    auto* partsLayout = new QGridLayout(parts);
    partsLayout->setContentsMargins(0, 4, 0, 4);
    partsLayout->setHorizontalSpacing(24);
    partsLayout->addWidget(ddp, 0, 0);
    partsLayout->addWidget(wav, 1, 0);
    partsLayout->addWidget(pq, 2, 0);
    partsLayout->addWidget(preview, 0, 1);
    partsLayout->addWidget(formats, 1, 1);
    partsLayout->setColumnStretch(2, 1);
    panel.addRow(QStringLiteral("Include:"), parts);
    auto* email = approvalField(stored.approvalEmail);
    panel.addRow(QStringLiteral("Approval email:"), email);

    auto folder = panel.run();
    if (!folder) {
        return std::nullopt;
    }
    BatchChoice choice;
    choice.folder = std::move(*folder);
    choice.components = {ddp->isChecked(), wav->isChecked(), preview->isChecked(), pq->isChecked()};
    choice.previewFormat = previewFormats[static_cast<std::size_t>(std::max(0, formats->currentIndex()))];
    choice.approvalEmail = trimmed(email->text().toStdString());
    storeBatchChoice(defaults, choice);
    return choice;
}

} // namespace orvane::app::DeliveryDialogs
