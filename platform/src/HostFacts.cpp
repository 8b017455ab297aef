// The host's device facts from its kernel, its firmware tables, its os-release and its own Qt
// application, read the way a user of that machine would name them.
#include "HostFacts.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QStringList>
#include <QThread>
#include <QMetaObject>
#include <QVariant>

#include <mutex>
#include <optional>
#include <sys/utsname.h>

namespace {

// What firmware vendors leave in the product name when nobody filled it in.
const char *const kPlaceholders[] = {
    "To Be Filled By O.E.M.",
    "System Product Name",
    "Default string",
    "System Name",
    "Product Name",
    "Not Applicable",
    "Not Specified",
    "None",
    "O.E.M.",
    "OEM",
    "Unknown",
    "Undefined",
    "Invalid",
    "All Series",
    "Type1ProductConfigId",
    "0123456789",
};

// The primary screen as last read on the GUI application's thread, for the other threads.
std::mutex screenMutex;
std::optional<QSize> lastPrimaryScreen;

QByteArray readFile(const QString &path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray();
    // Kernel files are small; the cap keeps a strange one from growing the host.
    return file.read(64 * 1024);
}

// Device-tree strings end in a NUL; firmware strings often in blanks.
QString readText(const QString &path) {
    QByteArray bytes = readFile(path);
    const int nul = bytes.indexOf('\0');
    if (nul >= 0)
        bytes.truncate(nul);
    return QString::fromUtf8(bytes).trimmed();
}

bool isPlaceholder(const QString &name) {
    for (const char *placeholder : kPlaceholders)
        if (name.compare(QLatin1String(placeholder), Qt::CaseInsensitive) == 0)
            return true;
    return false;
}

QString kernel(bool release) {
    struct utsname name;
    if (uname(&name) != 0)
        return QStringLiteral("Linux");
    return QString::fromUtf8(name.sysname) + ' ' +
           QString::fromUtf8(release ? name.release : name.machine);
}

// One os-release value: quotes removed, backslash escapes resolved.
QString osReleaseValue(const QString &file, const QString &key) {
    const QString prefix = key + '=';
    for (const QString &raw : file.split('\n')) {
        const QString line = raw.trimmed();
        if (!line.startsWith(prefix))
            continue;
        QString value = line.mid(prefix.size());
        if (value.size() >= 2 && (value.startsWith('"') || value.startsWith('\'')) &&
            value.endsWith(value.front()))
            value = value.mid(1, value.size() - 2);
        value.replace(QRegularExpression(QStringLiteral("\\\\(.)")), QStringLiteral("\\1"));
        return value.trimmed();
    }
    return QString();
}

// The GUI application object, or null for a host without one. Its properties are read by
// name, so that the platform links Qt Core only.
QCoreApplication *guiApplication() {
    QCoreApplication *app = QCoreApplication::instance();
    if (app == nullptr || app->metaObject()->indexOfProperty("primaryScreen") < 0)
        return nullptr;
    return app;
}

// QtGui does not register QScreen* with QVariant, so the property is read through the
// meta-object into a pointer of our own.
const QObject *primaryScreen(QCoreApplication *app) {
    void *screen = nullptr;
    int status = -1;
    int flags = 0;
    void *argv[] = {&screen, nullptr, &status, &flags};
    QMetaObject::metacall(app, QMetaObject::ReadProperty,
                          app->metaObject()->indexOfProperty("primaryScreen"), argv);
    // A QScreen is a QObject at offset 0: Qt's QVariant takes any QObject pointer this way.
    return static_cast<const QObject *>(screen);
}

std::optional<QSize> readPrimaryScreen(QCoreApplication *app) {
    const QObject *screen = primaryScreen(app);
    if (screen == nullptr)
        return std::nullopt;
    const QSize size = screen->property("size").toSize();
    qreal ratio = screen->property("devicePixelRatio").toReal();
    // A ratio outside what any screen has would make the rounding below undefined.
    if (!(ratio >= 0.25 && ratio <= 16.0))
        ratio = 1.0;
    return QSize(qRound(size.width() * ratio), qRound(size.height() * ratio));
}

// The first mode the kernel lists for a connected connector is its preferred one.
QSize drmPreferredMode(const QString &root) {
    static const QRegularExpression mode(QStringLiteral("^(\\d{1,5})x(\\d{1,5})"));
    const QDir drm(root + QStringLiteral("/sys/class/drm"));
    for (const QString &connector : drm.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name)) {
        if (readText(drm.filePath(connector + QStringLiteral("/status"))) !=
            QLatin1String("connected"))
            continue;
        const QString modes = readText(drm.filePath(connector + QStringLiteral("/modes")));
        const QRegularExpressionMatch match = mode.match(modes);
        if (match.hasMatch())
            return QSize(match.captured(1).toInt(), match.captured(2).toInt());
    }
    return QSize(0, 0);
}

} // namespace

namespace desktop {
namespace host {

QString deviceName(const QString &root) {
    const QString dmi = readText(root + QStringLiteral("/sys/class/dmi/id/product_name"));
    if (!dmi.isEmpty() && !isPlaceholder(dmi))
        return dmi;
    const QString model = readText(root + QStringLiteral("/sys/firmware/devicetree/base/model"));
    if (!model.isEmpty())
        return model;
    return kernel(false);
}

QString osVersion(const QString &root) {
    for (const char *path : {"/etc/os-release", "/usr/lib/os-release"}) {
        const QString file = QString::fromUtf8(readFile(root + QLatin1String(path)));
        const QString name = osReleaseValue(file, QStringLiteral("NAME"));
        const QString version = osReleaseValue(file, QStringLiteral("VERSION_ID"));
        if (!name.isEmpty() && !version.isEmpty())
            return name + ' ' + version;
        const QString pretty = osReleaseValue(file, QStringLiteral("PRETTY_NAME"));
        if (!pretty.isEmpty())
            return pretty;
        if (!name.isEmpty())
            return name;
    }
    return kernel(true);
}

QSize displaySize(const QString &root) {
    if (guiApplication() != nullptr) {
        rememberPrimaryScreen();
        std::lock_guard<std::mutex> lock(screenMutex);
        if (lastPrimaryScreen)
            return *lastPrimaryScreen;
    }
    return drmPreferredMode(root);
}

void rememberPrimaryScreen() {
    QCoreApplication *app = guiApplication();
    // Qt's GUI objects belong to the application's thread; other threads use what it read.
    if (app == nullptr || QThread::currentThread() != app->thread())
        return;
    const std::optional<QSize> size = readPrimaryScreen(app);
    std::lock_guard<std::mutex> lock(screenMutex);
    if (size)
        lastPrimaryScreen = size;
}

} // namespace host
} // namespace desktop
