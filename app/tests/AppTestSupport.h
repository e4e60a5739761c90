#pragma once
// What the desktop's tests share: private XDG folders, synthesised WAV files, hand-built project
// documents and a hand on the next modal message box. Tests only.

#include "app/OrvaneApp.h"
#include "app/Theme.h"
#include "model/CDProject.h"

#include <QApplication>
#include <QString>
#include <QTemporaryDir>
#include <QTest>
#include <cstdint>
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

// A saved document of `count` tracks of `seconds` each (2 s gaps), all over one synthesised sine file
// at `hz`, each track with the given fades: a long disc without a file per track.
std::filesystem::path writeSharedSourceDisc(const std::filesystem::path& folder, int count, double seconds,
                                            double hz, std::int64_t fadeInSamples = 0,
                                            std::int64_t fadeOutSamples = 0);

// What a message box said and the button pressed on it.
struct SeenAlert {
    QString title;
    QString text;
    QString informativeText;
    bool seen = false;
};

// Presses the button with this text on the next message box that appears; polls until it does.
std::shared_ptr<SeenAlert> answerNextAlert(const QString& button);

// The main of a window-test program: the offscreen platform unless one is named, the dark theme,
// and no quit when a test closes the last window.
template <typename Test> int runWindowTests(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    Theme::apply(application);
    Test test;
    return QTest::qExec(&test, argc, argv);
}

} // namespace orvane::app::testing
