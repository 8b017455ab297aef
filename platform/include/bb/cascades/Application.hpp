#pragma once
/// \file
/// Desktop stand-in for the platform's application object. It is a QCoreApplication, so a
/// desktop host gets its event loop, and it carries the two state signals the platform
/// emits: awake() when the application comes to the foreground, asleep() when it leaves.
/// On the desktop nothing emits them by itself: the host (or a test) calls emitAwake() /
/// emitAsleep() of desktop/DesktopPlatform.h, or emits them from its own state changes.
#include <KEOMobileExport.h>

#include <QCoreApplication>

namespace bb {
namespace cascades {

/// The application object. The host creates it, owns it and destroys it last, on the main
/// thread; the library only connects to its signals.
class KEOMOBILE_EXPORT Application : public QCoreApplication {
    Q_OBJECT
public:
    /// argc must outlive the object, as for QCoreApplication. Create on the main thread.
    Application(int &argc, char **argv);
    ~Application() override;
    /// The one application object, or null when none exists. Any thread.
    static Application *instance();

Q_SIGNALS:
    /// Emitted on the thread that calls emitAwake(); receivers in other threads get it queued.
    void awake();
    /// The application left the foreground. Emitted as awake().
    void asleep();
};

} // namespace cascades
} // namespace bb
