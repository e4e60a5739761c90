#include "app/DeliveryMenu.h"

#include "app/DeliveryCommands.h"

#include <QKeySequence>
#include <QMenu>

namespace orvane::app::DeliveryMenu {

void addExports(QMenu& exportMenu, OrvaneApp& app) {
    OrvaneApp* target = &app;
    QObject::connect(exportMenu.addAction(QStringLiteral("Tracks as WAV\u2026")), &QAction::triggered,
                     &exportMenu,
                     [target] { DeliveryCommands::exportTracks(*target, AudioExporter::Format::wav); });
    QObject::connect(exportMenu.addAction(QStringLiteral("Tracks as AIFF\u2026")), &QAction::triggered,
                     &exportMenu,
                     [target] { DeliveryCommands::exportTracks(*target, AudioExporter::Format::aiff); });
    QObject::connect(exportMenu.addAction(QStringLiteral("CUE + Image (WAV)\u2026")), &QAction::triggered,
                     &exportMenu, [target] { DeliveryCommands::exportCUEImage(*target); });

    QMenu* preview = exportMenu.addMenu(QStringLiteral("Client CD Preview"));
    struct Entry {
        const char* text;
        PreviewFormat format;
    };
    for (const Entry& entry : {Entry{"Quality (FLAC)\u2026", PreviewFormat::quality},
                               Entry{"Light (AAC)\u2026", PreviewFormat::light},
                               Entry{"Smartphone\u2026", PreviewFormat::smartphone}}) {
        QObject::connect(
            preview->addAction(QString::fromUtf8(entry.text)), &QAction::triggered, &exportMenu,
            [target, format = entry.format] { DeliveryCommands::exportPreview(*target, format); });
    }

    QAction* batch = exportMenu.addAction(QStringLiteral("Batch Delivery\u2026"));
    batch->setShortcut(QKeySequence(QStringLiteral("Alt+Ctrl+E")));
    QObject::connect(batch, &QAction::triggered, &exportMenu,
                     [target] { DeliveryCommands::batchDelivery(*target); });
}

} // namespace orvane::app::DeliveryMenu
