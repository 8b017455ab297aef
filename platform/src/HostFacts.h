#pragma once
// The host's own answers to the device facts, as its user would recognise them. Files are read
// under root, which is "/" except in tests. Every function may be called from any thread.
#include <QSize>
#include <QString>

namespace desktop {
namespace host {

// DMI product name without the vendors' placeholders, else the device tree's model, else the
// kernel's name and machine. Never empty.
QString deviceName(const QString &root);
// os-release's NAME and VERSION_ID, else its PRETTY_NAME or NAME, else the kernel's name and
// release.
QString osVersion(const QString &root);
// The GUI application's primary screen in pixels, else the preferred mode of a connected
// display, else 0x0.
QSize displaySize(const QString &root);
// Reads the GUI application's primary screen for the threads that may not read it themselves.
// Does nothing except on the thread that owns a GUI application object.
void rememberPrimaryScreen();

} // namespace host
} // namespace desktop
