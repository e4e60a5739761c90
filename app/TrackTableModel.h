#pragma once
// The track table as a Qt model: a translation of the table's logic (rows, columns, cell texts and
// edit rules live in the interface layer) onto QAbstractTableModel, with the loudness figures filled
// in from the loudness commands as they arrive. attachView() gives a QTableView the table's
// behaviour: column widths and the header's column menu, selection, the chevron that shows a
// track's takes, double clicks, the row menu (its bulk edits for several rows), the SRC cell's
// pop-up and state mark, and drag and drop of rows and of audio files. GUI thread.

#include "app/LoudnessCommands.h"
#include "interface/TrackTable.h"
#include "workspace/PanelHost.h"
#include "workspace/WorkspaceState.h"

#include <QAbstractTableModel>
#include <QPoint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

class QMenu;
class QTimer;
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

    // Dragged rows travel under the table's own MIME type; audio files come as URLs.
    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    Qt::DropActions supportedDropActions() const override;
    Qt::DropActions supportedDragActions() const override;
    bool canDropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                         const QModelIndex& parent) const override;
    bool dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                      const QModelIndex& parent) override;

    // The row menu for the row under the pointer, given the selected rows; the caller runs it.
    std::unique_ptr<QMenu> buildRowMenu(const std::vector<std::size_t>& selected, std::size_t rowUnder);
    // The SRC cell's pop-up of one row; nothing for a row without one.
    std::unique_ptr<QMenu> buildSRCMenu(std::size_t row);
    // Asks for a CD-Text value for several tracks; nothing on "Cancel". A small panel by default;
    // tests answer it themselves.
    std::function<std::optional<QString>(const QString& title, const QString& prompt)> askText;

    // The section of a column identifier ("lufs", "title"); -1 for none.
    static int section(std::string_view identifier);
    const std::vector<TrackTable::SpreadsheetRow>& rows() const { return rows_; }
    void attachView(QTableView& view);

    // "MM:SS:FF" of a frame count; a negative one gets a minus sign.
    static QString msf(std::int64_t frames);

  private:
    void rebuild();
    std::string cellText(const TrackTable::SpreadsheetRow& row, std::string_view column) const;
    std::string srcText(const TrackTable::SpreadsheetRow& row) const;
    TrackTable::SRCMark rowMark(const TrackTable::SpreadsheetRow& row) const;
    void updatePulse();
    std::optional<TrackLoudness> rowLoudness(const TrackTable::SpreadsheetRow& row) const;
    const TrackPosition* positionOf(const Uuid& trackID) const;
    void showOutcome(const TrackTable::EditOutcome& outcome);
    void showRowMenu(QTableView& view, const QPoint& at);
    void addBulkActions(QMenu& menu, const std::vector<Uuid>& ids);
    void addPhaseMenu(QMenu& menu, const TrackTable::SpreadsheetRow& row);
    void srcCellClicked(QTableView& view, const QModelIndex& index);
    bool eventFilter(QObject* watched, QEvent* event) override;
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
    QTimer* pulse_ = nullptr; // beats the amber mark while a cache renders
    bool pulseBright_ = true;
    QPoint lastPress_; // in the view's viewport, for a click on the SRC cell's mark
};

} // namespace orvane::app
