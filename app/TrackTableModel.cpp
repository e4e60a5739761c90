#include "app/TrackTableModel.h"

#include "app/Theme.h"

#include <QBrush>
#include <QFont>
#include <cctype>
#include <cstdlib>

namespace orvane::app {

TrackTableModel::TrackTableModel(WorkspaceState& workspace, QObject* parent)
    : QAbstractTableModel(parent), workspace_(workspace) {
    shownRows_ = static_cast<int>(workspace_.displayProject().tracks.size());
    subscription_ = workspace_.subscribe([this](WorkspaceProperty property) { onWorkspaceChange(property); });
}

TrackTableModel::~TrackTableModel() {
    workspace_.unsubscribe(subscription_);
}

void TrackTableModel::onWorkspaceChange(WorkspaceProperty property) {
    if (property != WorkspaceProperty::project && property != WorkspaceProperty::trackPositions &&
        property != WorkspaceProperty::sidePositions && property != WorkspaceProperty::vinylMode) {
        return;
    }
    const int rows = static_cast<int>(workspace_.displayProject().tracks.size());
    if (rows != shownRows_) {
        beginResetModel();
        shownRows_ = rows;
        endResetModel();
        return;
    }
    if (rows > 0) {
        emit dataChanged(index(0, 0), index(rows - 1, columnCount_ - 1));
    }
}

int TrackTableModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : shownRows_;
}

int TrackTableModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : columnCount_;
}

QString TrackTableModel::msf(std::int64_t frames) {
    const bool negative = frames < 0;
    const std::int64_t magnitude = std::llabs(frames);
    return QStringLiteral("%1%2:%3:%4")
        .arg(negative ? QStringLiteral("-") : QString())
        .arg(magnitude / 4500, 2, 10, QLatin1Char('0'))
        .arg((magnitude / 75) % 60, 2, 10, QLatin1Char('0'))
        .arg(magnitude % 75, 2, 10, QLatin1Char('0'));
}

QVariant TrackTableModel::data(const QModelIndex& index, int role) const {
    const CDProject& project = workspace_.displayProject();
    const auto& positions = workspace_.displayPositions();
    const auto row = static_cast<std::size_t>(index.row());
    if (!index.isValid() || row >= project.tracks.size()) {
        return {};
    }
    const CDTrack& track = project.tracks[row];
    if (role == Qt::TextAlignmentRole) {
        return index.column() >= preGap || index.column() == number
                   ? QVariant(Qt::AlignRight | Qt::AlignVCenter)
                   : QVariant(Qt::AlignLeft | Qt::AlignVCenter);
    }
    if (role == Qt::FontRole && index.column() >= preGap) {
        QFont mono(QStringLiteral("monospace"));
        mono.setStyleHint(QFont::Monospace);
        return mono;
    }
    if (role == Qt::ForegroundRole && index.column() == isrc && track.isrc && !track.isrc->empty() &&
        !WorkspaceState::isValidISRC(*track.isrc)) {
        return QBrush(Theme::playhead);
    }
    if (role != Qt::DisplayRole && role != Qt::EditRole) {
        return {};
    }
    const TrackPosition* position = row < positions.size() ? &positions[row] : nullptr;
    switch (index.column()) {
    case number:
        return static_cast<int>(row + 1);
    case title:
        return QString::fromStdString(track.title);
    case performer:
        return QString::fromStdString(track.performer.value_or(""));
    case isrc:
        return QString::fromStdString(track.isrc.value_or(""));
    case preGap:
        return msf(track.preGap.totalFrames);
    case start:
        return position ? msf(position->index01LBA) : QString();
    case length:
        return msf(track.effectiveLength().totalFrames);
    case gain:
        return track.gainEnabled ? QStringLiteral("%1 dB").arg(track.gainDB, 0, 'f', 1) : QStringLiteral("—");
    case fadeIn:
        return QStringLiteral("%1 s").arg(static_cast<double>(track.fadeInSamples) / 44100.0, 0, 'f', 2);
    case fadeOut:
        return QStringLiteral("%1 s").arg(static_cast<double>(track.fadeOutSamples) / 44100.0, 0, 'f', 2);
    default:
        return {};
    }
}

QVariant TrackTableModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) {
        return {};
    }
    static const char* const names[] = {"#",     "Title",  "Performer", "ISRC",    "Pre-gap",
                                        "Start", "Length", "Gain",      "Fade In", "Fade Out"};
    return section >= 0 && section < columnCount_ ? QString::fromLatin1(names[section]) : QVariant();
}

Qt::ItemFlags TrackTableModel::flags(const QModelIndex& index) const {
    Qt::ItemFlags result = QAbstractTableModel::flags(index);
    if (index.column() == title || index.column() == performer || index.column() == isrc) {
        result |= Qt::ItemIsEditable;
    }
    return result;
}

bool TrackTableModel::setData(const QModelIndex& index, const QVariant& value, int role) {
    if (role != Qt::EditRole || !index.isValid()) {
        return false;
    }
    const auto row = static_cast<std::size_t>(index.row());
    CDProject project = workspace_.project();
    if (row >= project.tracks.size()) {
        return false;
    }
    CDTrack& track = project.tracks[row];
    const std::string text = value.toString().trimmed().toStdString();
    switch (index.column()) {
    case title:
        track.title = text;
        break;
    case performer:
        track.performer = text.empty() ? std::nullopt : std::optional<std::string>(text);
        break;
    case isrc: {
        std::string code;
        for (const char c : text) {
            if (c != '-') {
                code += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
            }
        }
        if (!code.empty() && !WorkspaceState::isValidISRC(code)) {
            return false; // refused: the cell keeps its value
        }
        track.isrc = code.empty() ? std::nullopt : std::optional<std::string>(code);
        break;
    }
    default:
        return false;
    }
    workspace_.setProject(std::move(project));
    return true;
}

} // namespace orvane::app
