#include "app/ProgressWindow.h"

#include <QEventLoop>
#include <QLabel>
#include <QProgressDialog>
#include <QTimer>
#include <algorithm>
#include <atomic>
#include <cmath>
#include <mutex>
#include <thread>

namespace orvane::app {

namespace {

// What the job last reported, read by the window's timer.
struct SharedProgress {
    std::mutex mutex;
    double fraction = 0.0;
    std::string status;
    std::atomic<bool> cancelled{false};
    std::atomic<bool> finished{false};
    std::exception_ptr error;
};

} // namespace

ProgressOutcome runWithProgress(QWidget* parent, const QString& title,
                                const std::function<void(const ProgressReport&)>& job) {
    SharedProgress shared;
    QProgressDialog dialog(parent);
    dialog.setWindowTitle(title);
    dialog.setLabelText(QStringLiteral("Preparing\u2026"));
    dialog.setCancelButtonText(QStringLiteral("Cancel"));
    dialog.setRange(0, 1000);
    dialog.setMinimumWidth(420);
    dialog.setMinimumDuration(0);
    dialog.setAutoClose(false);
    dialog.setAutoReset(false);
    dialog.setWindowModality(Qt::WindowModal);
    dialog.setObjectName(QStringLiteral("progressWindow"));
    QObject::connect(&dialog, &QProgressDialog::canceled, [&] {
        shared.cancelled = true;
        dialog.setLabelText(QStringLiteral("Cancelling\u2026"));
    });

    std::thread worker([&] {
        const ProgressReport report = [&](double fraction, const std::string& status) {
            {
                std::lock_guard lock(shared.mutex);
                if (std::isfinite(fraction)) {
                    shared.fraction = fraction;
                }
                shared.status = status;
            }
            return !shared.cancelled.load();
        };
        try {
            job(report);
        } catch (...) {
            shared.error = std::current_exception();
        }
        shared.finished = true;
    });

    QEventLoop waiting;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, [&] {
        if (shared.finished) {
            waiting.quit();
            return;
        }
        std::lock_guard lock(shared.mutex);
        dialog.setValue(static_cast<int>(std::lround(std::clamp(shared.fraction, 0.0, 1.0) * 1000)));
        if (!shared.cancelled && !shared.status.empty()) {
            dialog.setLabelText(QString::fromStdString(shared.status));
        }
    });
    poll.start(33);
    dialog.show();
    waiting.exec();
    poll.stop();
    worker.join();
    dialog.close();

    ProgressOutcome outcome;
    outcome.cancelled = shared.cancelled;
    outcome.error = shared.error;
    return outcome;
}

} // namespace orvane::app
