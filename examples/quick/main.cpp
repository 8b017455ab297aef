// A Qt Quick application measured by KEOMobile through its QML module: the pages name their
// screens with KEOScreen, the buttons call KEOMobile.trackAction, a KEOMediaTracker follows the
// video, and that is all. It reaches
// the library through the module alone, so that the process holds one copy of it.
//
// It runs from any directory: its packaged configuration sends to the collector at
// 127.0.0.1:8080 (keo-collector --port 8080), and its files lie in its own sandbox.
#include <QDir>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQmlContext>

int main(int argc, char **argv) {
    QGuiApplication app(argc, argv);
    // The names that place its sandbox and make its identifier, "KEO Quick Example (1.0)".
    QGuiApplication::setOrganizationName(QStringLiteral("KEOMobile"));
    QGuiApplication::setApplicationName(QStringLiteral("KEO Quick Example"));
    QGuiApplication::setApplicationVersion(QStringLiteral("1.0"));

    QQmlApplicationEngine engine;
    // The Watch page's clip, which the build made next to the program.
    engine.rootContext()->setContextProperty(
        QStringLiteral("clipUrl"),
        QUrl::fromLocalFile(
            QDir(QCoreApplication::applicationDirPath()).filePath("harbour-timelapse.ogv")));
    // Where this build found the module; QML2_IMPORT_PATH and Qt's own folder are looked at too.
    engine.addImportPath(QStringLiteral(KEO_QML_IMPORT_DIR));
    engine.load(QStringLiteral("qrc:/main.qml"));
    return engine.rootObjects().isEmpty() ? 1 : app.exec();
}
