// orvane: the desktop. Sets up the look and the fonts, makes the application and its window, and
// takes a document given on the command line as one opened from the file manager.

#include "app/OrvaneApp.h"
#include "app/Theme.h"

#include <QApplication>
#include <QFileOpenEvent>
#include <QSessionManager>
#include <filesystem>
#include <vector>

namespace {

// The platform's document-open event (a file dropped on the program's icon), handed to the app.
class Application final : public QApplication {
  public:
    using QApplication::QApplication;
    orvane::app::OrvaneApp* app = nullptr;

  protected:
    bool event(QEvent* e) override {
        if (e->type() == QEvent::FileOpen && app) {
            const auto* open = static_cast<QFileOpenEvent*>(e);
            app->openDocuments({std::filesystem::path(open->file().toStdString())});
            return true;
        }
        return QApplication::event(e);
    }
};

} // namespace

int main(int argc, char** argv) {
    Application application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Orvane"));
    QApplication::setApplicationVersion(QStringLiteral(ORVANE_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("orvane"));
    QApplication::setQuitOnLastWindowClosed(false);
    orvane::app::Theme::apply(application);
    orvane::app::Theme::registerBundleFonts(orvane::app::Theme::fontFolder());

    orvane::app::OrvaneApp app;
    application.app = &app;
    std::vector<std::filesystem::path> documents;
    const QStringList arguments = QApplication::arguments();
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        documents.emplace_back(arguments[i].toStdString());
    }
    app.openDocuments(documents);
    app.showWindow();
    // The window manager's quit (logout, the last window's close on some desktops) asks first too.
    QObject::connect(&application, &QGuiApplication::commitDataRequest, &app,
                     [&app](QSessionManager& manager) {
                         if (!app.shouldTerminate()) {
                             manager.cancel();
                         }
                     });
    return QApplication::exec();
}
