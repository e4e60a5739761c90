#include "app/tests/AppTestSupport.h"

#include "app/MainWindow.h"
#include "model/CDTrack.h"
#include "model/FileURL.h"
#include "workspace/ProjectStore.h"

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QTest>
#include <QTimer>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <vector>

namespace orvane::app::testing {

PrivateHome::PrivateHome() : oldConfig_(qgetenv("XDG_CONFIG_HOME")), oldData_(qgetenv("XDG_DATA_HOME")) {
    qputenv("XDG_CONFIG_HOME", (dir_.path() + QStringLiteral("/config")).toUtf8());
    qputenv("XDG_DATA_HOME", (dir_.path() + QStringLiteral("/data")).toUtf8());
}

PrivateHome::~PrivateHome() {
    qputenv("XDG_CONFIG_HOME", oldConfig_);
    qputenv("XDG_DATA_HOME", oldData_);
}

std::filesystem::path PrivateHome::recoveryFile() const {
    return path() / "data" / "Orvane" / "Recovery" / "Recovery.json";
}

namespace {

void put16(std::ofstream& out, std::uint16_t v) {
    const char b[2] = {static_cast<char>(v & 0xff), static_cast<char>(v >> 8)};
    out.write(b, 2);
}

void put32(std::ofstream& out, std::uint32_t v) {
    for (int i = 0; i < 4; ++i) {
        out.put(static_cast<char>((v >> (8 * i)) & 0xff));
    }
}

} // namespace

void writeSineWav(const std::filesystem::path& file, double seconds, double hz) {
    const auto frames = static_cast<std::uint32_t>(seconds * 44100.0);
    const std::uint32_t dataBytes = frames * 4;
    std::ofstream out(file, std::ios::binary);
    out.write("RIFF", 4);
    put32(out, 36 + dataBytes);
    out.write("WAVEfmt ", 8);
    put32(out, 16);
    put16(out, 1);
    put16(out, 2);
    put32(out, 44100);
    put32(out, 44100 * 4);
    put16(out, 4);
    put16(out, 16);
    out.write("data", 4);
    put32(out, dataBytes);
    for (std::uint32_t i = 0; i < frames; ++i) {
        const auto sample =
            static_cast<std::int16_t>(std::lround(12000.0 * std::sin(2.0 * M_PI * hz * i / 44100.0)));
        put16(out, static_cast<std::uint16_t>(sample));
        put16(out, static_cast<std::uint16_t>(sample));
    }
}

std::filesystem::path writeProject(const std::filesystem::path& folder, int count, double seconds) {
    CDProject project;
    project.albumTitle = "Window Test";
    for (int i = 0; i < count; ++i) {
        const auto wav = folder / ("tone" + std::to_string(i + 1) + ".wav");
        writeSineWav(wav, seconds, 220.0 * (i + 1));
        CDTrack track = CDTrack::make("Tone " + std::to_string(i + 1), std::nullopt, 150,
                                      static_cast<std::int64_t>(seconds * 44100.0));
        track.audioFileURL = FileURL::fromPath(wav);
        project.tracks.push_back(track);
    }
    const auto document = folder / "Window Test.ovproj";
    ProjectStore::save(project, document);
    return document;
}

std::shared_ptr<SeenAlert> answerNextAlert(const QString& button) {
    auto seen = std::make_shared<SeenAlert>();
    auto* timer = new QTimer(qApp);
    timer->setInterval(10);
    QObject::connect(timer, &QTimer::timeout, timer, [timer, seen, button] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box) {
            return;
        }
        for (QAbstractButton* candidate : box->buttons()) {
            if (candidate->text() == button) {
                seen->title = box->windowTitle();
                seen->text = box->text();
                seen->informativeText = box->informativeText();
                seen->seen = true;
                timer->stop();
                timer->deleteLater();
                candidate->click();
                return;
            }
        }
    });
    timer->start();
    return seen;
}

AppOptions headless(std::shared_ptr<MainLoopClock> clock) {
    AppOptions options;
    options.offlineAudio = true;
    options.clock = std::move(clock);
    return options;
}

std::unique_ptr<OrvaneApp> startWith(const std::filesystem::path& document,
                                     std::shared_ptr<MainLoopClock> clock) {
    auto app = std::make_unique<OrvaneApp>(headless(std::move(clock)));
    app->openDocuments({document});
    app->showWindow();
    if (!QTest::qWaitForWindowExposed(&app->window())) {
        return nullptr;
    }
    QTest::qWait(0);
    return app;
}

std::filesystem::path writeSharedSourceDisc(const std::filesystem::path& folder, int count, double seconds,
                                            double hz, std::int64_t fadeInSamples,
                                            std::int64_t fadeOutSamples) {
    const auto wav = folder / "tone.wav";
    writeSineWav(wav, seconds, hz);
    CDProject project;
    project.albumTitle = "Long Disc";
    for (int i = 0; i < count; ++i) {
        CDTrack track = CDTrack::make("Track " + std::to_string(i + 1), std::nullopt, 150,
                                      static_cast<std::int64_t>(seconds * 44100.0));
        track.audioFileURL = FileURL::fromPath(wav);
        track.fadeInSamples = fadeInSamples;
        track.fadeOutSamples = fadeOutSamples;
        project.tracks.push_back(track);
    }
    const auto document = folder / "Long Disc.ovproj";
    ProjectStore::save(project, document);
    return document;
}

} // namespace orvane::app::testing
