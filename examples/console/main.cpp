// An application built against an installed library: its launch and one screen, then its event
// loop while the worker delivers them, until the test stops it.
#include <KEOMediaAnalytics.h>
#include <KEOMobile.h>
#include <bb/cascades/Application>
#include <desktop/DesktopPlatform.h>

#include <QTimer>

int main(int argc, char **argv) {
    bb::cascades::Application app(argc, argv);
    KEOMobile::collectLifecycleData();
    desktop::emitAwake();
    KEOMediaAnalytics::sharedInstance()->channel = QString("installed");
    KEOMobile::trackState("Installed Home",
                          {{"shop.channel", KEOMediaAnalytics::sharedInstance()->channel}});
    QTimer::singleShot(60000, &app, &QCoreApplication::quit);
    return app.exec();
}
