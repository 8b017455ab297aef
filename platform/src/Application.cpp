// The application object: the one a host without a user interface constructs, or the one the
// platform makes while Qt starts up a host's own application, following its state.
#include <bb/cascades/Application>

#include "HostFacts.h"

#include <QThread>

namespace bb {
namespace cascades {

namespace {
std::atomic<Application *> currentApplication{nullptr};
}

// Runs inside the constructor of every QCoreApplication, on the thread that makes it.
class ApplicationStartup {
public:
    static void run() {
        QCoreApplication *host = QCoreApplication::instance();
        // A host that constructs Application itself has registered it before this runs.
        if (host == nullptr || currentApplication.load() != nullptr)
            return;
        currentApplication.store(new Application(host)); // owned by host
    }
};

Application::Application(int &argc, char **argv) : QObject(nullptr) {
    // Registered before the QCoreApplication exists, so that its start-up makes no other.
    Application *previous = currentApplication.exchange(this);
    if (QCoreApplication::instance() == nullptr)
        _ownedApp.reset(new QCoreApplication(argc, argv));
    else if (previous != nullptr && previous->_madeForHost)
        delete previous; // the host chose to make its own: only one follows its state
    followHost(QCoreApplication::instance());
}

Application::Application(QCoreApplication *host)
    : QObject(QThread::currentThread() == host->thread() ? host : nullptr), _madeForHost(true) {
    // Made on another thread only when the platform is loaded into a running application: it
    // then lives on the application's thread to the end of the process.
    if (parent() == nullptr)
        moveToThread(host->thread());
    followHost(host);
}

Application::~Application() {
    Application *self = this;
    currentApplication.compare_exchange_strong(self, nullptr);
}

Application *Application::instance() {
    return currentApplication.load();
}

int Application::exec() {
    return QCoreApplication::exec();
}

void Application::followHost(QCoreApplication *host) {
    // Whoever emits, the host's state continues from the last signal sent.
    connect(
        this, &Application::awake, this, [this] { _last.store(Awake); }, Qt::DirectConnection);
    connect(
        this, &Application::asleep, this, [this] { _last.store(Asleep); }, Qt::DirectConnection);
    connect(host, &QCoreApplication::aboutToQuit, this, &Application::followQuit);
    // Only a GUI application has this signal; by name, so that the platform needs Qt Core only.
    if (host->metaObject()->indexOfSignal("applicationStateChanged(Qt::ApplicationState)") >= 0)
        connect(host, SIGNAL(applicationStateChanged(Qt::ApplicationState)), this,
                SLOT(followHostState(Qt::ApplicationState)));
}

void Application::followHostState(Qt::ApplicationState state) {
    // On the application's thread, where the screen may be read for the threads that may not.
    desktop::host::rememberPrimaryScreen();
    if (state == Qt::ApplicationActive) {
        if (_last.load() != Awake)
            emit awake();
    } else if (_last.load() == Awake) {
        emit asleep();
    }
}

void Application::followQuit() {
    if (_last.load() == Awake)
        emit asleep();
}

} // namespace cascades
} // namespace bb

static void startApplicationObject() {
    bb::cascades::ApplicationStartup::run();
}
Q_COREAPP_STARTUP_FUNCTION(startApplicationObject)
