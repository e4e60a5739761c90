#include "app/TrackTableModel.h"

#include "app/Theme.h"
#include "engines/SRCPreset.h"

#include <QBrush>
#include <QDateTime>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFont>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QMenu>
#include <QMimeData>
#include <QMouseEvent>
#include <QPainter>
#include <QPixmap>
#include <QPushButton>
#include <QTableView>
#include <QTimer>
#include <QUrl>
#include <QVBoxLayout>
#include <algorithm>
#include <cstdlib>

namespace orvane::app {

using namespace TrackTable;

namespace {

bool isMeasurementColumn(std::string_view column) {
    return column == "lufs" || column == "tp" || column == "lra";
}

bool isNumericColumn(std::string_view column) {
    return column == "index" || column == "start" || column == "end" || column == "length" ||
           column == "pregap" || isMeasurementColumn(column);
}

std::string_view columnID(int section) {
    const auto& all = columns();
    return section >= 0 && static_cast<std::size_t>(section) < all.size()
               ? all[static_cast<std::size_t>(section)].identifier
               : std::string_view();
}

QString dateText(const std::optional<Timestamp>& stamp) {
    if (!stamp) {
        return {};
    }
    const QDateTime time = QDateTime::fromSecsSinceEpoch(stamp->secondsSinceEpoch).toLocalTime();
    return QLocale().toString(time, QLocale::ShortFormat);
}

std::string measurementCell(const std::optional<TrackLoudness>& figures, std::string_view column) {
    if (!figures) {
        return "";
    }
    if (column == "lufs") {
        return measurementText(figures->lufs);
    }
    if (column == "tp") {
        return measurementText(figures->truePeak);
    }
    return measurementText(figures->lra);
}

const QString reorderType =
    QString::fromUtf8(reorderPasteboardType.data(), static_cast<qsizetype>(reorderPasteboardType.size()));

// The source file of a track or take row.
std::optional<std::filesystem::path> rowFile(const SpreadsheetRow& row) {
    if (const auto* t = std::get_if<TrackRow>(&row); t && t->track.audioFileURL) {
        return t->track.audioFileURL->path();
    }
    if (const auto* v = std::get_if<VersionRow>(&row)) {
        return v->version.url.path();
    }
    return std::nullopt;
}

std::optional<Uuid> rowSourceID(const SpreadsheetRow& row) {
    if (const auto* t = std::get_if<TrackRow>(&row)) {
        return t->track.id;
    }
    if (const auto* v = std::get_if<VersionRow>(&row)) {
        return v->version.id;
    }
    return std::nullopt;
}

QColor markColour(SRCMark::Look look) {
    switch (look) {
    case SRCMark::Look::red:
        return Theme::playhead;
    case SRCMark::Look::amber:
        return Theme::selection;
    case SRCMark::Look::green:
        return Theme::waveform;
    case SRCMark::Look::hidden:
        break;
    }
    return {};
}

// A round mark in the cell; a dim ring stands for the faint beat of a pulsing one.
QPixmap markPixmap(const QColor& colour, bool faint) {
    QPixmap pixmap(12, 12);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    QColor fill = colour;
    if (faint) {
        fill.setAlphaF(0.35f);
    }
    painter.setPen(Qt::NoPen);
    painter.setBrush(fill);
    painter.drawEllipse(QRectF(1.5, 1.5, 9.0, 9.0));
    return pixmap;
}

QString flagTitle(const char* name, FlagState state) {
    return state == FlagState::mixed ? QStringLiteral("%1 (mixed)").arg(QLatin1String(name))
                                     : QString::fromLatin1(name);
}

// The small panel of a bulk CD-Text edit: the question, one field, "Apply" and "Cancel".
std::optional<QString> askInPanel(const QString& title, const QString& prompt) {
    QDialog dialog;
    dialog.setWindowTitle(title);
    auto* layout = new QVBoxLayout(&dialog);
    auto* label = new QLabel(prompt);
    label->setWordWrap(true);
    auto* field = new QLineEdit;
    auto* buttons = new QDialogButtonBox;
    buttons->addButton(QStringLiteral("Apply"), QDialogButtonBox::AcceptRole)->setDefault(true);
    buttons->addButton(QStringLiteral("Cancel"), QDialogButtonBox::RejectRole);
    QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    layout->addWidget(label);
    layout->addWidget(field);
    layout->addWidget(buttons);
    dialog.setMinimumWidth(360);
    if (dialog.exec() != QDialog::Accepted) {
        return std::nullopt;
    }
    return field->text();
}

} // namespace

TrackTableModel::TrackTableModel(WorkspaceState& workspace, LoudnessCommands& loudness, PanelHost& alerts,
                                 QObject* parent)
    : QAbstractTableModel(parent), askText(askInPanel), workspace_(workspace), loudness_(loudness),
      alerts_(alerts) {
    rows_ = computeRows(workspace_.project(), workspace_.expandedTrackIDs(), workspace_.vinylMode());
    lastFingerprint_ = TableCellFingerprint::of(workspace_);
    subscription_ = workspace_.subscribe([this](WorkspaceProperty property) {
        switch (property) {
        case WorkspaceProperty::project:
        case WorkspaceProperty::trackPositions:
        case WorkspaceProperty::sidePositions:
        case WorkspaceProperty::vinylMode:
        case WorkspaceProperty::activeSideIndex:
        case WorkspaceProperty::expandedTrackIDs:
        case WorkspaceProperty::srcCacheState:
            rebuild();
            break;
        case WorkspaceProperty::selectedTrackID:
        case WorkspaceProperty::selectedVersionID:
            if (view_ != nullptr) {
                selectWorkspaceRow(*view_);
            }
            break;
        default:
            break;
        }
    });
    // Figures arrive one by one during a run; only their three columns change.
    pulse_ = new QTimer(this);
    pulse_->setInterval(500);
    connect(pulse_, &QTimer::timeout, this, [this] {
        pulseBright_ = !pulseBright_;
        if (!rows_.empty()) {
            emit dataChanged(index(0, section("src")),
                             index(static_cast<int>(rows_.size()) - 1, section("src")), {Qt::DecorationRole});
        }
    });
    updatePulse();
    loudnessListener_ = loudness_.subscribe([this] {
        if (!rows_.empty()) {
            emit dataChanged(index(0, section("lufs")),
                             index(static_cast<int>(rows_.size()) - 1, section("lra")));
        }
    });
}

TrackTableModel::~TrackTableModel() {
    loudness_.unsubscribe(loudnessListener_);
    workspace_.unsubscribe(subscription_);
}

int TrackTableModel::section(std::string_view identifier) {
    const auto& all = columns();
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (all[i].identifier == identifier) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

void TrackTableModel::rebuild() {
    auto rows = computeRows(workspace_.project(), workspace_.expandedTrackIDs(), workspace_.vinylMode());
    auto fingerprint = TableCellFingerprint::of(workspace_);
    if (rows.size() != rows_.size()) {
        beginResetModel();
        rows_ = std::move(rows);
        lastFingerprint_ = std::move(fingerprint);
        endResetModel();
    } else if (rows != rows_ || fingerprint != lastFingerprint_) {
        rows_ = std::move(rows);
        lastFingerprint_ = std::move(fingerprint);
        if (!rows_.empty()) {
            emit dataChanged(index(0, 0), index(static_cast<int>(rows_.size()) - 1, columnCount() - 1));
        }
    } else {
        return;
    }
    updatePulse();
    if (view_ != nullptr) {
        selectWorkspaceRow(*view_);
    }
}

void TrackTableModel::updatePulse() {
    const auto& states = workspace_.srcCacheState();
    const bool rendering = std::any_of(states.begin(), states.end(), [](const auto& entry) {
        return entry.second == SRCCacheState::rendering;
    });
    if (rendering && !pulse_->isActive()) {
        pulse_->start();
    } else if (!rendering && pulse_->isActive()) {
        pulse_->stop();
        pulseBright_ = true;
    }
}

int TrackTableModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

int TrackTableModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(columns().size());
}

QString TrackTableModel::msf(std::int64_t frames) {
    return QString::fromStdString(signedCDTime(frames));
}

const TrackPosition* TrackTableModel::positionOf(const Uuid& trackID) const {
    const auto shown = workspace_.displayProject().indexOfTrack(trackID);
    const auto& positions = workspace_.displayPositions();
    return shown && *shown < positions.size() ? &positions[*shown] : nullptr;
}

std::optional<TrackLoudness> TrackTableModel::rowLoudness(const SpreadsheetRow& row) const {
    if (const auto* track = std::get_if<TrackRow>(&row)) {
        return loudness_.figures(track->track.id);
    }
    if (const auto* version = std::get_if<VersionRow>(&row)) {
        return loudness_.figures(version->version.id);
    }
    return std::nullopt;
}

std::string TrackTableModel::cellText(const SpreadsheetRow& row, std::string_view column) const {
    if (isMeasurementColumn(column)) {
        return measurementCell(rowLoudness(row), column);
    }
    if (const auto* header = std::get_if<SideHeaderRow>(&row)) {
        return column == "filename" ? header->label : "";
    }
    if (const auto* version = std::get_if<VersionRow>(&row)) {
        if (column == "index") {
            return "\u2514 " + std::to_string(version->displayNumber);
        }
        if (column == "filename") {
            return version->version.url.lastPathComponent();
        }
        if (column == "title") {
            return version->version.label.value_or("");
        }
        if (column == "creationDate") {
            return dateText(version->version.creationDate).toStdString();
        }
        if (column == "format") {
            return formats_.sourceFormat(version->version.url.path()).label;
        }
        if (column == "src") {
            return srcText(row);
        }
        return "";
    }
    const auto& track = std::get<TrackRow>(row);
    const CDTrack& t = track.track;
    if (column == "index") {
        // The chevron shows whether the takes are open; a track without takes has none.
        const bool open = workspace_.expandedTrackIDs().count(t.id) != 0;
        const std::string chevron = t.versions.empty() ? "  " : (open ? "\u25be " : "\u25b8 ");
        return chevron + indexText(track.trackIndex);
    }
    if (column == "creationDate") {
        return dateText(t.creationDate).toStdString();
    }
    if (column == "format" || column == "src") {
        if (!t.audioFileURL) {
            return "";
        }
        const auto& format = formats_.sourceFormat(t.audioFileURL->path());
        if (column == "format") {
            return format.label;
        }
        return srcText(row);
    }
    if (column == "dither") {
        return t.ditherEnabled ? "On" : "Off";
    }
    if (column == "lp") {
        return lpText(workspace_.project(), t.id);
    }
    return trackCellText(t, track.trackIndex, positionOf(t.id), column);
}

std::string TrackTableModel::srcText(const SpreadsheetRow& row) const {
    const auto file = rowFile(row);
    const auto popup = srcPopup(row, workspace_.project());
    if (!file || !popup) {
        return "";
    }
    if (!formats_.sourceFormat(*file).needsSRC) {
        return "\u2014"; // already at the disc's rate
    }
    std::string text = popup->algorithm;
    if (!isLinearOnly(popup->algorithm)) {
        text += " \u00b7 " + popup->phase;
    }
    // The arrow says the cell opens a pop-up; in locked mode it doesn't.
    return popup->enabled ? text + "  \u25be" : text;
}

SRCMark TrackTableModel::rowMark(const SpreadsheetRow& row) const {
    const auto file = rowFile(row);
    const auto id = rowSourceID(row);
    if (!file || !id) {
        return {};
    }
    const auto& states = workspace_.srcCacheState();
    const auto found = states.find(*id);
    return srcMark(formats_.sourceFormat(*file).needsSRC,
                   found == states.end() ? std::nullopt : std::optional<SRCCacheState>(found->second));
}

QVariant TrackTableModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || static_cast<std::size_t>(index.row()) >= rows_.size()) {
        return {};
    }
    const SpreadsheetRow& row = rows_[static_cast<std::size_t>(index.row())];
    const std::string_view column = columnID(index.column());
    switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole:
        return QString::fromStdString(cellText(row, column));
    case Qt::TextAlignmentRole:
        return isNumericColumn(column) ? QVariant(Qt::AlignRight | Qt::AlignVCenter)
                                       : QVariant(Qt::AlignLeft | Qt::AlignVCenter);
    case Qt::CheckStateRole:
        if (const auto* track = std::get_if<TrackRow>(&row); track && column == "dither") {
            return track->track.ditherEnabled ? Qt::Checked : Qt::Unchecked;
        }
        return {};
    case Qt::FontRole: {
        if (std::holds_alternative<SideHeaderRow>(row)) {
            QFont bold;
            bold.setBold(true);
            return bold;
        }
        if (isNumericColumn(column) && column != "index") {
            QFont mono(QStringLiteral("monospace"));
            mono.setStyleHint(QFont::Monospace);
            return mono;
        }
        return {};
    }
    case Qt::ForegroundRole: {
        if (std::holds_alternative<VersionRow>(row) ||
            ((column == "src" || column == "dither") && !workspace_.srcIsHybrid())) {
            return QBrush(Theme::dimText); // the per-track choices wait for the hybrid mode
        }
        const auto* track = std::get_if<TrackRow>(&row);
        if (track && column == "isrc" && track->track.isrc && !track->track.isrc->empty() &&
            !WorkspaceState::isValidISRC(*track->track.isrc)) {
            return QBrush(Theme::playhead);
        }
        // A true peak above 0 dBTP will clip a consumer converter: it reads in the alarm colour.
        if (column == "tp") {
            if (const auto figures = rowLoudness(row); figures && figures->truePeak > 0.0) {
                return QBrush(Theme::playhead);
            }
        }
        return {};
    }
    case Qt::ToolTipRole:
        if (column == "src") {
            const auto mark = rowMark(row);
            return mark.tooltip.empty() ? QVariant() : QVariant(QString::fromStdString(mark.tooltip));
        }
        return {};
    case Qt::DecorationRole:
        if (column == "src") {
            const auto mark = rowMark(row);
            if (mark.look == SRCMark::Look::hidden) {
                return {};
            }
            return markPixmap(markColour(mark.look), mark.pulsing && !pulseBright_);
        }
        return {};
    default:
        return {};
    }
}

QVariant TrackTableModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal) {
        return {};
    }
    const std::string_view column = columnID(section);
    if (column.empty()) {
        return {};
    }
    if (role == Qt::DisplayRole) {
        return QString::fromUtf8(heading(column, workspace_.vinylMode()).data(),
                                 static_cast<qsizetype>(heading(column, workspace_.vinylMode()).size()));
    }
    if (role == Qt::TextAlignmentRole) {
        return isNumericColumn(column) ? QVariant(Qt::AlignRight | Qt::AlignVCenter)
                                       : QVariant(Qt::AlignLeft | Qt::AlignVCenter);
    }
    return {};
}

Qt::ItemFlags TrackTableModel::flags(const QModelIndex& index) const {
    Qt::ItemFlags result = QAbstractTableModel::flags(index);
    if (!index.isValid() || static_cast<std::size_t>(index.row()) >= rows_.size()) {
        return result;
    }
    const SpreadsheetRow& row = rows_[static_cast<std::size_t>(index.row())];
    if (std::holds_alternative<TrackRow>(row) && !workspace_.vinylMode()) {
        result |= Qt::ItemIsDragEnabled;
    }
    std::optional<std::int64_t> vinylGap;
    if (const auto* track = std::get_if<TrackRow>(&row); track && workspace_.vinylMode()) {
        if (const auto shown = workspace_.displayProject().indexOfTrack(track->track.id)) {
            vinylGap = workspace_.displayProject().tracks[*shown].preGap.totalFrames;
        }
    }
    if (cellOpensForEditing(row, columnID(index.column()), workspace_.vinylMode(), vinylGap)) {
        result |= Qt::ItemIsEditable;
    }
    // The track's dither switch; like the converter it is the track's own only in hybrid mode.
    if (std::holds_alternative<TrackRow>(row) && columnID(index.column()) == "dither" &&
        workspace_.srcIsHybrid() && !workspace_.vinylMode()) {
        result |= Qt::ItemIsUserCheckable;
    }
    return result;
}

bool TrackTableModel::setData(const QModelIndex& index, const QVariant& value, int role) {
    if (role == Qt::CheckStateRole && (flags(index) & Qt::ItemIsUserCheckable)) {
        const auto* track = std::get_if<TrackRow>(&rows_[static_cast<std::size_t>(index.row())]);
        if (track == nullptr) {
            return false;
        }
        workspace_.setTrackDither(track->track.id, value.toInt() == Qt::Checked);
        return true;
    }
    if (role != Qt::EditRole || !(flags(index) & Qt::ItemIsEditable)) {
        return false;
    }
    const auto* track = std::get_if<TrackRow>(&rows_[static_cast<std::size_t>(index.row())]);
    if (track == nullptr) {
        return false;
    }
    const Uuid id = track->track.id;
    const std::string text = value.toString().toStdString();
    const EditOutcome outcome = commitEdit(workspace_, id, columnID(index.column()), text);
    showOutcome(outcome);
    return outcome.stored;
}

void TrackTableModel::showOutcome(const EditOutcome& outcome) {
    if (!outcome.alert && !outcome.question) {
        return;
    }
    // After the editor has closed: a modal window inside the commit would reenter the view.
    QTimer::singleShot(0, this, [this, outcome] {
        if (outcome.alert) {
            alerts_.showAlert(
                AlertRequest{outcome.alert->title, outcome.alert->text, {"OK"}, AlertStyle::warning});
        }
        if (outcome.question) {
            const auto& q = *outcome.question;
            const std::string yes = q.confirmButton.empty() ? "Yes" : q.confirmButton;
            const std::size_t chosen =
                alerts_.showAlert(AlertRequest{q.title,
                                               q.text,
                                               {yes, q.confirmButton.empty() ? "No" : "Cancel"},
                                               AlertStyle::informational});
            answer(workspace_, q, chosen == 0);
        }
    });
}

} // namespace orvane::app

namespace orvane::app {

void TrackTableModel::attachView(QTableView& view) {
    view_ = &view;
    view.setModel(this);
    view.setSelectionBehavior(QAbstractItemView::SelectRows);
    view.setSelectionMode(QAbstractItemView::ExtendedSelection);
    view.setAlternatingRowColors(true);
    view.setShowGrid(false);
    view.setWordWrap(false);
    view.verticalHeader()->hide();
    view.verticalHeader()->setDefaultSectionSize(static_cast<int>(rowHeight));
    view.horizontalHeader()->setHighlightSections(false);
    view.horizontalHeader()->setSectionsMovable(true);
    view.horizontalHeader()->setStretchLastSection(true);
    view.setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed);
    view.setDragEnabled(true);
    view.setAcceptDrops(true);
    view.setDropIndicatorShown(true);
    view.setDragDropOverwriteMode(false);
    view.setDragDropMode(QAbstractItemView::DragDrop);
    view.setDefaultDropAction(Qt::MoveAction);
    view.viewport()->installEventFilter(this);
    for (std::size_t i = 0; i < columns().size(); ++i) {
        view.setColumnWidth(static_cast<int>(i), static_cast<int>(columns()[i].width));
    }
    applyColumnVisibility(view);

    view.horizontalHeader()->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(view.horizontalHeader(), &QHeaderView::customContextMenuRequested, this,
            [this, &view](const QPoint& at) { showHeaderMenu(view, at); });
    view.setContextMenuPolicy(Qt::CustomContextMenu);
    connect(&view, &QTableView::customContextMenuRequested, this,
            [this, &view](const QPoint& at) { showRowMenu(view, at); });

    connect(view.selectionModel(), &QItemSelectionModel::selectionChanged, this, [this, &view] {
        if (syncingSelection_) {
            return;
        }
        const auto selected = selectedRows(view);
        if (selected.empty()) {
            handleEmptyClick(workspace_);
            return;
        }
        const int current = view.currentIndex().row();
        const std::size_t clicked = current >= 0 ? static_cast<std::size_t>(current) : selected.front();
        workspace_.tableMultiSelectionActive = selected.size() >= 2;
        handleRowClick(workspace_, rows_, selected, clicked);
    });
    // The chevron in the number column opens and closes a track's takes.
    connect(&view, &QTableView::clicked, this, [this, &view](const QModelIndex& index) {
        if (columnID(index.column()) == "src") {
            srcCellClicked(view, index);
            return;
        }
        if (columnID(index.column()) != "index" || static_cast<std::size_t>(index.row()) >= rows_.size()) {
            return;
        }
        const auto* track = std::get_if<TrackRow>(&rows_[static_cast<std::size_t>(index.row())]);
        if (track == nullptr || track->track.versions.empty()) {
            return;
        }
        auto expanded = workspace_.expandedTrackIDs();
        if (!expanded.erase(track->track.id)) {
            expanded.insert(track->track.id);
        }
        workspace_.setExpandedTrackIDs(std::move(expanded));
    });
    // A double click outside an editable cell plays from the track's start.
    connect(&view, &QTableView::doubleClicked, this, [this](const QModelIndex& index) {
        if (!(flags(index) & Qt::ItemIsEditable) && static_cast<std::size_t>(index.row()) < rows_.size()) {
            playFromRow(workspace_, rows_[static_cast<std::size_t>(index.row())]);
        }
    });
    connect(this, &QAbstractItemModel::modelReset, this, [this, &view] { selectWorkspaceRow(view); });
    selectWorkspaceRow(view);
}

std::vector<std::size_t> TrackTableModel::selectedRows(const QTableView& view) const {
    std::vector<std::size_t> selected;
    for (const QModelIndex& index : view.selectionModel()->selectedRows()) {
        if (static_cast<std::size_t>(index.row()) < rows_.size()) {
            selected.push_back(static_cast<std::size_t>(index.row()));
        }
    }
    std::sort(selected.begin(), selected.end());
    return selected;
}

void TrackTableModel::selectWorkspaceRow(QTableView& view) {
    if (workspace_.tableMultiSelectionActive && selectedRows(view).size() >= 2) {
        return; // the user's several rows stand; the workspace holds only the first
    }
    const auto& trackID = workspace_.selectedTrackID();
    const auto& versionID = workspace_.selectedVersionID();
    int found = -1;
    for (std::size_t i = 0; i < rows_.size() && trackID; ++i) {
        if (const auto* version = std::get_if<VersionRow>(&rows_[i]);
            version && versionID && version->version.id == *versionID) {
            found = static_cast<int>(i);
            break;
        }
        if (const auto* track = std::get_if<TrackRow>(&rows_[i]);
            track && track->track.id == *trackID && found < 0) {
            found = static_cast<int>(i);
            if (!versionID) {
                break;
            }
        }
    }
    syncingSelection_ = true;
    if (found >= 0) {
        if (selectedRows(view) != std::vector<std::size_t>{static_cast<std::size_t>(found)}) {
            view.selectRow(found);
        }
    } else {
        view.clearSelection();
    }
    syncingSelection_ = false;
}

void TrackTableModel::applyColumnVisibility(QTableView& view) {
    visibility_.applyVinyl(workspace_.vinylMode());
    for (std::size_t i = 0; i < columns().size(); ++i) {
        view.setColumnHidden(static_cast<int>(i), !visibility_.isShown(columns()[i].identifier));
    }
}

void TrackTableModel::showHeaderMenu(QTableView& view, const QPoint& at) {
    QMenu menu;
    for (const TableColumn& column : columns()) {
        QAction* action = menu.addAction(
            QString::fromUtf8(column.heading.data(), static_cast<qsizetype>(column.heading.size())));
        action->setCheckable(true);
        action->setChecked(visibility_.isShown(column.identifier));
        connect(action, &QAction::triggered, this, [this, &view, id = std::string(column.identifier)] {
            visibility_.toggle(id);
            const int s = section(id);
            view.setColumnHidden(s, !visibility_.isShown(id));
        });
    }
    menu.exec(view.horizontalHeader()->mapToGlobal(at));
}

void TrackTableModel::replaceRowFile(const SpreadsheetRow& row) {
    OpenPanelRequest request;
    request.title = "Replace";
    const auto file = alerts_.runOpenPanel(request);
    if (!file) {
        return;
    }
    if (const auto* track = std::get_if<TrackRow>(&row)) {
        workspace_.replaceActiveTrackFile(track->track.id, *file);
    } else if (const auto* version = std::get_if<VersionRow>(&row)) {
        workspace_.replaceVersionFile(version->track.id, version->version.id, *file);
    }
}

void TrackTableModel::showRowMenu(QTableView& view, const QPoint& at) {
    const int rowUnder = view.rowAt(at.y());
    if (rowUnder < 0 || static_cast<std::size_t>(rowUnder) >= rows_.size()) {
        return;
    }
    const auto menu = buildRowMenu(selectedRows(view), static_cast<std::size_t>(rowUnder));
    if (menu && !menu->isEmpty()) {
        menu->exec(view.viewport()->mapToGlobal(at));
    }
}

std::unique_ptr<QMenu> TrackTableModel::buildRowMenu(const std::vector<std::size_t>& selected,
                                                     std::size_t rowUnder) {
    if (rowUnder >= rows_.size()) {
        return nullptr;
    }
    auto menu = std::make_unique<QMenu>();
    const bool multi =
        selected.size() >= 2 && std::find(selected.begin(), selected.end(), rowUnder) != selected.end();
    const SpreadsheetRow row = rows_[rowUnder];
    const QString analyze = QStringLiteral("Analyze Loudness (R128)");
    if (multi) {
        const auto ids = selectedTrackIDsForBulk(rows_, selected);
        if (!ids.empty()) {
            addBulkActions(*menu, ids);
            menu->addSeparator();
        }
        menu->addAction(analyze, this, [this, ids] { loudness_.analyzeTracks(ids); });
        return menu;
    }
    for (const MenuItem& item : contextMenu(row, workspace_.srcIsHybrid(), workspace_.vinylMode(), {})) {
        if (item.title.empty()) {
            menu->addSeparator();
        } else if (item.title == "Delete") {
            menu->addAction(QStringLiteral("Delete"), this, [this, row] {
                const auto question = deleteQuestion({row}, {0});
                if (!question) {
                    return;
                }
                const std::string yes = question->confirmButton.empty() ? "Delete" : question->confirmButton;
                const std::size_t chosen =
                    alerts_.showAlert(AlertRequest{question->title.empty() ? "Delete" : question->title,
                                                   question->text,
                                                   {yes, "Cancel"},
                                                   AlertStyle::warning});
                answer(workspace_, *question, chosen == 0);
            });
        } else if (item.title == "Replace\u2026") {
            menu->addAction(QString::fromStdString(item.title), this, [this, row] { replaceRowFile(row); });
        } else if (item.title == "Analyze Loudness (R128)") {
            if (const auto* track = std::get_if<TrackRow>(&row)) {
                menu->addAction(analyze, this,
                                [this, id = track->track.id] { loudness_.analyzeTracks({id}); });
            } else if (const auto* version = std::get_if<VersionRow>(&row)) {
                menu->addAction(analyze, this, [this, t = version->track.id, v = version->version.id] {
                    loudness_.analyzeVersion(t, v);
                });
            }
        } else if (item.title == "SRC Phase") {
            addPhaseMenu(*menu, row);
        }
    }
    return menu;
}

void TrackTableModel::addBulkActions(QMenu& menu, const std::vector<Uuid>& ids) {
    const BulkMenu bulk = multiSelectionMenu(workspace_.project(), ids);
    for (std::size_t i = 0; i < bulk.fieldTitles.size() && i < bulkFields.size(); ++i) {
        const std::string field(bulkFields[i]);
        menu.addAction(QString::fromStdString(bulk.fieldTitles[i]), this, [this, field, ids] {
            const std::string title = multiFieldMenuTitle(field, ids.size());
            const auto value = askText(QString::fromStdString(title.substr(0, title.find("\u2026"))),
                                       QString::fromStdString(multiFieldPrompt(field)));
            if (value) {
                multiSetCDTextField(workspace_, field, ids, value->trimmed().toStdString());
            }
        });
    }
    menu.addSeparator();
    QAction* emphasis = menu.addAction(flagTitle("Pre-emphasis", bulk.preEmphasis), this,
                                       [this, ids] { multiTogglePreEmphasis(workspace_, ids); });
    emphasis->setCheckable(true);
    emphasis->setChecked(bulk.preEmphasis == FlagState::on);
    QAction* copy = menu.addAction(flagTitle("Copy Permitted", bulk.copyPermitted), this,
                                   [this, ids] { multiToggleCopyPermitted(workspace_, ids); });
    copy->setCheckable(true);
    copy->setChecked(bulk.copyPermitted == FlagState::on);
}

void TrackTableModel::addPhaseMenu(QMenu& menu, const SpreadsheetRow& row) {
    const auto popup = srcPopup(row, workspace_.project());
    if (!popup) {
        return;
    }
    QMenu* phases = menu.addMenu(QStringLiteral("SRC Phase"));
    phases->setEnabled(popup->phaseEnabled);
    for (const std::string& phase : popup->phases) {
        QAction* action = phases->addAction(QString::fromStdString(phase), this,
                                            [this, row, phase] { chooseSRCPhase(workspace_, row, phase); });
        action->setCheckable(true);
        action->setChecked(phase == popup->phase);
    }
}

std::unique_ptr<QMenu> TrackTableModel::buildSRCMenu(std::size_t rowIndex) {
    if (rowIndex >= rows_.size()) {
        return nullptr;
    }
    const SpreadsheetRow row = rows_[rowIndex];
    const auto popup = srcPopup(row, workspace_.project());
    if (!popup) {
        return nullptr;
    }
    auto menu = std::make_unique<QMenu>();
    menu->setEnabled(popup->enabled);
    for (const std::string& algorithm : popup->algorithms) {
        QAction* action = menu->addAction(QString::fromStdString(algorithm), this, [this, row, algorithm] {
            chooseSRCAlgorithm(workspace_, row, algorithm);
        });
        action->setCheckable(true);
        action->setChecked(algorithm == popup->algorithm);
        action->setEnabled(popup->enabled);
    }
    menu->addSeparator();
    addPhaseMenu(*menu, row);
    return menu;
}

void TrackTableModel::srcCellClicked(QTableView& view, const QModelIndex& index) {
    const auto at = static_cast<std::size_t>(index.row());
    if (at >= rows_.size()) {
        return;
    }
    // The mark sits at the cell's left; a red one there builds the row's converted file.
    const QRect cell = view.visualRect(index);
    const SRCMark mark = rowMark(rows_[at]);
    if (mark.clickBuilds && lastPress_.x() < cell.left() + 22) {
        buildRowSRCCache(workspace_, rows_[at]);
        return;
    }
    if (!workspace_.srcIsHybrid()) {
        return;
    }
    if (const auto menu = buildSRCMenu(at)) {
        menu->exec(view.viewport()->mapToGlobal(cell.bottomLeft()));
    }
}

bool TrackTableModel::eventFilter(QObject* watched, QEvent* event) {
    if (view_ != nullptr && watched == view_->viewport() && event->type() == QEvent::MouseButtonPress) {
        lastPress_ = static_cast<QMouseEvent*>(event)->position().toPoint();
    }
    return QAbstractTableModel::eventFilter(watched, event);
}

QStringList TrackTableModel::mimeTypes() const {
    return {reorderType, QStringLiteral("text/uri-list")};
}

QMimeData* TrackTableModel::mimeData(const QModelIndexList& indexes) const {
    std::vector<std::size_t> picked;
    for (const QModelIndex& index : indexes) {
        if (index.isValid()) {
            picked.push_back(static_cast<std::size_t>(index.row()));
        }
    }
    const auto rows = draggableRows(rows_, picked);
    if (rows.empty()) {
        return nullptr;
    }
    QStringList numbers;
    for (std::size_t r : rows) {
        numbers << QString::number(r);
    }
    auto* data = new QMimeData;
    data->setData(reorderType, numbers.join(QLatin1Char(',')).toUtf8());
    return data;
}

Qt::DropActions TrackTableModel::supportedDropActions() const {
    return Qt::MoveAction | Qt::CopyAction;
}

Qt::DropActions TrackTableModel::supportedDragActions() const {
    return Qt::MoveAction;
}

namespace {

// The rows a drag carries, as written by mimeData(); rows past the table's end are dropped.
std::vector<std::size_t> draggedRows(const QMimeData& data, std::size_t rowCount) {
    std::vector<std::size_t> rows;
    for (const QByteArray& part : data.data(reorderType).split(',')) {
        bool ok = false;
        const qulonglong r = part.toULongLong(&ok);
        if (ok && r < rowCount) {
            rows.push_back(static_cast<std::size_t>(r));
        }
    }
    return rows;
}

std::vector<std::filesystem::path> droppedFiles(const QMimeData& data) {
    std::vector<std::filesystem::path> files;
    for (const QUrl& url : data.urls()) {
        if (url.isLocalFile()) {
            files.emplace_back(url.toLocalFile().toStdString());
        }
    }
    return files;
}

// Qt's drop place: between rows gives `row`; on a row means before it; past the end is the end.
std::size_t dropRowOf(int row, const QModelIndex& parent, std::size_t rowCount) {
    if (row >= 0) {
        return std::min(static_cast<std::size_t>(row), rowCount);
    }
    return parent.isValid() ? static_cast<std::size_t>(parent.row()) : rowCount;
}

} // namespace

bool TrackTableModel::canDropMimeData(const QMimeData* data, Qt::DropAction, int row, int,
                                      const QModelIndex& parent) const {
    if (data == nullptr || workspace_.vinylMode()) {
        return false;
    }
    const std::size_t at = dropRowOf(row, parent, rows_.size());
    if (data->hasFormat(reorderType)) {
        return validateDrop(rows_, draggedRows(*data, rows_.size()), at);
    }
    return !droppedFiles(*data).empty() &&
           fileDropIndex(rows_, at, workspace_.project().tracks.size()).has_value();
}

bool TrackTableModel::dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                                   const QModelIndex& parent) {
    if (!canDropMimeData(data, action, row, column, parent)) {
        return false;
    }
    const std::size_t at = dropRowOf(row, parent, rows_.size());
    // The rows are copied: the workspace's change rebuilds rows_ while the drop runs.
    const auto rows = rows_;
    if (data->hasFormat(reorderType)) {
        acceptDrop(workspace_, rows, draggedRows(*data, rows.size()), at);
    } else {
        acceptFileDrop(workspace_, rows, droppedFiles(*data), at);
    }
    // removeRows() stays the base's no-op, so the view's clean-up after a move takes nothing away.
    return true;
}

} // namespace orvane::app
