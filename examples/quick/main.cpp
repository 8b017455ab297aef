// A Qt Quick application measured by KEOMobile through its QML module: the pages name their
// screens with KEOScreen, the buttons call KEOMobile.trackAction, and that is all.
//
// Run it in a directory that holds app/native/KEOMobileConfig.json (where the hits go) and
// app/native/bar-descriptor.xml (the application's name and version), as any host does.
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QQmlApplicationEngine>

#include <cstdio>

int main(int argc, char **argv) {
    QGuiApplication app(argc, argv);
    // Beside app/native/, the host provides a writable data/; the library never makes it.
    if (!QDir().mkpath(QStringLiteral("data")))
        std::fprintf(stderr, "keo-quick-example: can't make data/ in %s\n",
                     qPrintable(QDir::currentPath()));
    if (!QFile::exists(QStringLiteral("app/native/KEOMobileConfig.json")))
        std::fprintf(stderr,
                     "keo-quick-example: no app/native/KEOMobileConfig.json in %s: hits wait "
                     "in data/ with no server to go to\n",
                     qPrintable(QDir::currentPath()));

    QQmlApplicationEngine engine;
    // Where this build found the module; QML2_IMPORT_PATH and Qt's own folder are looked at too.
    engine.addImportPath(QStringLiteral(KEO_QML_IMPORT_DIR));
    engine.load(QStringLiteral("qrc:/main.qml"));
    return engine.rootObjects().isEmpty() ? 1 : app.exec();
}
