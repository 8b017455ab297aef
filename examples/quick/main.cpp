// A Qt Quick application measured by KEOMobile through its QML module: the pages name their
// screens with KEOScreen, the buttons call KEOMobile.trackAction, a KEOMediaTracker follows the
// video, and that is all. It reaches
// the library through the module alone, so that the process holds one copy of it.
//
// Run it in a directory that holds app/native/KEOMobileConfig.json (where the hits go) and
// app/native/bar-descriptor.xml (the application's name and version), as any host does.
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQmlContext>

#include <cstdio>

int main(int argc, char **argv) {
    QGuiApplication app(argc, argv);
    // The host provides app/native/ and a writable data/ beside it; the library makes neither.
    if (!QDir().mkpath(QStringLiteral("data")) ||
        !QFile::exists(QStringLiteral("app/native/KEOMobileConfig.json")))
        std::fprintf(stderr,
                     "keo-quick-example: %s lacks app/native/KEOMobileConfig.json or a "
                     "writable data/: hits have nowhere to go\n",
                     qPrintable(QDir::currentPath()));

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
