#pragma once
// What the desktop's tests share: private XDG folders, synthesised WAV files, hand-built project
// documents and a hand on the next modal message box. Tests only.

#include "app/OrvaneApp.h"
#include "model/CDProject.h"

#include <QString>
#include <QTemporaryDir>
#include <filesystem>
#include <memory>

namespace orvane::app::testing {

// A temporary folder with its own config and data homes; the variables point there while it lives.
class PrivateHome final {
  public:
    PrivateHome();
    ~PrivateHome();
    std::filesystem::path path() const { return dir_.path().toStdString(); }
    std::filesystem::path recoveryFile() const;

  private:
    QTemporaryDir dir_;
    QByteArray oldConfig_;
    QByteArray oldData_;
};

// A 16-bit stereo 44.1 kHz WAV of a sine at `hz` lasting `seconds`.
void writeSineWav(const std::filesystem::path& file, double seconds, double hz);

// A saved document with `count` tracks of `seconds` each, over WAV files in `folder`.
std::filesystem::path writeProject(const std::filesystem::path& folder, int count, double seconds);

// Options for a test's program: the offline audio device, and the given clock (nothing: steady).
AppOptions headless(std::shared_ptr<MainLoopClock> clock = nullptr);

// Opens `document` as the file manager would and waits until the window shows it; null if the
// window never appears.
std::unique_ptr<OrvaneApp> startWith(const std::filesystem::path& document,
                                     std::shared_ptr<MainLoopClock> clock = nullptr);

// What a message box said and the button pressed on it.
struct SeenAlert {
    QString title;
    QString text;
    QString informativeText;
    bool seen = false;
};

// Presses the button with this text on the next message box that appears; polls until it does.
std::shared_ptr<SeenAlert> answerNextAlert(const QString& button);

} // namespace orvane::app::testing
