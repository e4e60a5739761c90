#pragma once
// The desktop's loudness, report and take-comparison tests (QTest); declared apart from their
// bodies so that moc reads only Qt.

#include <QObject>

class LoudnessWindowTest final : public QObject {
    Q_OBJECT
  private Q_SLOTS:
    void commandsStandInTheirMenusWithTheirKeys();
    void analysedFiguresSurviveSaveAndReopen();
    void secondRunOnlyRaisesTheWindowAndCancelEndsQuietly();
    void failedItemsAreNamedBeforeTheSummary();
    void tableShowsEveryColumnAndEditsThroughItsRules();
    void takeInspectorMeasuresAndComparesATake();
    void reportPanelPreviewsAndExportsTheStudiosPDF();
};
