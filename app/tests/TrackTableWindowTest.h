#pragma once
// The track table's drags, drops, row menus and SRC cell in the real window (QTest); declared apart
// from their bodies so that moc reads only Qt.

#include <QObject>

class TrackTableWindowTest final : public QObject {
    Q_OBJECT
  private Q_SLOTS:
    void draggedRowsMoveAsOneUndoStep();
    void droppedAudioFilesEnterAtTheRow();
    void bulkEditsOnSeveralRowsAreEachOneUndoStep();
    void srcAndDitherCellsFollowTheMode();
    void lpColumnShowsTheSideAndPlace();
};
