#include "app/LoudnessCommands.h"

#include <QProgressDialog>
#include <QTimer>
#include <algorithm>
#include <cmath>
#include <set>

namespace orvane::app {

LoudnessCommands::LoudnessCommands(WorkspaceState& workspace, MainLoop& loop, PanelHost& alerts)
    : workspace_(workspace), alerts_(alerts), spectral_(workspace, loop),
      run_(loop, store_, [&workspace]() -> const CDProject& { return workspace.project(); }) {
    store_.attach(workspace_);
    store_.onChange = [this] { notify(); };
    spectral_.onChange = [this] { notify(); };
    run_.onProgress = [this](const std::string& label, double fraction) { showProgress(label, fraction); };
    run_.onFinished = [this](const std::vector<LoudnessAlert>& closing) { finished(closing); };
    run_.onAlreadyRunning = [this] {
        if (window_) {
            window_->raise();
            window_->activateWindow();
        }
    };
}

LoudnessCommands::~LoudnessCommands() {
    run_.onFinished = nullptr;
    run_.cancel();
    store_.onChange = nullptr;
    spectral_.onChange = nullptr;
    store_.detach(workspace_);
    delete window_.data();
}

TrackLoudnessMap LoudnessCommands::figureMap() const {
    return TrackLoudnessMap(store_.loudness().begin(), store_.loudness().end());
}

std::optional<TrackLoudness> LoudnessCommands::figures(const Uuid& id) const {
    const auto found = store_.loudness().find(id);
    if (found == store_.loudness().end()) {
        return std::nullopt;
    }
    return found->second;
}

void LoudnessCommands::analyzeAlbum() {
    run_.runAlbum();
}

void LoudnessCommands::analyzeTracks(const std::vector<Uuid>& trackIDs) {
    run_.run(std::set<Uuid>(trackIDs.begin(), trackIDs.end()), false);
}

void LoudnessCommands::analyzeVersion(const Uuid& trackID, const Uuid& versionID) {
    run_.runVersion(trackID, versionID);
}

void LoudnessCommands::showProgress(const std::string& label, double fraction) {
    if (!window_) {
        // Not modal: the engineer may keep working while the disc is measured.
        auto* dialog = new QProgressDialog(parent_);
        dialog->setObjectName(QStringLiteral("loudnessProgress"));
        dialog->setWindowTitle(QStringLiteral("Loudness Analysis"));
        dialog->setCancelButtonText(QStringLiteral("Cancel"));
        dialog->setRange(0, 1000);
        dialog->setMinimumWidth(440);
        dialog->setMinimumDuration(0);
        dialog->setAutoClose(false);
        dialog->setAutoReset(false);
        dialog->setWindowModality(Qt::NonModal);
        QObject::connect(dialog, &QProgressDialog::canceled, dialog, [this, dialog] {
            run_.cancel();
            dialog->setLabelText(QStringLiteral("Cancelling\u2026"));
        });
        window_ = dialog;
        dialog->show();
    }
    if (!window_->wasCanceled()) {
        window_->setLabelText(QString::fromStdString(label));
    }
    const double clamped = std::isfinite(fraction) ? std::clamp(fraction, 0.0, 1.0) : 0.0;
    window_->setValue(static_cast<int>(std::lround(clamped * 1000.0)));
}

void LoudnessCommands::finished(const std::vector<LoudnessAlert>& alerts) {
    if (window_) {
        window_->hide();
        window_->deleteLater();
        window_ = nullptr;
    }
    // Shown after the main loop's turn, so no modal loop runs inside it.
    std::weak_ptr<int> alive = alive_;
    QTimer::singleShot(0, [this, alive, alerts] {
        if (alive.expired()) {
            return;
        }
        for (const LoudnessAlert& alert : alerts) {
            alerts_.showAlert(AlertRequest{alert.title, alert.text, {"OK"}, AlertStyle::informational});
        }
    });
}

LoudnessCommands::ListenerID LoudnessCommands::subscribe(std::function<void()> listener) {
    const ListenerID id = nextListener_++;
    listeners_.emplace(id, std::move(listener));
    return id;
}

void LoudnessCommands::unsubscribe(ListenerID id) {
    listeners_.erase(id);
}

void LoudnessCommands::notify() {
    // A copy: a listener may unsubscribe while being told.
    const auto listeners = listeners_;
    for (const auto& [id, listener] : listeners) {
        if (listeners_.count(id) != 0) {
            listener();
        }
    }
}

} // namespace orvane::app
