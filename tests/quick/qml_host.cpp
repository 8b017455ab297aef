// The smallest host of a QML file, built with the tests' flags: the module's own test runs
// its file here, the module imported from the folders in QML2_IMPORT_PATH.
#include <QGuiApplication>
#include <QQmlApplicationEngine>

int main(int argc, char **argv) {
    QGuiApplication app(argc, argv);
    if (argc != 2)
        return 2;
    QQmlApplicationEngine engine(QString::fromLocal8Bit(argv[1]));
    return engine.rootObjects().isEmpty() ? 1 : app.exec();
}
