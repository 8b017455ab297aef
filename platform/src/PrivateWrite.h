#pragma once
// The one way the platform writes a whole private file (see sandbox_open_private()).
#include <QByteArray>

// Writes text to path through a temporary file beside it, renamed over it once written, so that a
// reader or a kill never meets half a file. Where the directory refuses new files but the file
// itself may be written, it is written in place: a value kept at the risk of a torn file beats a
// value lost at every start. 0 or an errno. Any thread.
int writePrivately(const QByteArray &path, const QByteArray &text);
