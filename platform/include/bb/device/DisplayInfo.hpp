#pragma once
// Desktop stand-in: the primary screen's size in pixels. In a host with a user interface, the
// primary screen of its Qt application (read by name, on the thread that owns that application;
// other threads get the size last read there); otherwise the preferred mode of a display that the
// kernel reports connected (/sys/class/drm/*/status and modes); 0x0 with no display at all.
#include <QObject>
#include <QSize>

namespace bb {
namespace device {

class DisplayInfo : public QObject {
public:
    explicit DisplayInfo(QObject *parent = nullptr) : QObject(parent) {}
    // Any thread.
    QSize pixelSize() const;
};

} // namespace device
} // namespace bb
