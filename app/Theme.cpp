#include "app/Theme.h"

#include <QApplication>
#include <QDir>
#include <QFontDatabase>
#include <QPalette>
#include <QStyleFactory>
#include <cstdio>

namespace orvane::app::Theme {

namespace {
QString gSegmentFamily;
}

void apply(QApplication& application) {
    application.setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    QPalette palette;
    palette.setColor(QPalette::Window, background);
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::Base, panel);
    palette.setColor(QPalette::AlternateBase, QColor(0x2a, 0x2d, 0x33));
    palette.setColor(QPalette::ToolTipBase, raised);
    palette.setColor(QPalette::ToolTipText, text);
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::PlaceholderText, dimText);
    palette.setColor(QPalette::Button, raised);
    palette.setColor(QPalette::ButtonText, text);
    palette.setColor(QPalette::BrightText, playhead);
    palette.setColor(QPalette::Highlight, accent.darker(130));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, accent);
    palette.setColor(QPalette::Mid, line);
    palette.setColor(QPalette::Dark, background.darker(120));
    palette.setColor(QPalette::Disabled, QPalette::Text, dimText.darker(130));
    palette.setColor(QPalette::Disabled, QPalette::ButtonText, dimText.darker(130));
    palette.setColor(QPalette::Disabled, QPalette::WindowText, dimText.darker(130));
    application.setPalette(palette);
    application.setStyleSheet(QStringLiteral(
        "QToolTip { border: 1px solid #3c4148; }"
        "QHeaderView::section { background: #2a2d33; color: #aab1ba; border: 0; border-right: 1px solid "
        "#3c4148;"
        " padding: 3px 6px; }"
        "QGroupBox { border: 1px solid #3c4148; border-radius: 4px; margin-top: 14px; padding-top: 6px; }"
        "QGroupBox::title { subcontrol-origin: margin; left: 8px; padding: 0 4px; color: #aab1ba; }"
        "QSplitter::handle { background: #15171a; }"));
}

void registerBundleFonts(const QString& folder) {
    QDir dir(folder);
    if (!dir.exists()) {
        std::fprintf(stderr, "Error reading resource directory for fonts: %s\n", qPrintable(folder));
        return;
    }
    const auto files = dir.entryInfoList({QStringLiteral("*.ttf"), QStringLiteral("*.otf")}, QDir::Files);
    for (const auto& file : files) {
        const int id = QFontDatabase::addApplicationFont(file.absoluteFilePath());
        if (id < 0) {
            std::fprintf(stderr, "Failed to register font %s\n", qPrintable(file.fileName()));
            continue;
        }
        std::fprintf(stderr, "Successfully registered font: %s\n", qPrintable(file.fileName()));
        const auto families = QFontDatabase::applicationFontFamilies(id);
        if (file.fileName() == QStringLiteral("DSEG7Classic-Bold.ttf") && !families.isEmpty()) {
            gSegmentFamily = families.front();
        }
    }
}

QString fontFolder() {
    const QString fromEnvironment = qEnvironmentVariable("ORVANE_FONT_DIR");
    if (!fromEnvironment.isEmpty()) {
        return fromEnvironment;
    }
    const QString installed =
        QCoreApplication::applicationDirPath() + QStringLiteral("/../share/orvane/fonts");
    if (QDir(installed).exists()) {
        return QDir(installed).absolutePath();
    }
    return QStringLiteral("/usr/share/fonts/truetype/dseg");
}

QString segmentFamily() {
    if (!gSegmentFamily.isEmpty()) {
        return gSegmentFamily;
    }
    return QFontDatabase::systemFont(QFontDatabase::FixedFont).family();
}

} // namespace orvane::app::Theme
