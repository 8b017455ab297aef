#pragma once
// Desktop stand-in: a desktop has no cellular network, so the name is empty unless set.
#include <QObject>
#include <QString>

namespace bb {
namespace device {

class CellularNetworkInfo : public QObject {
public:
    explicit CellularNetworkInfo(QObject *parent = nullptr) : QObject(parent) {}
    QString name() const;
};

} // namespace device
} // namespace bb
