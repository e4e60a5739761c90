#pragma once
// The timeline canvas on screen driven with synthetic mouse events (QTest, offscreen): each kind of
// drag edits the document as one undo step, a drag repaints only the tracks it touches, snapping
// and its Ctrl bypass, the waveform renderer setting, wheel zoom about the pointer, real samples at a
// close zoom, the kept
// waveform pictures, and the transport bar's display and keys. Declared apart so
// that moc reads only Qt.

#include <QObject>

class TimelineViewTest final : public QObject {
    Q_OBJECT
  private Q_SLOTS:
    void fadeDragRepaintsOnlyItsTrackAndUndoesInOneStep();
    void trimDragShortensTheTrackInOneStep();
    void crossfadeHandleSetsTheCurveInOneStep();
    void envelopePointsAreMovedAddedAndRemoved();
    void indexFlagMovesInOneStep();
    void loopEdgeSnapsToThePlayheadUnlessCtrlIsHeld();
    void rendererToggleWritesTheSettingAndTellsTheViews();
    void transportShowsTheTrackUnderThePlayhead();
    void wheelZoomKeepsTheFrameUnderThePointer();
    void closeZoomDrawsTheSamplesRatherThanPeaks();
    void keptPictureGivesThePixelsOfTheFilledOutline();
    void keptPictureIsReusedUntilItsLookChanges();
    void timeDisplayCyclesItsModesAndRemembersThem();
    void pinAndPrerollShowOnTheKeysAndTheDisplay();
};
