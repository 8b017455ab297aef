// A Qt Widgets application measured by KEOMobile: three pages, a few actions, a media player
// and its launches and sessions, with nothing in the application beyond the calls below.
// It runs from any directory: its packaged configuration sends to the collector at
// 127.0.0.1:8080 (keo-collector --port 8080), and its files lie in its own sandbox.
#include "ExampleWindow.h"

#include <KEOMobile.h>

#include <QApplication>

int main(int argc, char **argv) {
    QApplication app(argc, argv);
    // The names that place its sandbox and make its identifier, "KEO Widgets Example (1.0)".
    QApplication::setOrganizationName(QStringLiteral("KEOMobile"));
    QApplication::setApplicationName(QStringLiteral("KEO Widgets Example"));
    QApplication::setApplicationVersion(QStringLiteral("1.0"));
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
