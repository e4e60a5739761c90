#include "app/MainLoopDriver.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QPointer>
#include <algorithm>
#include <cmath>

namespace orvane::app {

MainLoopDriver::MainLoopDriver(MainLoop& loop, QObject* parent) : QObject(parent), loop_(loop) {
    deadlineTimer_.setSingleShot(true);
    deadlineTimer_.setTimerType(Qt::PreciseTimer);
    connect(&deadlineTimer_, &QTimer::timeout, this, &MainLoopDriver::runTurn);

    // The handler may run on any thread; a queued call brings the turn to the GUI thread.
    QPointer<MainLoopDriver> self(this);
    loop_.setWakeUpHandler([self] {
        if (self) {
            QMetaObject::invokeMethod(
                self.data(),
                [self] {
                    if (self) {
                        self->runTurn();
                    }
                },
                Qt::QueuedConnection);
        }
    });
    if (auto* dispatcher = QAbstractEventDispatcher::instance()) {
        idleConnection_ = connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, this, [this] {
            // Going idle ends the user's event: its edits become one undo step here.
            runTurn();
        });
    }
    scheduleDeadline();
}

MainLoopDriver::~MainLoopDriver() {
    disconnect(idleConnection_);
    loop_.setWakeUpHandler({});
}

void MainLoopDriver::runTurn() {
    if (inTurn_) {
        return; // a nested event loop inside a task; the outer turn schedules the next one
    }
    inTurn_ = true;
    loop_.runOneTurn();
    inTurn_ = false;
    scheduleDeadline();
}

void MainLoopDriver::runUntilIdle() {
    if (inTurn_) {
        return;
    }
    inTurn_ = true;
    loop_.runUntilIdle();
    inTurn_ = false;
    scheduleDeadline();
}

void MainLoopDriver::scheduleDeadline() {
    const auto deadline = loop_.nextTimerDeadline();
    if (!deadline) {
        deadlineTimer_.stop();
        return;
    }
    const double waitSeconds = std::max(0.0, *deadline - loop_.nowSeconds());
    // QTimer takes int milliseconds; a far deadline is re-armed when this one fires.
    const int waitMs = static_cast<int>(std::min(std::ceil(waitSeconds * 1000.0), 3'600'000.0));
    deadlineTimer_.start(waitMs);
}

} // namespace orvane::app
