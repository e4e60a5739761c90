#include "app/InspectorPanel.h"

#include "app/SpectralDifferenceView.h"
#include "app/Theme.h"
#include "app/TrackTableModel.h"

#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPainter>
#include <QPixmap>
#include <QPushButton>
#include <QSpinBox>
#include <QTabWidget>
#include <QVBoxLayout>
#include <cmath>

namespace orvane::app {

namespace {

constexpr double sampleRate = 44100.0;

QIcon swatch(const std::optional<std::string>& hex) {
    QPixmap pixmap(12, 12);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    QColor colour = hex ? QColor(QString::fromStdString(*hex)) : Theme::dimText;
    painter.setBrush(colour.isValid() ? colour : Theme::dimText);
    painter.setPen(Qt::NoPen);
    painter.drawEllipse(QRectF(1, 1, 10, 10));
    return QIcon(pixmap);
}

std::optional<std::string> optionalText(const QString& text) {
    const QString trimmed = text.trimmed();
    return trimmed.isEmpty() ? std::nullopt : std::optional<std::string>(trimmed.toStdString());
}

QLabel* sectionLabel(const QString& text) {
    auto* label = new QLabel(text);
    label->setStyleSheet(
        QStringLiteral("color: #8a919b; font-size: 8pt; font-weight: 600; padding-top: 8px;"));
    return label;
}

} // namespace

InspectorPanel::InspectorPanel(WorkspaceState& workspace, LoudnessCommands& loudness, QWidget* parent)
    : QWidget(parent), workspace_(workspace), loudness_(loudness) {
    setObjectName(QStringLiteral("inspector"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    tabs_ = new QTabWidget;
    tabs_->addTab(makeDiscPage(), QStringLiteral("Disc"));
    tabs_->addTab(makeTrackPage(), QStringLiteral("Track"));
    tabs_->addTab(makeTakePage(), QStringLiteral("Takes"));
    layout->addWidget(tabs_);
    subscription_ = workspace_.subscribe([this](WorkspaceProperty property) {
        if (property == WorkspaceProperty::project || property == WorkspaceProperty::selectedTrackID ||
            property == WorkspaceProperty::trackPositions || property == WorkspaceProperty::preview) {
            refresh();
        }
        if (property == WorkspaceProperty::selectedTrackID && workspace_.selectedTrackID()) {
            tabs_->setCurrentIndex(1);
        }
        if (property == WorkspaceProperty::inspectorTab) {
            tabs_->setCurrentIndex(static_cast<int>(workspace_.inspectorTab()));
        }
        if (property == WorkspaceProperty::selectedVersionID) {
            // Only a choice made elsewhere (the table) moves the list; the list's own is there already.
            const auto shown = takeSourceAt(takes_->currentRow());
            const auto& chosen = workspace_.selectedVersionID();
            if (chosen && (!shown || shown->second != *chosen)) {
                refresh();
            }
        }
    });
    loudnessListener_ = loudness_.subscribe([this] { refreshLoudness(); });
    refresh();
}

InspectorPanel::~InspectorPanel() {
    loudness_.unsubscribe(loudnessListener_);
    workspace_.unsubscribe(subscription_);
}

QString InspectorPanel::loudnessText(const std::optional<TrackLoudness>& figures) {
    if (!figures) {
        return QStringLiteral("Not measured");
    }
    QString text =
        QStringLiteral("%1 LUFS   %2 dBTP").arg(figures->lufs, 0, 'f', 1).arg(figures->truePeak, 0, 'f', 1);
    if (figures->lra) {
        text += QStringLiteral("   %1 LRA").arg(*figures->lra, 0, 'f', 1);
    }
    return text;
}

std::optional<std::pair<Uuid, Uuid>> InspectorPanel::takeSourceAt(int row) const {
    const CDTrack* track = selectedTrack();
    if (!track || row < 0) {
        return std::nullopt;
    }
    if (row == 0) {
        return std::pair{track->id, track->id};
    }
    if (static_cast<std::size_t>(row - 1) < track->versions.size()) {
        return std::pair{track->id, track->versions[static_cast<std::size_t>(row - 1)].id};
    }
    return std::nullopt;
}

void InspectorPanel::refreshLoudness() {
    // The album figure exists only while every track is measured.
    const auto& album = loudness_.store().albumLoudness();
    albumLoudness_->setText(album ? loudnessText(album)
                                  : QStringLiteral("Not measured \u2014 every track needs a measurement"));
    const CDTrack* track = selectedTrack();
    const auto trackFigures = track ? loudness_.figures(track->id) : std::nullopt;
    trackLoudness_->setText(loudnessText(trackFigures));
    trackAnalyze_->setText(trackFigures ? QStringLiteral("Re-analyze") : QStringLiteral("Analyze"));
    trackAnalyze_->setEnabled(track != nullptr && track->audioFileURL.has_value());

    const auto source = takeSourceAt(takes_->currentRow());
    const auto takeFigures = source ? loudness_.figures(source->second) : std::nullopt;
    takeLoudness_->setText(source ? loudnessText(takeFigures) : QStringLiteral("No version selected"));
    takeAnalyze_->setText(takeFigures ? QStringLiteral("Re-analyze") : QStringLiteral("Analyze"));
    takeAnalyze_->setEnabled(source.has_value());
    difference_->refresh();
}

QWidget* InspectorPanel::makeDiscPage() {
    auto* page = new QWidget;
    auto* form = new QFormLayout(page);
    form->setLabelAlignment(Qt::AlignRight);
    albumTitle_ = new QLineEdit;
    albumPerformer_ = new QLineEdit;
    mcn_ = new QLineEdit;
    mcn_->setPlaceholderText(QStringLiteral("13 digits"));
    mcn_->setMaxLength(13);
    discSummary_ = new QLabel;
    discSummary_->setStyleSheet(QStringLiteral("color: #8a919b;"));
    form->addRow(sectionLabel(QStringLiteral("CD-TEXT")));
    form->addRow(QStringLiteral("Album"), albumTitle_);
    form->addRow(QStringLiteral("Performer"), albumPerformer_);
    form->addRow(QStringLiteral("UPC/EAN"), mcn_);
    form->addRow(sectionLabel(QStringLiteral("DISC")));
    form->addRow(discSummary_);
    form->addRow(sectionLabel(QStringLiteral("ALBUM LOUDNESS  (EBU R128)")));
    albumLoudness_ = new QLabel;
    albumLoudness_->setObjectName(QStringLiteral("albumLoudness"));
    albumLoudness_->setWordWrap(true);
    auto* analyzeAlbum = new QPushButton(QStringLiteral("Analyze Loudness (R128)"));
    connect(analyzeAlbum, &QPushButton::clicked, this, [this] { loudness_.analyzeAlbum(); });
    form->addRow(albumLoudness_);
    form->addRow(analyzeAlbum);
    const auto commitDisc = [this] {
        if (refreshing_) {
            return;
        }
        CDProject project = workspace_.project();
        project.albumTitle = albumTitle_->text().trimmed().toStdString();
        project.albumPerformer = optionalText(albumPerformer_->text());
        const std::string mcn = mcn_->text().trimmed().toStdString();
        if (mcn.empty() || (mcn.size() == 13 && mcn.find_first_not_of("0123456789") == std::string::npos)) {
            project.mcn = mcn;
        }
        workspace_.setProject(std::move(project));
    };
    for (auto* edit : {albumTitle_, albumPerformer_, mcn_}) {
        connect(edit, &QLineEdit::editingFinished, this, commitDisc);
    }
    return page;
}

QWidget* InspectorPanel::makeTrackPage() {
    auto* page = new QWidget;
    auto* outer = new QVBoxLayout(page);
    trackHeading_ = new QLabel;
    QFont headingFont = trackHeading_->font();
    headingFont.setPointSize(12);
    headingFont.setBold(true);
    trackHeading_->setFont(headingFont);
    outer->addWidget(trackHeading_);
    trackFields_ = new QWidget;
    auto* form = new QFormLayout(trackFields_);
    form->setContentsMargins(0, 0, 0, 0);
    form->setLabelAlignment(Qt::AlignRight);
    title_ = new QLineEdit;
    performer_ = new QLineEdit;
    isrc_ = new QLineEdit;
    isrc_->setPlaceholderText(QStringLiteral("CC-XXX-YY-NNNNN"));
    gainEnabled_ = new QCheckBox(QStringLiteral("Gain"));
    gain_ = new QDoubleSpinBox;
    gain_->setRange(-24.0, 12.0);
    gain_->setSingleStep(0.1);
    gain_->setDecimals(1);
    gain_->setSuffix(QStringLiteral(" dB"));
    fadeIn_ = new QDoubleSpinBox;
    fadeOut_ = new QDoubleSpinBox;
    for (auto* fade : {fadeIn_, fadeOut_}) {
        fade->setRange(0.0, 600.0);
        fade->setDecimals(2);
        fade->setSingleStep(0.1);
        fade->setSuffix(QStringLiteral(" s"));
    }
    preGap_ = new QSpinBox;
    preGap_->setRange(-75 * 60, 75 * 600);
    preGap_->setSuffix(QStringLiteral(" frames"));
    preEmphasis_ = new QCheckBox(QStringLiteral("Pre-emphasis"));
    copyPermitted_ = new QCheckBox(QStringLiteral("Digital copy permitted"));
    source_ = new QLabel;
    source_->setWordWrap(true);
    source_->setStyleSheet(QStringLiteral("color: #8a919b;"));

    form->addRow(sectionLabel(QStringLiteral("CD-TEXT")));
    form->addRow(QStringLiteral("Title"), title_);
    form->addRow(QStringLiteral("Performer"), performer_);
    form->addRow(QStringLiteral("ISRC"), isrc_);
    form->addRow(sectionLabel(QStringLiteral("LEVEL AND FADES")));
    form->addRow(gainEnabled_, gain_);
    form->addRow(QStringLiteral("Fade in"), fadeIn_);
    form->addRow(QStringLiteral("Fade out"), fadeOut_);
    form->addRow(sectionLabel(QStringLiteral("LAYOUT")));
    form->addRow(QStringLiteral("Pre-gap"), preGap_);
    form->addRow(preEmphasis_);
    form->addRow(copyPermitted_);
    form->addRow(sectionLabel(QStringLiteral("SOURCE")));
    form->addRow(source_);
    form->addRow(sectionLabel(QStringLiteral("LOUDNESS  (EBU R128)")));
    trackLoudness_ = new QLabel;
    trackLoudness_->setObjectName(QStringLiteral("trackLoudness"));
    trackAnalyze_ = new QPushButton(QStringLiteral("Analyze"));
    trackAnalyze_->setObjectName(QStringLiteral("trackAnalyze"));
    trackAnalyze_->setToolTip(
        QStringLiteral("EBU R128 measurement of this take (and any unmeasured takes of this track)"));
    auto* loudnessRow = new QHBoxLayout;
    loudnessRow->addWidget(trackLoudness_, 1);
    loudnessRow->addWidget(trackAnalyze_);
    form->addRow(loudnessRow);
    outer->addWidget(trackFields_);
    outer->addStretch(1);

    const auto commitText = [this] {
        if (refreshing_) {
            return;
        }
        const std::string code = isrc_->text().remove('-').trimmed().toUpper().toStdString();
        editSelected([&](CDTrack& track) {
            track.title = title_->text().trimmed().toStdString();
            track.performer = optionalText(performer_->text());
            if (code.empty() || WorkspaceState::isValidISRC(code)) {
                track.isrc = code.empty() ? std::nullopt : std::optional<std::string>(code);
            }
        });
    };
    for (auto* edit : {title_, performer_, isrc_}) {
        connect(edit, &QLineEdit::editingFinished, this, commitText);
    }
    connect(trackAnalyze_, &QPushButton::clicked, this, [this] {
        if (const CDTrack* track = selectedTrack()) {
            loudness_.analyzeTracks({track->id});
        }
    });
    connect(gainEnabled_, &QCheckBox::toggled, this, [this](bool on) {
        if (!refreshing_) {
            editSelected([on](CDTrack& track) { track.gainEnabled = on; });
        }
    });
    connect(gain_, &QDoubleSpinBox::editingFinished, this, [this] {
        if (const CDTrack* track = selectedTrack(); track && !refreshing_) {
            workspace_.updateTrackGain(track->id, static_cast<float>(gain_->value()), ReloadPlayback::yes);
        }
    });
    const auto commitFades = [this] {
        if (const CDTrack* track = selectedTrack(); track && !refreshing_) {
            workspace_.updateTrackFade(track->id, std::llround(fadeIn_->value() * sampleRate),
                                       std::llround(fadeOut_->value() * sampleRate), ReloadPlayback::yes);
        }
    };
    connect(fadeIn_, &QDoubleSpinBox::editingFinished, this, commitFades);
    connect(fadeOut_, &QDoubleSpinBox::editingFinished, this, commitFades);
    connect(preGap_, &QSpinBox::editingFinished, this, [this] {
        if (const CDTrack* track = selectedTrack(); track && !refreshing_) {
            workspace_.updatePregap(track->id, preGap_->value(), ReloadPlayback::yes);
        }
    });
    connect(preEmphasis_, &QCheckBox::toggled, this, [this](bool on) {
        if (const CDTrack* track = selectedTrack(); track && !refreshing_) {
            workspace_.updateTrackPreEmphasis(track->id, on);
        }
    });
    connect(copyPermitted_, &QCheckBox::toggled, this, [this](bool on) {
        if (const CDTrack* track = selectedTrack(); track && !refreshing_) {
            workspace_.bulkSetCopyPermitted({track->id}, on);
        }
    });
    return page;
}

QWidget* InspectorPanel::makeTakePage() {
    auto* page = new QWidget;
    auto* layout = new QVBoxLayout(page);
    layout->addWidget(sectionLabel(QStringLiteral("TAKE STACK  (the first is on the disc)")));
    takes_ = new QListWidget;
    takes_->setObjectName(QStringLiteral("takeStack"));
    layout->addWidget(takes_, 1);
    auto* buttons = new QHBoxLayout;
    promote_ = new QPushButton(QStringLiteral("Put on Disc"));
    audition_ = new QPushButton(QStringLiteral("Audition A/B"));
    audition_->setToolTip(QStringLiteral("Plays the chosen take; choosing another while it plays switches at "
                                         "the same moment"));
    buttons->addWidget(promote_);
    buttons->addWidget(audition_);
    layout->addLayout(buttons);
    layout->addWidget(sectionLabel(QStringLiteral("LOUDNESS  (EBU R128)")));
    takeLoudness_ = new QLabel;
    takeLoudness_->setObjectName(QStringLiteral("takeLoudness"));
    takeAnalyze_ = new QPushButton(QStringLiteral("Analyze"));
    takeAnalyze_->setObjectName(QStringLiteral("takeAnalyze"));
    takeAnalyze_->setToolTip(QStringLiteral("EBU R128 measurement of this take"));
    auto* loudnessRow = new QHBoxLayout;
    loudnessRow->addWidget(takeLoudness_, 1);
    loudnessRow->addWidget(takeAnalyze_);
    layout->addLayout(loudnessRow);
    layout->addWidget(sectionLabel(QStringLiteral("TONE AGAINST THE MASTER")));
    difference_ = new SpectralDifferenceView(loudness_.spectral());
    layout->addWidget(difference_);
    connect(takeAnalyze_, &QPushButton::clicked, this, [this] {
        const auto source = takeSourceAt(takes_->currentRow());
        if (!source) {
            return;
        }
        if (source->first == source->second) {
            loudness_.analyzeTracks({source->first});
        } else {
            loudness_.analyzeVersion(source->first, source->second);
        }
    });
    connect(takes_, &QListWidget::currentRowChanged, this, [this](int row) {
        const auto source = takeSourceAt(row);
        const CDTrack* track = selectedTrack();
        if (source && track && source->first != source->second) {
            const TrackVersion& take = track->versions[static_cast<std::size_t>(row - 1)];
            difference_->setSource(source->first, source->second,
                                   take.label.value_or(take.url.lastPathComponent()));
        } else {
            difference_->setSource(track ? std::optional<Uuid>(track->id) : std::nullopt, std::nullopt, "");
        }
        if (!refreshing_ && source && source->first != source->second) {
            workspace_.setSelectedVersionID(source->second);
        }
        refreshLoudness();
    });
    connect(promote_, &QPushButton::clicked, this, [this] {
        const CDTrack* track = selectedTrack();
        const int row = takes_->currentRow();
        if (track && row >= 1 && static_cast<std::size_t>(row - 1) < track->versions.size()) {
            workspace_.promoteVersionToActive(track->id,
                                              track->versions[static_cast<std::size_t>(row - 1)].id);
        }
    });
    const auto sourceAt = [this](int row) { return takeSourceAt(row); };
    connect(audition_, &QPushButton::clicked, this, [this, sourceAt] {
        if (const auto source = sourceAt(takes_->currentRow())) {
            workspace_.startPreview(source->first, source->second, true);
        }
    });
    connect(takes_, &QListWidget::currentRowChanged, promote_,
            [this](int row) { promote_->setEnabled(row >= 1); });
    // While an audition plays, picking another take switches to it at the same moment (A/B).
    connect(takes_, &QListWidget::currentRowChanged, this, [this, sourceAt](int row) {
        if (refreshing_ || !workspace_.preview().previewTrackID) {
            return;
        }
        if (const auto source = sourceAt(row)) {
            workspace_.switchPreview(source->first, source->second);
        }
    });
    return page;
}

const CDTrack* InspectorPanel::selectedTrack() const {
    const auto& id = workspace_.selectedTrackID();
    if (!id) {
        return nullptr;
    }
    const auto index = workspace_.project().indexOfTrack(*id);
    return index ? &workspace_.project().tracks[*index] : nullptr;
}

void InspectorPanel::editSelected(const std::function<void(CDTrack&)>& change) {
    const auto& id = workspace_.selectedTrackID();
    if (!id) {
        return;
    }
    CDProject project = workspace_.project();
    const auto index = project.indexOfTrack(*id);
    if (!index) {
        return;
    }
    change(project.tracks[*index]);
    workspace_.setProject(std::move(project));
}

void InspectorPanel::refresh() {
    refreshing_ = true;
    const CDProject& project = workspace_.project();
    albumTitle_->setText(QString::fromStdString(project.albumTitle));
    albumPerformer_->setText(QString::fromStdString(project.albumPerformer.value_or("")));
    mcn_->setText(QString::fromStdString(project.mcn));
    const auto& positions = workspace_.trackPositions();
    discSummary_->setText(QStringLiteral("%1 track%2, %3 total\nSample-rate conversion: %4")
                              .arg(project.tracks.size())
                              .arg(project.tracks.size() == 1 ? "" : "s")
                              .arg(TrackTableModel::msf(positions.empty() ? 0 : positions.back().endLBA))
                              .arg(QString::fromStdString(workspace_.srcDisplayValue())));

    const CDTrack* track = selectedTrack();
    trackFields_->setEnabled(track != nullptr);
    takes_->clear();
    difference_->setSource(std::nullopt, std::nullopt, "");
    promote_->setEnabled(false);
    audition_->setEnabled(track != nullptr && track->audioFileURL.has_value());
    if (!track) {
        trackHeading_->setText(QStringLiteral("No track selected"));
        refreshLoudness();
        refreshing_ = false;
        return;
    }
    const auto index = *project.indexOfTrack(track->id);
    trackHeading_->setText(QStringLiteral("Track %1").arg(index + 1));
    title_->setText(QString::fromStdString(track->title));
    performer_->setText(QString::fromStdString(track->performer.value_or("")));
    isrc_->setText(QString::fromStdString(track->isrc.value_or("")));
    gainEnabled_->setChecked(track->gainEnabled);
    gain_->setValue(track->gainDB);
    fadeIn_->setValue(static_cast<double>(track->fadeInSamples) / sampleRate);
    fadeOut_->setValue(static_cast<double>(track->fadeOutSamples) / sampleRate);
    preGap_->setValue(static_cast<int>(track->preGap.totalFrames));
    preEmphasis_->setChecked(track->preEmphasis);
    copyPermitted_->setChecked(track->copyPermitted);
    source_->setText(track->audioFileURL ? QString::fromStdString(track->audioFileURL->lastPathComponent())
                                         : QStringLiteral("No audio file"));

    auto* active = new QListWidgetItem(swatch(track->activeColorHex),
                                       QStringLiteral("%1  (on disc)")
                                           .arg(QString::fromStdString(track->activeLabel.value_or(
                                               track->audioFileURL ? track->audioFileURL->lastPathComponent()
                                                                   : std::string("Active take")))));
    takes_->addItem(active);
    for (const auto& version : track->versions) {
        takes_->addItem(new QListWidgetItem(
            swatch(version.colorHex),
            QString::fromStdString(version.label.value_or(version.url.lastPathComponent()))));
    }
    promote_->setEnabled(false);
    // The take chosen in the table (or before this refresh) stays chosen.
    int takeRow = 0;
    if (const auto& versionID = workspace_.selectedVersionID()) {
        for (std::size_t j = 0; j < track->versions.size(); ++j) {
            if (track->versions[j].id == *versionID) {
                takeRow = static_cast<int>(j) + 1;
            }
        }
    }
    takes_->setCurrentRow(takeRow);
    promote_->setEnabled(takeRow >= 1);
    refreshing_ = false;
    refreshLoudness();
}

} // namespace orvane::app
