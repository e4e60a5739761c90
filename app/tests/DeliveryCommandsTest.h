#pragma once
// The desktop's delivery commands driven in the real window (QTest); declared apart from their bodies
// so that moc reads only Qt.

#include <QObject>

class DeliveryCommandsTest final : public QObject {
    Q_OBJECT
  private Q_SLOTS:
    void init();
    void cleanup();
    void menusAndHelpViewer();
    void ddpExportOfA48kHzSourceVerifies();
    void trackFilesEqualTheImageSlices();
    void previewPanelAndFolder();
    void batchWritesItsPartsAndRefusesNothing();
    void cueImportRefusesBrokenSheetsAndReadsAnImage();
    void cancelLeavesNoOutput();
};
