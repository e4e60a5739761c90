#pragma once
// The track table: one row per track of the disc in running order, with its number, CD-Text,
// ISRC, gap, start, length, gain and fades. Title, performer and ISRC are edited in place (an ISRC
// must be valid or empty); each edit is one undo step. GUI thread.

#include "workspace/WorkspaceState.h"

#include <QAbstractTableModel>

namespace orvane::app {

class TrackTableModel final : public QAbstractTableModel {
  public:
    enum Column {
        number,
        title,
        performer,
        isrc,
        preGap,
        start,
        length,
        gain,
        fadeIn,
        fadeOut,
        columnCount_
    };

    explicit TrackTableModel(WorkspaceState& workspace, QObject* parent = nullptr);
    ~TrackTableModel() override;

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;

    // "MM:SS:FF" of a frame count; a negative one gets a minus sign.
    static QString msf(std::int64_t frames);

  private:
    void onWorkspaceChange(WorkspaceProperty property);

    WorkspaceState& workspace_;
    WorkspaceState::SubscriptionID subscription_ = 0;
    int shownRows_ = 0;
};

} // namespace orvane::app
