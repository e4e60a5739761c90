#include "app/DeliveryDialogs.h"

#include "delivery/PreviewExporter.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>
#include <array>

namespace orvane::app::DeliveryDialogs {

namespace {

constexpr std::array previewFormats{PreviewFormat::quality, PreviewFormat::light, PreviewFormat::smartphone};

bool storedFlag(const DefaultsStore& defaults, std::string_view key) {
    // A part never chosen counts as on, so a first delivery has everything.
    return defaults.boolValue(key).value_or(true);
}

// Qt's own folder dialog (so fields can sit under it) that may make folders.
void makeFolderDialog(QFileDialog& dialog, const QString& title) {
    dialog.setWindowTitle(title);
    dialog.setOption(QFileDialog::DontUseNativeDialog);
    dialog.setFileMode(QFileDialog::Directory);
    dialog.setOption(QFileDialog::ShowDirsOnly);
    dialog.setLabelText(QFileDialog::Accept, QStringLiteral("Export"));
}

// Puts `fields` under the dialog's own grid, across its width.
void addFields(QFileDialog& dialog, QWidget* fields) {
    if (auto* grid = qobject_cast<QGridLayout*>(dialog.layout())) {
        grid->addWidget(fields, grid->rowCount(), 0, 1, grid->columnCount());
    }
}

std::optional<std::filesystem::path> chosenPath(QFileDialog& dialog) {
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) {
        return std::nullopt;
    }
    return std::filesystem::path(dialog.selectedFiles().front().toStdString());
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

std::optional<std::filesystem::path> chooseCUESheet(QWidget* parent) {
    QFileDialog dialog(parent, QStringLiteral("Import CUE Sheet"));
    dialog.setFileMode(QFileDialog::ExistingFile);
    dialog.setNameFilter(QStringLiteral("CUE sheets (*.cue *.CUE)"));
    dialog.setLabelText(QFileDialog::Accept, QStringLiteral("Import"));
    return chosenPath(dialog);
}

std::optional<std::filesystem::path> chooseCUETarget(QWidget* parent, const std::string& suggestedName) {
    QFileDialog dialog(parent, QStringLiteral("Export CUE + Image"));
    dialog.setOption(QFileDialog::DontUseNativeDialog);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setNameFilter(QStringLiteral("CUE sheets (*.cue)"));
    dialog.setDefaultSuffix(QStringLiteral("cue"));
    dialog.setLabelText(QFileDialog::Accept, QStringLiteral("Export"));
    dialog.selectFile(QString::fromStdString(suggestedName));
    auto* note = new QLabel(QStringLiteral("A single WAV image will be written next to the .cue file."));
    note->setObjectName(QStringLiteral("panelNote"));
    addFields(dialog, note);
    return chosenPath(dialog);
}

std::optional<std::filesystem::path> chooseTracksFolder(QWidget* parent, std::string_view formatName) {
    QFileDialog dialog(parent);
    makeFolderDialog(dialog,
                     QStringLiteral("Export Tracks as ") +
                         QString::fromUtf8(formatName.data(), static_cast<qsizetype>(formatName.size())));
    return chosenPath(dialog);
}

std::optional<PreviewChoice> choosePreview(QWidget* parent, PreviewFormat format, DefaultsStore& defaults) {
    QFileDialog dialog(parent);
    dialog.setObjectName(QStringLiteral("previewPanel"));
    const std::string_view shown = PreviewExporter::shownName(format);
    makeFolderDialog(dialog, QStringLiteral("Select Output Folder for Preview \u2014 ") +
                                 QString::fromUtf8(shown.data(), static_cast<qsizetype>(shown.size())));
    auto* fields = new QWidget;
    auto* form = new QFormLayout(fields);
    form->setContentsMargins(0, 8, 0, 0);
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
    form->addRow(QStringLiteral("Approval email:"), email);
    form->addRow(QString(), zip);
    form->addRow(QStringLiteral("Zip password:"), password);
    addFields(dialog, fields);

    auto folder = chosenPath(dialog);
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

std::optional<BatchChoice> chooseBatch(QWidget* parent, DefaultsStore& defaults) {
    const BatchChoice stored = storedBatchChoice(defaults);
    QFileDialog dialog(parent);
    dialog.setObjectName(QStringLiteral("batchPanel"));
    makeFolderDialog(dialog, QStringLiteral("Select Output Folder for Batch Delivery"));
    auto* fields = new QWidget;
    auto* form = new QFormLayout(fields);
    form->setContentsMargins(0, 8, 0, 0);
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
        formats->addItem(QString::fromUtf8(PreviewExporter::shownName(format).data()));
    }
    formats->setCurrentIndex(static_cast<int>(stored.previewFormat));
    formats->setEnabled(stored.components.preview);
    QObject::connect(preview, &QCheckBox::toggled, formats, &QWidget::setEnabled);
    auto* previewRow = new QHBoxLayout;
    previewRow->addWidget(preview);
    previewRow->addWidget(formats);
    previewRow->addStretch(1);
    auto* parts = new QVBoxLayout;
    parts->addWidget(ddp);
    parts->addWidget(wav);
    parts->addLayout(previewRow);
    parts->addWidget(pq);
    form->addRow(QStringLiteral("Include:"), parts);
    auto* email = approvalField(stored.approvalEmail);
    form->addRow(QStringLiteral("Approval email:"), email);
    addFields(dialog, fields);

    auto folder = chosenPath(dialog);
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
