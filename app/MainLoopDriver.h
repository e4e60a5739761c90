#pragma once
// Lets Qt's event loop drive the core's MainLoop on the GUI thread: a post from any thread queues
// one turn, a timer wakes the loop at its next deadline, and each time Qt goes idle a turn runs so
// that the end-of-turn observers (the undo manager closes its group there) follow every user event.
// Made and used on the GUI thread, which must be the loop's main thread.

#include "platform/MainLoop.h"

#include <QObject>
#include <QTimer>

class QAbstractEventDispatcher;

namespace orvane::app {

class MainLoopDriver final : public QObject {
  public:
    explicit MainLoopDriver(MainLoop& loop, QObject* parent = nullptr);
    ~MainLoopDriver() override;

    // Runs one turn now and schedules the next deadline. Not reentrant: a turn asked for inside a
    // turn (a modal dialog opened by a task) is deferred.
    void runTurn();
    // Runs turns until nothing is queued or due; tests call it after moving a manual clock.
    void runUntilIdle();

  private:
    void scheduleDeadline();

    MainLoop& loop_;
    QTimer deadlineTimer_;
    QMetaObject::Connection idleConnection_;
    bool inTurn_ = false;
};

} // namespace orvane::app
