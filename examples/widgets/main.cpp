// A Qt Widgets application measured by KEOMobile: three pages, a few actions, a media player
// and its launches and sessions, with nothing in the application beyond the calls below.
//
// Run it in a directory that holds app/native/KEOMobileConfig.json (where the hits go) and
// app/native/bar-descriptor.xml (the application's name and version), as any host does.
#include "ExampleWindow.h"

#include <KEOMobile.h>

#include <QApplication>
#include <QDir>
#include <QFile>

#include <cstdio>

int main(int argc, char **argv) {
    QApplication app(argc, argv);
    // Beside app/native/, the host provides a writable data/; the library never makes it.
    if (!QDir().mkpath(QStringLiteral("data")))
        std::fprintf(stderr, "keo-widgets-example: can't make data/ in %s\n",
                     qPrintable(QDir::currentPath()));
    if (!QFile::exists(QStringLiteral("app/native/KEOMobileConfig.json")))
        std::fprintf(stderr,
                     "keo-widgets-example: no app/native/KEOMobileConfig.json in %s: hits wait "
                     "in data/ with no server to go to\n",
                     qPrintable(QDir::currentPath()));
    if (QApplication::arguments().contains(QStringLiteral("--debug")))
        KEOMobile::setDebugLogging(true);

    // The application object follows this QApplication's state by itself: the window coming
    // to the front is awake(), leaving it or quitting is asleep(). Call before the first
    // window shows, so that its first activation counts as the launch.
    KEOMobile::collectLifecycleData();

    ExampleWindow window;
    window.show();
    return app.exec();
}
