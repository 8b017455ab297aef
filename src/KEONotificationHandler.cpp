#include "KEONotificationHandler.h"

#include "KEOLifecycle.h"

#include <bb/cascades/Application>

#include <QDebug>

#include <atomic>
#include <mutex>

namespace {
std::mutex _instanceMutex;
// Atomic so that a thread that sees the pointer also sees the constructed object.
std::atomic<KEONotificationHandler *> _sharedInstance{nullptr};
} // namespace

KEONotificationHandler *KEONotificationHandler::sharedInstance() {
    KEONotificationHandler *instance = _sharedInstance.load(std::memory_order_acquire);
    if (instance)
        return instance;
    std::lock_guard<std::mutex> locker(_instanceMutex);
    instance = _sharedInstance.load(std::memory_order_relaxed);
    if (!instance) {
        instance = new KEONotificationHandler();
        // Published only once the constructor has connected both signals.
        _sharedInstance.store(instance, std::memory_order_release);
    }
    return instance;
}

KEONotificationHandler::KEONotificationHandler() : QObject(nullptr) {
    // Kept on purpose: straight to Qt's debug stream, whatever the debug switch.
    qDebug() << "initializing notification handler";
    bb::cascades::Application *app = bb::cascades::Application::instance();
    // With no application object both connects fail with Qt's own warning; the handler
    // stays in place unconnected and this process measures no lifecycle.
    QObject::connect(app, SIGNAL(awake()), this, SLOT(handleActivate()));
    QObject::connect(app, SIGNAL(asleep()), this, SLOT(handleDeactivate()));
    // No start here: the first launch counts at the application's next awake().
}

KEONotificationHandler::~KEONotificationHandler() {}

void KEONotificationHandler::handleActivate() {
    KEOLifecycle::start();
}

void KEONotificationHandler::handleDeactivate() {
    KEOLifecycle::stop();
}
