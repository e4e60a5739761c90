#include "app/TrackTableModel.h"

#include "app/Theme.h"

#include <QBrush>
#include <QDateTime>
#include <QFont>
#include <QHeaderView>
#include <QLocale>
#include <QMenu>
#include <QTableView>
#include <QTimer>
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

} // namespace

TrackTableModel::TrackTableModel(WorkspaceState& workspace, LoudnessCommands& loudness, PanelHost& alerts,
                                 QObject* parent)
    : QAbstractTableModel(parent), workspace_(workspace), loudness_(loudness), alerts_(alerts) {
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
    if (view_ != nullptr) {
        selectWorkspaceRow(*view_);
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
        return format.needsSRC ? t.srcAlgorithm.value_or(workspace_.srcDisplayValue()) : "\u2014";
    }
    if (column == "dither") {
        return t.ditherEnabled ? "On" : "Off";
    }
    if (column == "lp") {
        return "";
    }
    return trackCellText(t, track.trackIndex, positionOf(t.id), column);
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
        if (std::holds_alternative<VersionRow>(row)) {
            return QBrush(Theme::dimText);
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
        if (const auto* track = std::get_if<TrackRow>(&row);
            track && column == "src" && track->track.audioFileURL) {
            const auto mark = srcMark(formats_.sourceFormat(track->track.audioFileURL->path()).needsSRC,
                                      [&]() -> std::optional<SRCCacheState> {
                                          const auto found = workspace_.srcCacheState().find(track->track.id);
                                          if (found == workspace_.srcCacheState().end()) {
                                              return std::nullopt;
                                          }
                                          return found->second;
                                      }());
            return mark.tooltip.empty() ? QVariant() : QVariant(QString::fromStdString(mark.tooltip));
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
    std::optional<std::int64_t> vinylGap;
    if (const auto* track = std::get_if<TrackRow>(&row); track && workspace_.vinylMode()) {
        if (const auto shown = workspace_.displayProject().indexOfTrack(track->track.id)) {
            vinylGap = workspace_.displayProject().tracks[*shown].preGap.totalFrames;
        }
    }
    if (cellOpensForEditing(row, columnID(index.column()), workspace_.vinylMode(), vinylGap)) {
        result |= Qt::ItemIsEditable;
    }
    return result;
}

bool TrackTableModel::setData(const QModelIndex& index, const QVariant& value, int role) {
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
    connect(&view, &QTableView::clicked, this, [this](const QModelIndex& index) {
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
    const auto selected = selectedRows(view);
    const bool multi =
        selected.size() >= 2 &&
        std::find(selected.begin(), selected.end(), static_cast<std::size_t>(rowUnder)) != selected.end();
    const SpreadsheetRow row = rows_[static_cast<std::size_t>(rowUnder)];
    QMenu menu;
    const QString analyze = QStringLiteral("Analyze Loudness (R128)");
    if (multi) {
        const auto ids = selectedTrackIDsForBulk(rows_, selected);
        menu.addAction(analyze, this, [this, ids] { loudness_.analyzeTracks(ids); });
    } else {
        const std::string srcMode = workspace_.srcDisplayValue();
        for (const MenuItem& item : contextMenu(row, srcMode == "Hybrid", workspace_.vinylMode(), {})) {
            if (item.title.empty()) {
                menu.addSeparator();
            } else if (item.title == "Delete") {
                menu.addAction(QStringLiteral("Delete"), this, [this, row] {
                    const auto question = deleteQuestion({row}, {0});
                    if (!question) {
                        return;
                    }
                    const std::string yes =
                        question->confirmButton.empty() ? "Delete" : question->confirmButton;
                    const std::size_t chosen =
                        alerts_.showAlert(AlertRequest{question->title.empty() ? "Delete" : question->title,
                                                       question->text,
                                                       {yes, "Cancel"},
                                                       AlertStyle::warning});
                    answer(workspace_, *question, chosen == 0);
                });
            } else if (item.title == "Replace\u2026") {
                menu.addAction(QString::fromStdString(item.title), this,
                               [this, row] { replaceRowFile(row); });
            } else if (item.title == "Analyze Loudness (R128)") {
                if (const auto* track = std::get_if<TrackRow>(&row)) {
                    menu.addAction(analyze, this,
                                   [this, id = track->track.id] { loudness_.analyzeTracks({id}); });
                } else if (const auto* version = std::get_if<VersionRow>(&row)) {
                    menu.addAction(analyze, this, [this, t = version->track.id, v = version->version.id] {
                        loudness_.analyzeVersion(t, v);
                    });
                }
            }
        }
    }
    if (!menu.isEmpty()) {
        menu.exec(view.viewport()->mapToGlobal(at));
    }
}

} // namespace orvane::app
