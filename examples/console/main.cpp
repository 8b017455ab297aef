// The smallest host: a Qt Core program with no window, such as a command-line tool or a
// service. It makes the platform's application object itself, says awake() when its work
// starts, and lets the quit say asleep(), so that a normal exit never counts as a crash.
// Every hit is stored at once and delivered by the library's worker while the event loop runs;
// whatever is still stored at the exit goes out at the next run. Its packaged configuration
// sends to the collector at 127.0.0.1:8080 (keo-collector --port 8080).
//   keo-console-example [SCREEN] [SECONDS]     (Home, 10)
#include <KEOMobile.h>
#include <bb/cascades/Application>
#include <desktop/DesktopPlatform.h>

#include <QTimer>

int main(int argc, char **argv) {
    bb::cascades::Application app(argc, argv); // makes the QCoreApplication too
    // The names that place its sandbox and make its identifier, "KEO Console Example (1.0)".
    QCoreApplication::setOrganizationName(QStringLiteral("KEOMobile"));
    QCoreApplication::setApplicationName(QStringLiteral("KEO Console Example"));
    QCoreApplication::setApplicationVersion(QStringLiteral("1.0"));
    KEOMobile::collectLifecycleData();
    desktop::emitAwake(); // no window to become active: the work starts now
    const QStringList args = QCoreApplication::arguments();
    KEOMobile::trackState(args.value(1, "Home"), {{"shop.channel", "console"}});
    QTimer::singleShot(args.value(2, "10").toInt() * 1000, &app, &QCoreApplication::quit);
    return app.exec();
}
