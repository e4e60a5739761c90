#pragma once
// The desktop's window tests (QTest); declared apart from their bodies so that moc reads only Qt.

#include <QObject>

class AppWindowTest final : public QObject {
    Q_OBJECT
  private Q_SLOTS:
    void windowHasTheCommandMenus();
    void dragUndoSaveAndReopen();
    void closeButtonAsksAboutChanges();
    void corruptDocumentShowsOpenFailed();
    void normalQuitLeavesNoRecoveryCopy();
    void crashedRunIsOfferedAtNextStart();
    void documentWaitsForTheRecoveryQuestion();
    void tableEditsAreUndoableAndRefuseBadISRC();
    void mainLoopRunsWorkPostedFromOtherThreads();
};
