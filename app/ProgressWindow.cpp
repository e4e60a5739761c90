#include "app/ProgressWindow.h"

#include "app/Theme.h"

#include <QDialog>
#include <QEventLoop>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>
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

// The window: its title repeated as a heading inside it (a window manager may draw no title bar, and a
// sheet over the main window has none), the job's status, the bar and "Cancel". Escape and the close
// button cancel as the button does; the window itself closes only when the job has returned.
class ProgressDialog final : public QDialog {
  public:
    ProgressDialog(QWidget* parent, const QString& title, std::function<void()> onCancel)
        : QDialog(parent), onCancel_(std::move(onCancel)) {
        setObjectName(QStringLiteral("progressWindow"));
        setWindowTitle(title);
        setWindowModality(Qt::WindowModal);
        setMinimumWidth(460);
        auto* layout = new QVBoxLayout(this);
        layout->setContentsMargins(22, 18, 22, 16);
        layout->setSpacing(8);
        auto* heading = new QLabel(title);
        heading->setObjectName(QStringLiteral("progressTitle"));
        QFont font = heading->font();
        font.setPointSizeF(font.pointSizeF() * 1.25);
        font.setBold(true);
        heading->setFont(font);
        layout->addWidget(heading);
        status_ = new QLabel(QStringLiteral("Preparing\u2026"));
        status_->setObjectName(QStringLiteral("progressStatus"));
        status_->setStyleSheet(QStringLiteral("color: %1;").arg(Theme::dimText.name()));
        layout->addWidget(status_);
        bar_ = new QProgressBar;
        bar_->setObjectName(QStringLiteral("progressBar"));
        bar_->setRange(0, 1000);
        bar_->setFormat(QStringLiteral("%p%"));
        layout->addWidget(bar_);
        auto* buttons = new QHBoxLayout;
        buttons->addStretch(1);
        cancel_ = new QPushButton(QStringLiteral("Cancel"));
        cancel_->setObjectName(QStringLiteral("progressCancel"));
        cancel_->setAutoDefault(false);
        buttons->addWidget(cancel_);
        layout->addSpacing(4);
        layout->addLayout(buttons);
        connect(cancel_, &QPushButton::clicked, this, [this] { requestCancel(); });
    }

    void follow(double fraction, const QString& status) {
        bar_->setValue(static_cast<int>(std::lround(std::clamp(fraction, 0.0, 1.0) * 1000)));
        if (!cancelling_ && !status.isEmpty() && status != status_->text()) {
            status_->setText(status);
        }
    }

    void reject() override { requestCancel(); }

  private:
    void requestCancel() {
        if (cancelling_) {
            return;
        }
        cancelling_ = true;
        status_->setText(QStringLiteral("Cancelling\u2026"));
        cancel_->setEnabled(false);
        onCancel_();
    }

    std::function<void()> onCancel_;
    QLabel* status_ = nullptr;
    QProgressBar* bar_ = nullptr;
    QPushButton* cancel_ = nullptr;
    bool cancelling_ = false;
};

} // namespace

ProgressOutcome runWithProgress(QWidget* parent, const QString& title,
                                const std::function<void(const ProgressReport&)>& job) {
    SharedProgress shared;
    ProgressDialog dialog(parent, title, [&shared] { shared.cancelled = true; });

    std::thread worker;
    const auto work = [&] {
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
    };

    QEventLoop waiting;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, [&] {
        if (shared.finished) {
            waiting.quit();
            return;
        }
        double fraction = 0.0;
        std::string status;
        {
            std::lock_guard lock(shared.mutex);
            fraction = shared.fraction;
            status = shared.status;
        }
        dialog.follow(fraction, QString::fromStdString(status));
    });
    dialog.show();
    // The job starts from the event loop, behind whatever was already posted to it, so that the
    // window is up before the first report and a cancel queued before the command is honoured at the
    // job's first report.
    QMetaObject::invokeMethod(
        &dialog, [&] { worker = std::thread(work); }, Qt::QueuedConnection);
    poll.start(33);
    waiting.exec();
    poll.stop();
    if (!shared.finished) {
        // The loop was ended from outside (the application quitting): stop the job where it stands.
        shared.cancelled = true;
    }
    if (worker.joinable()) {
        worker.join();
    }
    dialog.hide();

    ProgressOutcome outcome;
    outcome.cancelled = shared.cancelled;
    outcome.error = shared.error;
    return outcome;
}

} // namespace orvane::app
