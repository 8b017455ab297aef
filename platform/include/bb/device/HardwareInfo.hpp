#pragma once
// Desktop stand-in: the device model is the host's DMI product name, unless a test set one.
#include <QObject>
#include <QString>

namespace bb {
namespace device {

class HardwareInfo : public QObject {
public:
    explicit HardwareInfo(QObject *parent = nullptr) : QObject(parent) {}
    QString deviceName() const;
};

} // namespace device
} // namespace bb
