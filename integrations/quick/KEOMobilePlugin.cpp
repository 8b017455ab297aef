// The QML module KEOMobile 4.0: the singletons KEOMobile and KEOMediaAnalytics, the attached
// type KEOScreen and KEOMediaTracker.
#include "KEOMobileQuick.h"

#include <QQmlExtensionPlugin>
#include <QtQml>

class KEOMobilePlugin : public QQmlExtensionPlugin {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QQmlExtensionInterface_iid)

public:
    // Called once by the QML engine that imports the module first, on its thread.
    void registerTypes(const char *uri) override { KEOMobileQuick::registerTypes(uri); }
};

#include "KEOMobilePlugin.moc"
