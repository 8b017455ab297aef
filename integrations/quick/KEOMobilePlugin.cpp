// The QML module KEOMobile 4.0: the singleton KEOMobile and the attached type KEOScreen.
#include "KEOMobileQuick.h"
#include "KEOScreen.h"

#include <QQmlExtensionPlugin>
#include <QtQml>

class KEOMobilePlugin : public QQmlExtensionPlugin {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QQmlExtensionInterface_iid)

public:
    // Called once by the QML engine that imports the module first, on its thread.
    void registerTypes(const char *uri) override {
        qmlRegisterSingletonType<KEOMobileQuick>(
            uri, 4, 0, "KEOMobile",
            [](QQmlEngine *, QJSEngine *) -> QObject * { return new KEOMobileQuick; });
        qmlRegisterUncreatableType<KEOScreen>(uri, 4, 0, "KEOScreen",
                                              QStringLiteral("KEOScreen is an attached type"));
    }
};

#include "KEOMobilePlugin.moc"
