#include "app/ReportPanel.h"

#include "app/Theme.h"
#include "delivery/MasteringReportBuilder.h"
#include "model/TimelineCalculator.h"
#include "platform/AtomicFile.h"

#include <poppler/qt6/poppler-qt6.h>

#include <QBuffer>
#include <QCheckBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QImageReader>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QTimer>
#include <QVBoxLayout>

namespace orvane::app {

namespace {

// The preview's page width in pixels; the page is drawn at the resolution that gives it.
constexpr double previewWidthPixels = 520.0;

QGroupBox* section(const QString& title, QFormLayout*& form) {
    auto* box = new QGroupBox(title);
    form = new QFormLayout(box);
    form->setLabelAlignment(Qt::AlignRight);
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    return box;
}

} // namespace

ReportPanel::ReportPanel(WorkspaceState& workspace, LoudnessCommands& loudness, DefaultsStore& defaults,
                         PanelHost& alerts, QWidget* parent)
    : QDialog(parent), workspace_(workspace), loudness_(loudness), alerts_(alerts), model_(defaults, true) {
    setObjectName(QStringLiteral("masteringReportPanel"));
    setWindowTitle(QStringLiteral("Mastering Report"));
    resize(1060, 820);
    auto* layout = new QHBoxLayout(this);
    layout->addWidget(makeForm(), 0);

    page_ = new QLabel;
    page_->setObjectName(QStringLiteral("reportPreview"));
    page_->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    auto* scroll = new QScrollArea;
    scroll->setWidget(page_);
    scroll->setWidgetResizable(true);
    scroll->setMinimumWidth(static_cast<int>(previewWidthPixels) + 40);
    scroll->setStyleSheet(QStringLiteral("QScrollArea { background: #16181b; border: 1px solid #3c4148; }"
                                         "QLabel#reportPreview { background: #16181b; padding: 16px; }"));
    layout->addWidget(scroll, 1);

    debounce_ = new QTimer(this);
    debounce_->setSingleShot(true);
    debounce_->setInterval(debounceMilliseconds);
    connect(debounce_, &QTimer::timeout, this, [this] { rebuildPreview(); });
    model_.onChange = [this] { scheduleRebuild(); };
    subscription_ = workspace_.subscribe([this](WorkspaceProperty property) {
        if (property == WorkspaceProperty::project || property == WorkspaceProperty::trackPositions) {
            scheduleRebuild();
        }
    });
    loudnessListener_ = loudness_.subscribe([this] {
        refreshLoudnessState();
        scheduleRebuild();
    });
    refreshLoudnessState();
    rebuildPreview();
}

ReportPanel::~ReportPanel() {
    model_.onChange = nullptr;
    loudness_.unsubscribe(loudnessListener_);
    workspace_.unsubscribe(subscription_);
}

QWidget* ReportPanel::makeForm() {
    auto* column = new QWidget;
    column->setFixedWidth(380);
    auto* layout = new QVBoxLayout(column);
    layout->setContentsMargins(0, 0, 0, 0);

    QFormLayout* form = nullptr;
    layout->addWidget(section(QStringLiteral("Branding"), form));
    studioName_ = new QLineEdit(QString::fromStdString(model_.studioName()));
    studioName_->setObjectName(QStringLiteral("studioName"));
    studioName_->setPlaceholderText(QStringLiteral("Studio / company"));
    studioContact_ = new QPlainTextEdit(QString::fromStdString(model_.studioContact()));
    studioContact_->setObjectName(QStringLiteral("studioContact"));
    studioContact_->setPlaceholderText(QStringLiteral("Contact (address \u00b7 email \u00b7 web)"));
    studioContact_->setFixedHeight(54);
    form->addRow(QStringLiteral("Studio"), studioName_);
    form->addRow(QStringLiteral("Contact"), studioContact_);
    auto* logoRow = new QHBoxLayout;
    auto* chooseLogo = new QPushButton(QStringLiteral("Choose Logo\u2026"));
    removeLogo_ = new QPushButton(QStringLiteral("Remove"));
    logoState_ = new QLabel;
    logoState_->setStyleSheet(QStringLiteral("color: #8a919b;"));
    logoRow->addWidget(chooseLogo);
    logoRow->addWidget(removeLogo_);
    logoRow->addWidget(logoState_, 1);
    form->addRow(QStringLiteral("Logo"), logoRow);
    const auto showLogoState = [this] {
        logoState_->setText(model_.logoData() ? QStringLiteral("Logo set") : QStringLiteral("No logo"));
        removeLogo_->setEnabled(model_.logoData().has_value());
    };
    showLogoState();
    connect(chooseLogo, &QPushButton::clicked, this, [this, showLogoState] {
        chooseLogoWithPanel();
        showLogoState();
    });
    connect(removeLogo_, &QPushButton::clicked, this, [this, showLogoState] {
        model_.setLogoData(std::nullopt);
        showLogoState();
    });

    layout->addWidget(section(QStringLiteral("Header"), form));
    client_ = new QLineEdit(QString::fromStdString(model_.client()));
    client_->setObjectName(QStringLiteral("client"));
    engineer_ = new QLineEdit(QString::fromStdString(model_.engineer()));
    engineer_->setObjectName(QStringLiteral("engineer"));
    date_ = new QLineEdit(QString::fromStdString(model_.dateString()));
    date_->setObjectName(QStringLiteral("date"));
    note_ = new QLineEdit(QString::fromStdString(workspace_.project().masterNote.value_or("")));
    note_->setObjectName(QStringLiteral("note"));
    note_->setPlaceholderText(QStringLiteral("Internal note (goes to PQ sheet)"));
    form->addRow(QStringLiteral("Client"), client_);
    form->addRow(QStringLiteral("Engineer"), engineer_);
    form->addRow(QStringLiteral("Date"), date_);
    form->addRow(QStringLiteral("Note"), note_);

    layout->addWidget(section(QStringLiteral("Sections"), form));
    sourceFiles_ = new QCheckBox(QStringLiteral("Source files"));
    sourceFiles_->setChecked(model_.includeSourceFiles());
    trackNotes_ = new QCheckBox(QStringLiteral("Track notes column"));
    trackNotes_->setChecked(model_.includeTrackNotes());
    form->addRow(sourceFiles_);
    form->addRow(trackNotes_);

    layout->addWidget(section(QStringLiteral("Loudness"), form));
    loudnessState_ = new QLabel;
    loudnessState_->setObjectName(QStringLiteral("reportLoudnessState"));
    loudnessState_->setWordWrap(true);
    analyze_ = new QPushButton(QStringLiteral("Analyze Loudness (R128)"));
    form->addRow(loudnessState_);
    form->addRow(analyze_);
    layout->addStretch(1);

    auto* buttons = new QHBoxLayout;
    auto* exportButton = new QPushButton(QStringLiteral("Export PDF\u2026"));
    exportButton->setObjectName(QStringLiteral("exportReport"));
    exportButton->setDefault(true);
    auto* close = new QPushButton(QStringLiteral("Close"));
    buttons->addStretch(1);
    buttons->addWidget(close);
    buttons->addWidget(exportButton);
    layout->addLayout(buttons);

    // Every keystroke reaches the model; the preview waits for a pause in typing.
    connect(studioName_, &QLineEdit::textChanged, this,
            [this](const QString& text) { model_.setStudioName(text.toStdString()); });
    connect(studioContact_, &QPlainTextEdit::textChanged, this,
            [this] { model_.setStudioContact(studioContact_->toPlainText().toStdString()); });
    connect(client_, &QLineEdit::textChanged, this,
            [this](const QString& text) { model_.setClient(text.toStdString()); });
    connect(engineer_, &QLineEdit::textChanged, this,
            [this](const QString& text) { model_.setEngineer(text.toStdString()); });
    connect(date_, &QLineEdit::textChanged, this,
            [this](const QString& text) { model_.setDateString(text.toStdString()); });
    connect(sourceFiles_, &QCheckBox::toggled, this, [this](bool on) { model_.setIncludeSourceFiles(on); });
    connect(trackNotes_, &QCheckBox::toggled, this, [this](bool on) { model_.setIncludeTrackNotes(on); });
    // The note is the project's own, so it changes as one undo step when typing ends.
    connect(note_, &QLineEdit::editingFinished, this, [this] {
        const QString text = note_->text().trimmed();
        const std::optional<std::string> note =
            text.isEmpty() ? std::nullopt : std::optional<std::string>(text.toStdString());
        if (note != workspace_.project().masterNote) {
            CDProject project = workspace_.project();
            project.masterNote = note;
            workspace_.setProject(std::move(project));
        }
    });
    connect(analyze_, &QPushButton::clicked, this, [this] { loudness_.analyzeAlbum(); });
    connect(close, &QPushButton::clicked, this, &QDialog::accept);
    connect(exportButton, &QPushButton::clicked, this, [this] { exportWithPanel(); });
    return column;
}

void ReportPanel::scheduleRebuild() {
    debounce_->start(); // a restart: only the last change within the interval draws
}

tl::expected<std::string, std::string> ReportPanel::pdf() const {
    const CDProject& project = workspace_.project();
    const auto positions = TimelineCalculator::calculatePositions(project);
    if (!positions) {
        return tl::unexpected("The disc cannot be laid out: " + positions.error().description() + ".");
    }
    return MasteringReportBuilder::pdfData(project, *positions, model_, loudness_.figureMap(),
                                           loudness_.store().albumLoudness());
}

tl::expected<void, std::string> ReportPanel::exportTo(const std::filesystem::path& file) const {
    const auto bytes = pdf();
    if (!bytes) {
        return tl::unexpected(bytes.error());
    }
    return AtomicFile::write(file, *bytes);
}

void ReportPanel::rebuildPreview() {
    ++previewBuilds_;
    const auto bytes = pdf();
    if (!bytes) {
        preview_ = QImage();
        page_->setPixmap({});
        page_->setText(QString::fromStdString(bytes.error()));
        return;
    }
    const auto document = Poppler::Document::loadFromData(QByteArray::fromStdString(*bytes));
    std::unique_ptr<Poppler::Page> first =
        document && document->numPages() > 0 ? document->page(0) : std::unique_ptr<Poppler::Page>();
    if (!first) {
        page_->setText(QStringLiteral("The preview could not be drawn."));
        return;
    }
    document->setRenderHint(Poppler::Document::Antialiasing);
    document->setRenderHint(Poppler::Document::TextAntialiasing);
    const double ratio = devicePixelRatioF();
    const double dpi = previewWidthPixels / first->pageSizeF().width() * 72.0 * ratio;
    preview_ = first->renderToImage(dpi, dpi);
    preview_.setDevicePixelRatio(ratio);
    page_->setPixmap(QPixmap::fromImage(preview_));
}

void ReportPanel::refreshLoudnessState() {
    const auto& album = loudness_.store().albumLoudness();
    if (!album) {
        loudnessState_->setText(QStringLiteral("Album loudness not measured yet."));
        return;
    }
    QString text = QStringLiteral("Album: %1 LUFS \u00b7 %2 dBTP")
                       .arg(album->lufs, 0, 'f', 1)
                       .arg(album->truePeak, 0, 'f', 1);
    if (album->lra) {
        text += QStringLiteral(" \u00b7 LRA %1 LU").arg(*album->lra, 0, 'f', 1);
    }
    loudnessState_->setText(text);
}

std::string ReportPanel::proposedFileName(const CDProject& project) {
    return project.albumTitle.empty() ? std::string("Mastering Report")
                                      : project.albumTitle + " Mastering Report";
}

bool ReportPanel::chooseLogoFile(const std::filesystem::path& file) {
    QImageReader reader(QString::fromStdString(file.string()));
    const QImage image = reader.read();
    if (image.isNull() || image.width() <= 0 || image.height() <= 0) {
        return false;
    }
    // Kept as PNG whatever came in, so the page draws a JPEG or TIFF logo the same way.
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    if (!image.save(&buffer, "PNG")) {
        return false;
    }
    model_.setLogoData(std::vector<std::uint8_t>(png.begin(), png.end()));
    return true;
}

void ReportPanel::chooseLogoWithPanel() {
    OpenPanelRequest request;
    request.title = "Choose Logo";
    request.allowedExtensions = {"png", "jpg", "jpeg", "tif", "tiff"};
    const auto file = alerts_.runOpenPanel(request);
    if (file && !chooseLogoFile(*file)) {
        alerts_.showAlert(AlertRequest{"Logo Not Used",
                                       "\u201c" + file->filename().string() +
                                           "\u201d could not be read as a PNG, JPEG or TIFF image.",
                                       {"OK"},
                                       AlertStyle::warning});
    }
}

void ReportPanel::exportWithPanel() {
    SavePanelRequest request;
    request.title = "Export PDF";
    request.proposedName = proposedFileName(workspace_.project());
    request.extension = "pdf";
    const auto file = alerts_.runSavePanel(request);
    if (!file) {
        return;
    }
    if (const auto written = exportTo(*file); !written) {
        alerts_.showAlert(AlertRequest{"Export Failed", written.error(), {"OK"}, AlertStyle::warning});
    }
}

} // namespace orvane::app
