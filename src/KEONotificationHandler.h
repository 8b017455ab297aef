#pragma once
// The one link between the application object's state signals and the lifecycle: awake()
// starts (or resumes) a session, asleep() ends it. It exists only once the application has
// called KEOMobile::collectLifecycleData(); without it the library measures no lifecycle.
#include <QObject>

class KEONotificationHandler : public QObject {
    Q_OBJECT
public:
    // The singleton, made at the first call and never destroyed; the library owns it. Making
    // it connects to bb::cascades::Application::instance(), so call once the application
    // object exists. Any thread may call; the handler belongs to the thread that makes it,
    // and its slots run on that thread (queued there when the signals come from another
    // thread, so that thread needs an event loop).
    static KEONotificationHandler *sharedInstance();

public Q_SLOTS:
    // awake(): KEOLifecycle::start(). Runs on the handler's thread only.
    void handleActivate();
    // asleep(): KEOLifecycle::stop(). Runs on the handler's thread only.
    void handleDeactivate();

private:
    KEONotificationHandler();
    // Never called by the library: the handler lives until the process ends.
    virtual ~KEONotificationHandler();
};
