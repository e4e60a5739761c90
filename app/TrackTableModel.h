#pragma once
// The track table as a Qt model: a translation of the table's logic (rows, columns, cell texts and
// edit rules live in the interface layer) onto QAbstractTableModel, with the loudness figures filled
// in from the loudness commands as they arrive. attachView() gives a QTableView the table's
// behaviour: column widths and the header's column menu, selection, the chevron that shows a
// track's takes, double clicks and the row menu. GUI thread.

#include "app/LoudnessCommands.h"
#include "interface/TrackTable.h"
#include "workspace/PanelHost.h"
#include "workspace/WorkspaceState.h"

#include <QAbstractTableModel>
#include <optional>
#include <vector>

class QTableView;

namespace orvane::app {

class TrackTableModel final : public QAbstractTableModel {
  public:
    TrackTableModel(WorkspaceState& workspace, LoudnessCommands& loudness, PanelHost& alerts,
                    QObject* parent = nullptr);
    ~TrackTableModel() override;

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    // Commits through the table's edit rules; a refused value returns false and its alert (or the
    // auto-fill question of an accepted one) is shown once the edit has ended.
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;

    // The section of a column identifier ("lufs", "title"); -1 for none.
    static int section(std::string_view identifier);
    const std::vector<TrackTable::SpreadsheetRow>& rows() const { return rows_; }
    void attachView(QTableView& view);

    // "MM:SS:FF" of a frame count; a negative one gets a minus sign.
    static QString msf(std::int64_t frames);

  private:
    void rebuild();
    std::string cellText(const TrackTable::SpreadsheetRow& row, std::string_view column) const;
    std::optional<TrackLoudness> rowLoudness(const TrackTable::SpreadsheetRow& row) const;
    const TrackPosition* positionOf(const Uuid& trackID) const;
    void showOutcome(const TrackTable::EditOutcome& outcome);
    void showRowMenu(QTableView& view, const QPoint& at);
    // "Replace…": a new file for the row's track (its active take) or take.
    void replaceRowFile(const TrackTable::SpreadsheetRow& row);
    void showHeaderMenu(QTableView& view, const QPoint& at);
    void applyColumnVisibility(QTableView& view);
    std::vector<std::size_t> selectedRows(const QTableView& view) const;
    void selectWorkspaceRow(QTableView& view);

    WorkspaceState& workspace_;
    LoudnessCommands& loudness_;
    PanelHost& alerts_;
    WorkspaceState::SubscriptionID subscription_ = 0;
    LoudnessCommands::ListenerID loudnessListener_ = 0;
    std::vector<TrackTable::SpreadsheetRow> rows_;
    std::optional<TrackTable::TableCellFingerprint> lastFingerprint_;
    mutable TrackTable::FormatCache formats_;
    TrackTable::ColumnVisibility visibility_;
    QTableView* view_ = nullptr;
    bool syncingSelection_ = false;
};

} // namespace orvane::app
