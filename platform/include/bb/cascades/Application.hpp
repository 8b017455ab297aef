#pragma once
/// \file
/// Desktop stand-in for the platform's application object: the object whose awake() and
/// asleep() tell the library that the application came to the foreground or left it.
///
/// Every Qt host has one, whoever made the Qt application object:
///
/// - A host with a user interface makes its own QGuiApplication or QApplication, as usual. The
///   platform makes the application object while Qt starts that up, as a child of it on its
///   thread, and the signals follow the host's own state with no call from the application:
///
///     Qt::ApplicationActive                              awake()
///     Qt::ApplicationInactive, Hidden or Suspended        asleep()
///     QCoreApplication::aboutToQuit                      asleep(), unless the last was asleep()
///
///   They alternate, starting with awake(): the host's state never sends two of the same in a
///   row, nor an asleep() before the first awake(). A window that loses focus to another
///   program is a pause; when it comes back, the session timeout ("lifecycleTimeout") decides
///   whether that is a new launch. A normal exit thus never counts as a crash, and the time a
///   window spent inactive before the exit is not counted as use.
///
/// - A host without a user interface (a service, a test, a script) constructs
///   Application(argc, argv), which makes the QCoreApplication, and emits the signals itself
///   through desktop::emitAwake() / emitAsleep(). These pass as they are, two in a row
///   included; aboutToQuit still ends with asleep() after an awake().
///
/// The platform links Qt Core only: the host's GUI signals and properties are reached by name.
#include <desktop/PlatformExport.h>

#include <QCoreApplication>

#include <atomic>
#include <memory>

namespace bb {
namespace cascades {

/// The application object: one per process, found through instance(); see this file's text
/// for who makes it and when its signals come.
class DESKTOP_PLATFORM_EXPORT Application : public QObject {
    Q_OBJECT
public:
    /// For a host without a user interface: makes the QCoreApplication (or, when the host has
    /// already made one, joins it) and is the application object until destroyed. argc must
    /// outlive it, as for QCoreApplication. The caller owns it; create and destroy it on the
    /// main thread, before KEOMobile::collectLifecycleData().
    Application(int &argc, char **argv);
    ~Application() override;

    /// The application object of the host's Qt application, or null when there is none. Owned
    /// by the host (constructed above) or by the host's Qt application object (made at its
    /// start-up); never delete it. Any thread.
    static Application *instance();

    /// QCoreApplication::exec(), so that `app.exec()` runs the host's event loop. Main thread.
    static int exec();

Q_SIGNALS:
    /// The application came to the foreground. From the host's state: emitted on the thread
    /// that owns the host's Qt application object. From desktop::emitAwake(): on its caller's
    /// thread. Receivers in other threads get it queued.
    void awake();
    /// The application left the foreground, or is about to quit; emitted as awake().
    void asleep();

private Q_SLOTS:
    /// The host's applicationStateChanged(Qt::ApplicationState) and aboutToQuit(); run on the
    /// thread that owns the host's Qt application object.
    void followHostState(Qt::ApplicationState state);
    void followQuit();

private:
    friend class ApplicationStartup;
    enum Last { None, Awake, Asleep };

    /// The application object that the platform makes for a host's own Qt application.
    explicit Application(QCoreApplication *host);
    void followHost(QCoreApplication *host);

    std::unique_ptr<QCoreApplication> _ownedApp;
    /// The last signal sent, by any thread, so that the host's state continues from it.
    std::atomic<int> _last{None};
    bool _madeForHost = false;
};

} // namespace cascades
} // namespace bb
