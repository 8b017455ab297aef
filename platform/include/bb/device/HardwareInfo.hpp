#pragma once
// Desktop stand-in: the device model as a user would recognise it, never empty: the DMI product
// name unless it is a vendor's placeholder ("To Be Filled By O.E.M.", "System Product Name",
// "Default string" and the like), else the device tree's model, else the kernel's name and
// machine ("Linux x86_64").
#include <QObject>
#include <QString>

namespace bb {
namespace device {

class HardwareInfo : public QObject {
public:
    explicit HardwareInfo(QObject *parent = nullptr) : QObject(parent) {}
    // Any thread.
    QString deviceName() const;
};

} // namespace device
} // namespace bb
