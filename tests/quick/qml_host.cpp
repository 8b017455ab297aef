// The smallest host of a QML file, built with the tests' flags: the module's own test runs
// its file here, the module imported from the folders in QML2_IMPORT_PATH. With an object's
// name after the file, it plays the media run on that player first, and says so if it got stuck.
#include "PlayerScript.h"

#include <QGuiApplication>
#include <QQmlApplicationEngine>

int main(int argc, char **argv) {
    QGuiApplication app(argc, argv);
    if (argc != 2 && argc != 3)
        return 2;
    QQmlApplicationEngine engine(QString::fromLocal8Bit(argv[1]));
    if (engine.rootObjects().isEmpty())
        return 1;
    QObject *player = engine.rootObjects()[0]->findChild<QObject *>(argc == 3 ? argv[2] : "");
    if (argc == 3 && (player == nullptr || !player_script::run(player, [=](QUrl url) {
                          player->setProperty("source", url);
                      })))
        qWarning("the media run got stuck");
    return app.exec();
}
