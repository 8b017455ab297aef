// The smallest host of a QML file, built with the tests' flags: the module's own test runs
// its file here, the module imported from the folders in QML2_IMPORT_PATH. With an object's
// name after the file, it plays the media run on that player first, and says so if it got stuck.
#include "PlayerScript.h"

#include <QFile>
#include <QGuiApplication>
#include <QQmlApplicationEngine>

int main(int argc, char **argv) {
    QGuiApplication app(argc, argv);
    if (argc != 2 && argc != 3)
        return 2;
    QFile file(QString::fromLocal8Bit(argv[1]));
    QByteArray qml = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    // Qt 6's QtMultimedia takes version 5.15 for Video only; MediaPlayer needs its own.
    if (QT_VERSION_MAJOR >= 6)
        qml.replace("QtMultimedia 5.15", "QtMultimedia");
    QQmlApplicationEngine engine;
    engine.loadData(qml, QUrl::fromLocalFile(file.fileName()));
    if (engine.rootObjects().isEmpty())
        return 1;
    QObject *player = engine.rootObjects()[0]->findChild<QObject *>(argc == 3 ? argv[2] : "");
    if (argc == 3 && (player == nullptr || !player_script::run(player, [=](QUrl url) {
                          player->setProperty("source", url);
                      })))
        qWarning("the media run got stuck");
    return app.exec();
}
