#pragma once
// The program's look: Fusion with a dark palette, the colours the custom views paint with, and the
// bundled fonts. GUI thread, before the first window.

#include <QColor>
#include <QString>

class QApplication;

namespace orvane::app::Theme {

void apply(QApplication& application);

// Registers every .ttf and .otf in `folder` with Qt for this process, logging each result.
// Failures are logged, never shown: a missing font only changes a face.
void registerBundleFonts(const QString& folder);
// The folder the fonts come from: ORVANE_FONT_DIR when set, else the installed share folder, else
// the system's DSEG folder.
QString fontFolder();
// The seven-segment family for the time display, or the fixed-width system font when not found.
QString segmentFamily();

inline const QColor background{0x1c, 0x1e, 0x22};
inline const QColor panel{0x25, 0x28, 0x2d};
inline const QColor raised{0x30, 0x34, 0x3a};
inline const QColor line{0x3c, 0x41, 0x48};
inline const QColor text{0xd8, 0xdc, 0xe2};
inline const QColor dimText{0x8a, 0x91, 0x9b};
inline const QColor accent{0x3d, 0xa5, 0xf4};
inline const QColor waveform{0x5c, 0xc8, 0x9a};
inline const QColor selection{0xf0, 0xb4, 0x3c};
inline const QColor playhead{0xff, 0x5a, 0x4e};
inline const QColor fade{0xf0, 0xd0, 0x60};

} // namespace orvane::app::Theme
