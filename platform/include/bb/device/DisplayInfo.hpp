#pragma once
// Desktop stand-in: the library links Qt Core only, so the primary display is 0x0 unless
// a test or demo set a size.
#include <QObject>
#include <QSize>

namespace bb {
namespace device {

class DisplayInfo : public QObject {
public:
    explicit DisplayInfo(QObject *parent = nullptr) : QObject(parent) {}
    QSize pixelSize() const;
};

} // namespace device
} // namespace bb
