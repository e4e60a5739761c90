#include "app/AppDialogs.h"

#include "app/OrvaneApp.h"
#include "app/ShortcutsCatalog.h"
#include "app/Theme.h"
#include "delivery/PQSheetBuilder.h"
#include "delivery/PQSheetContent.h"
#include "model/TimelineCalculator.h"

#include <QCheckBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

namespace orvane::app::AppDialogs {

namespace {

QLabel* heading(const QString& text, int points = 15) {
    auto* label = new QLabel(text);
    QFont font = label->font();
    font.setPointSize(points);
    font.setBold(true);
    label->setFont(font);
    return label;
}

} // namespace

std::optional<std::filesystem::path> chooseFolder(QWidget* parent, const std::string& title,
                                                  const std::string& message, const std::string& button) {
    QFileDialog dialog(parent, QString::fromStdString(title));
    dialog.setFileMode(QFileDialog::Directory);
    dialog.setOption(QFileDialog::ShowDirsOnly);
    dialog.setLabelText(QFileDialog::Accept, QString::fromStdString(button));
    dialog.setLabelText(QFileDialog::LookIn, QString::fromStdString(message));
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) {
        return std::nullopt;
    }
    return std::filesystem::path(dialog.selectedFiles().front().toStdString());
}

std::optional<DDPExportChoice> chooseDDPExport(QWidget* parent, bool includePQSheet) {
    // Qt's own dialog, so the PQ checkbox can sit inside it.
    QFileDialog dialog(parent, QStringLiteral("Select Output Directory for DDP/CUE Export"));
    dialog.setOption(QFileDialog::DontUseNativeDialog);
    dialog.setFileMode(QFileDialog::Directory);
    dialog.setOption(QFileDialog::ShowDirsOnly);
    dialog.setLabelText(QFileDialog::Accept, QStringLiteral("Export"));
    auto* pqSheet = new QCheckBox(QStringLiteral("Include PQ sheet (PDF + CSV)"), &dialog);
    pqSheet->setChecked(includePQSheet);
    if (auto* grid = qobject_cast<QGridLayout*>(dialog.layout())) {
        grid->addWidget(pqSheet, grid->rowCount(), 0, 1, grid->columnCount());
    }
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) {
        return std::nullopt;
    }
    return DDPExportChoice{dialog.selectedFiles().front().toStdString(), pqSheet->isChecked()};
}

void showValidationReport(QWidget* parent, const ValidationReport& report,
                          std::span<const ValidationIssue> issues) {
    QDialog dialog(parent);
    dialog.setWindowTitle(QStringLiteral("Validate Project"));
    dialog.setObjectName(QStringLiteral("validationReport"));
    dialog.setMinimumSize(560, 300);
    auto* layout = new QVBoxLayout(&dialog);
    layout->addWidget(heading(QString::fromStdString(report.title)));
    if (issues.empty()) {
        layout->addWidget(new QLabel(QString::fromStdString(report.text)));
    } else {
        auto* table = new QTableWidget(static_cast<int>(issues.size()), 2);
        table->setHorizontalHeaderLabels({QStringLiteral("Severity"), QStringLiteral("Issue")});
        table->horizontalHeader()->setStretchLastSection(true);
        table->verticalHeader()->hide();
        table->setEditTriggers(QAbstractItemView::NoEditTriggers);
        table->setWordWrap(true);
        for (std::size_t row = 0; row < issues.size(); ++row) {
            const auto& issue = issues[row];
            auto* severity =
                new QTableWidgetItem(QString::fromStdString(std::string(severityMark(issue.severity)) + "  " +
                                                            std::string(severityName(issue.severity))));
            severity->setForeground(issue.severity == ValidationIssue::Severity::error     ? Theme::playhead
                                    : issue.severity == ValidationIssue::Severity::warning ? Theme::selection
                                                                                           : Theme::dimText);
            table->setItem(static_cast<int>(row), 0, severity);
            table->setItem(static_cast<int>(row), 1,
                           new QTableWidgetItem(QString::fromStdString(issue.message)));
        }
        table->resizeColumnToContents(0);
        table->resizeRowsToContents();
        layout->addWidget(table);
    }
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok);
    QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
    layout->addWidget(buttons);
    dialog.exec();
}

void showPQSheet(QWidget* parent, OrvaneApp& app) {
    QDialog dialog(parent);
    dialog.setWindowTitle(QStringLiteral("PQ Sheet"));
    dialog.setObjectName(QStringLiteral("pqSheetPanel"));
    dialog.resize(1100, 640);
    auto* layout = new QHBoxLayout(&dialog);

    auto* options = new QWidget;
    options->setFixedWidth(280);
    auto* form = new QFormLayout(options);
    auto* client = new QLineEdit;
    auto* engineer = new QLineEdit;
    auto* date = new QLineEdit;
    PQSheetModel model;
    date->setText(QString::fromStdString(model.dateString));
    form->addRow(heading(QStringLiteral("PQ Sheet"), 13));
    form->addRow(QStringLiteral("Client"), client);
    form->addRow(QStringLiteral("Engineer"), engineer);
    form->addRow(QStringLiteral("Date"), date);
    struct ColumnBox {
        const char* label;
        bool PQSheetModel::*field;
    };
    const ColumnBox columnBoxes[] = {
        {"Title", &PQSheetModel::colTitle},      {"Performer", &PQSheetModel::colPerformer},
        {"ISRC", &PQSheetModel::colISRC},        {"Pre-gap", &PQSheetModel::colPregap},
        {"Start", &PQSheetModel::colStart},      {"Length", &PQSheetModel::colDuration},
        {"End", &PQSheetModel::colEnd},          {"Note", &PQSheetModel::colNote},
        {"LUFS", &PQSheetModel::colLUFS},        {"dBTP", &PQSheetModel::colTP},
        {"Flags", &PQSheetModel::colFlags},      {"Lead-out and total", &PQSheetModel::includeTotal},
        {"Landscape", &PQSheetModel::landscape}, {"Fit to page", &PQSheetModel::autoFit},
    };
    std::vector<std::pair<QCheckBox*, bool PQSheetModel::*>> boxes;
    for (const auto& column : columnBoxes) {
        auto* box = new QCheckBox(QString::fromLatin1(column.label));
        box->setChecked(model.*(column.field));
        form->addRow(box);
        boxes.emplace_back(box, column.field);
    }
    auto* exportButton = new QPushButton(QStringLiteral("Export PDF + CSV\u2026"));
    auto* closeButton = new QPushButton(QStringLiteral("Close"));
    form->addRow(exportButton);
    form->addRow(closeButton);
    layout->addWidget(options);

    auto* preview = new QTableWidget;
    preview->setObjectName(QStringLiteral("pqPreview"));
    preview->verticalHeader()->hide();
    preview->setEditTriggers(QAbstractItemView::NoEditTriggers);
    preview->setAlternatingRowColors(true);
    auto* right = new QVBoxLayout;
    auto* head = new QLabel;
    head->setTextFormat(Qt::RichText);
    right->addWidget(head);
    right->addWidget(preview, 1);
    auto* leadOut = new QLabel;
    right->addWidget(leadOut);
    layout->addLayout(right, 1);

    const CDProject project = app.workspace().project();
    const auto positions = TimelineCalculator::calculatePositions(project);
    const std::vector<TrackPosition> laidOut = positions ? *positions : std::vector<TrackPosition>{};
    const TrackLoudnessMap loudness = app.loudness().figureMap();
    const std::optional<TrackLoudness> album = app.loudness().store().albumLoudness();

    const auto currentModel = [&] {
        PQSheetModel m;
        m.client = client->text().toStdString();
        m.engineer = engineer->text().toStdString();
        m.dateString = date->text().toStdString();
        for (const auto& [box, field] : boxes) {
            m.*field = box->isChecked();
        }
        return m;
    };
    const auto refresh = [&] {
        const PQSheetContent content =
            PQSheetContent::make(project, laidOut, currentModel(), loudness, album);
        preview->clear();
        preview->setColumnCount(static_cast<int>(content.columns.size()));
        preview->setRowCount(static_cast<int>(content.rows.size()));
        QStringList headers;
        for (const auto& column : content.columns) {
            headers << QString::fromStdString(column.header);
        }
        preview->setHorizontalHeaderLabels(headers);
        for (std::size_t r = 0; r < content.rows.size(); ++r) {
            for (std::size_t c = 0; c < content.rows[r].size() && c < content.columns.size(); ++c) {
                auto* item = new QTableWidgetItem(QString::fromStdString(content.rows[r][c]));
                if (content.columns[c].rightAlign) {
                    item->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
                }
                preview->setItem(static_cast<int>(r), static_cast<int>(c), item);
            }
        }
        preview->resizeColumnsToContents();
        preview->horizontalHeader()->setStretchLastSection(true);
        QString lines = QStringLiteral("<span style='font-size:15pt; font-weight:600'>PQ Sheet</span>"
                                       "<span style='color:#8a919b'>&nbsp;&nbsp;%1</span><br>")
                            .arg(date->text().toHtmlEscaped());
        for (const auto& line : content.headLines) {
            lines += QStringLiteral("<span style='color:#8a919b'>%1:</span> %2&nbsp;&nbsp;&nbsp;")
                         .arg(QString::fromStdString(line.label).toHtmlEscaped(),
                              QString::fromStdString(line.value).toHtmlEscaped());
        }
        head->setText(lines);
        leadOut->setText(
            content.leadOutTime
                ? QStringLiteral("Lead-out  %1").arg(QString::fromStdString(*content.leadOutTime))
                : QString());
    };
    for (auto* edit : {client, engineer, date}) {
        QObject::connect(edit, &QLineEdit::textChanged, &dialog, refresh);
    }
    for (const auto& entry : boxes) {
        QObject::connect(entry.first, &QCheckBox::toggled, &dialog, refresh);
    }
    QObject::connect(closeButton, &QPushButton::clicked, &dialog, &QDialog::accept);
    QObject::connect(exportButton, &QPushButton::clicked, &dialog, [&] {
        const auto folder = chooseFolder(&dialog, "Export PQ Sheet",
                                         "Choose the folder for PQSheet.pdf and PQSheet.csv", "Export");
        if (!folder) {
            return;
        }
        const auto written =
            PQSheetBuilder::writeFiles(*folder, project, laidOut, currentModel(), loudness, album);
        if (!written) {
            app.showError("Export Failed", written.error());
        }
    });
    refresh();
    dialog.exec();
}

void showShortcuts(QWidget* parent) {
    QDialog dialog(parent);
    dialog.setWindowTitle(QStringLiteral("Keyboard Shortcuts"));
    dialog.setObjectName(QStringLiteral("shortcutsOverlay"));
    auto* layout = new QGridLayout(&dialog);
    layout->setHorizontalSpacing(28);
    int column = 0;
    int row = 0;
    int groupIndex = 0;
    for (const auto& group : ShortcutsCatalog::groups()) {
        // Three columns of groups: Transport and Editing, File and Tools, Help.
        column = (groupIndex / 2) * 2;
        if (groupIndex % 2 == 0) {
            row = 0;
        }
        layout->addWidget(heading(QString::fromStdString(group.title), 12), row++, column, 1, 2);
        for (const auto& item : group.items) {
            auto* keys = new QLabel(QString::fromStdString(item.keys));
            keys->setStyleSheet(QStringLiteral("color: #3da5f4; font-family: monospace;"));
            layout->addWidget(keys, row, column);
            layout->addWidget(new QLabel(QString::fromStdString(item.action)), row++, column + 1);
        }
        ++row;
        ++groupIndex;
    }
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    layout->addWidget(buttons, layout->rowCount(), 0, 1, layout->columnCount());
    dialog.exec();
}

void showAbout(QWidget* parent) {
    QDialog dialog(parent);
    dialog.setWindowTitle(QStringLiteral("About Orvane"));
    auto* layout = new QVBoxLayout(&dialog);
    auto* name = heading(QStringLiteral("Orvane"), 22);
    name->setAlignment(Qt::AlignCenter);
    layout->addWidget(name);
    auto* version = new QLabel(QStringLiteral("Version %1").arg(QStringLiteral(ORVANE_VERSION)));
    version->setAlignment(Qt::AlignCenter);
    layout->addWidget(version);
    auto* blurb = new QLabel(QStringLiteral("Compact-disc mastering and authoring"));
    blurb->setAlignment(Qt::AlignCenter);
    blurb->setStyleSheet(QStringLiteral("color: #8a919b;"));
    layout->addWidget(blurb);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok);
    QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
    layout->addWidget(buttons);
    dialog.setMinimumWidth(320);
    dialog.exec();
}

} // namespace orvane::app::AppDialogs
