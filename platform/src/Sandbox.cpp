// The application's sandbox on a desktop, as the phone's system gives one to every application:
// one root per user and application where the desktop keeps an application's own data, holding
// data/ and app/native/, made on first use; and the one way every private file is made.
#include <desktop/DesktopPlatform.h>
#include <sandbox/sandbox.h>

#include "PrivateWrite.h"

#include <QCoreApplication>
#include <QFile>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// What the application packages at build time (see keomobile_add_application in the package).
const char *PACKAGED_CONFIG = ":/keomobile/KEOMobileConfig.json";
const char *PACKAGED_DESCRIPTOR = ":/keomobile/bar-descriptor.xml";

const char *DIRECTORY_RULE = "each directory of the sandbox is its user's own, made 0700";
const char *FILE_RULE = "the packaged files are copied into app/native/, 0600";

std::atomic<bool> sandboxWanted{false};
std::once_flag rootOnce;
const char *sandboxRoot = nullptr; // set once under rootOnce; never freed, as callers keep it

// One line, as the library's own errors read: the path, the rule it could not follow, and why.
void reportFailure(const QByteArray &path, const char *rule, int error) {
    fprintf(stderr, "KEOMobile Error: Sandbox unavailable (%s: %s: %s)\n", path.constData(), rule,
            strerror(error));
}

// The desktop's place for an application's own data. XDG says that a relative or empty
// XDG_DATA_HOME is to be ignored.
QByteArray dataHome() {
    const char *xdg = getenv("XDG_DATA_HOME");
    if (xdg != nullptr && xdg[0] == '/')
        return QByteArray(xdg);
    QByteArray home = qgetenv("HOME");
    if (home.isEmpty()) {
        const passwd *entry = getpwuid(getuid());
        home = entry != nullptr ? QByteArray(entry->pw_dir) : QByteArray();
    }
    return home + "/.local/share";
}

// <org>/<app> as Qt names an application's data location, the organisation left out when empty.
QByteArray applicationPath() {
    const QString organisation = QCoreApplication::organizationName();
    QString name = QCoreApplication::applicationName();
    if (name.isEmpty())
        name = QString::fromLocal8Bit(program_invocation_short_name);
    const QString path = organisation.isEmpty() ? name : organisation + QLatin1Char('/') + name;
    return QFile::encodeName(path);
}

// Every missing directory of path, each made 0700 whatever the umask. An existing one is left as
// it is, so never made wider. 0 or the errno of the failure, with failedAt naming the place.
int makeDirectories(const QByteArray &path, QByteArray &failedAt) {
    for (int slash = path.indexOf('/', 1);; slash = path.indexOf('/', slash + 1)) {
        const QByteArray part = slash < 0 ? path : path.left(slash);
        if (mkdir(part.constData(), 0700) == 0) {
            chmod(part.constData(), 0700);
        } else {
            const int error = errno;
            struct stat status {};
            if (error != EEXIST || stat(part.constData(), &status) != 0 ||
                !S_ISDIR(status.st_mode)) {
                failedAt = part;
                return error == EEXIST ? ENOTDIR : error;
            }
        }
        if (slash < 0)
            return 0;
    }
}

// Writes content to target unless it holds it already, so that another process of the
// application never reads half of it. 0 or an errno.
int installFile(const QByteArray &target, const QByteArray &content) {
    QFile existing(QFile::decodeName(target));
    if (existing.open(QIODevice::ReadOnly) && existing.readAll() == content)
        return 0;
    return writePrivately(target, content);
}

QByteArray readAll(const QString &path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The configuration: an administrator's under the XDG configuration directories first, then
// the one packaged with the application. Empty when there is neither.
QByteArray configuration(const QByteArray &application) {
    QByteArray directories = qgetenv("XDG_CONFIG_DIRS");
    if (directories.isEmpty())
        directories = "/etc/xdg";
    for (const QByteArray &directory : directories.split(':')) {
        if (!directory.startsWith('/'))
            continue;
        const QString path =
            QFile::decodeName(directory + '/' + application + "/KEOMobileConfig.json");
        if (QFile::exists(path))
            return readAll(path);
    }
    return readAll(QString::fromLatin1(PACKAGED_CONFIG));
}

// The packaged descriptor, else one made from what the application declares to Qt, so that the
// library reads its name and version as a user would recognise them.
QByteArray descriptor() {
    if (QFile::exists(QString::fromLatin1(PACKAGED_DESCRIPTOR)))
        return readAll(QString::fromLatin1(PACKAGED_DESCRIPTOR));
    QString name = QCoreApplication::applicationName();
    if (name.isEmpty())
        name = QString::fromLocal8Bit(program_invocation_short_name);
    return QString("<qnx xmlns=\"http://www.qnx.com/schemas/application/1.0\"><name>%1</name>"
                   "<versionNumber>%2</versionNumber></qnx>\n")
        .arg(name.toHtmlEscaped(), QCoreApplication::applicationVersion().toHtmlEscaped())
        .toUtf8();
}

// The root, its directories and its packaged files. A failure is said once; the library then
// meets missing files below the root and loses what it cannot store, as without a data/.
void makeSandbox() {
    if (!sandboxWanted.load() && !QFile::exists(QString::fromLatin1(PACKAGED_CONFIG)))
        return;
    const QByteArray application = applicationPath();
    const QByteArray root = dataHome() + '/' + application;
    sandboxRoot = strdup(root.constData());
    QByteArray failedAt;
    int error = makeDirectories(root + "/data", failedAt);
    if (error == 0)
        error = makeDirectories(root + "/app/native", failedAt);
    if (error != 0) {
        reportFailure(failedAt, DIRECTORY_RULE, error);
        return;
    }
    const QByteArray config = configuration(application);
    const QByteArray configPath = root + "/app/native/KEOMobileConfig.json";
    if (!config.isEmpty() && (error = installFile(configPath, config)) != 0) {
        reportFailure(configPath, FILE_RULE, error);
        return;
    }
    const QByteArray descriptorPath = root + "/app/native/bar-descriptor.xml";
    if ((error = installFile(descriptorPath, descriptor())) != 0)
        reportFailure(descriptorPath, FILE_RULE, error);
}

} // namespace

extern "C" {

const char *sandbox_get_root(void) {
    std::call_once(rootOnce, makeSandbox);
    return sandboxRoot;
}

int sandbox_open_private(const char *path, int flags) {
    const int file = open(path, flags | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (file < 0)
        return -1;
    // The umask may have taken more away, and a file made before may have been wider: either is
    // set to 0600 when it is the caller's own. Another account's file is left as it is.
    struct stat status {};
    if (fstat(file, &status) == 0 && S_ISREG(status.st_mode) && (status.st_mode & 07777) != 0600 &&
        status.st_uid == geteuid())
        (void)fchmod(file, 0600);
    return file;
}

} // extern "C"

namespace desktop {

void useApplicationSandbox() {
    sandboxWanted.store(true);
}

QString sandboxRoot() {
    const char *root = sandbox_get_root();
    return root != nullptr ? QFile::decodeName(root) : QString();
}

} // namespace desktop

namespace {
// The whole of text into an open file, synced; 0 or an errno.
int writeAll(int file, const QByteArray &text) {
    for (qint64 done = 0; done < text.size();) {
        const ssize_t written =
            write(file, text.constData() + done, static_cast<size_t>(text.size() - done));
        if (written > 0)
            done += written;
        else if (errno != EINTR)
            return errno;
    }
    return fdatasync(file) == 0 ? 0 : errno;
}
} // namespace

int writePrivately(const QByteArray &path, const QByteArray &text) {
    static std::atomic<unsigned> made{0};
    const QByteArray temporary = path + '.' + QByteArray::number(getpid()) + '.' +
                                 QByteArray::number(made.fetch_add(1)) + ".tmp";
    int file = sandbox_open_private(temporary.constData(), O_WRONLY | O_CREAT | O_EXCL);
    if (file < 0) {
        if (errno != EACCES)
            return errno;
        file = sandbox_open_private(path.constData(), O_WRONLY | O_TRUNC);
        if (file < 0)
            return errno;
        const int error = writeAll(file, text);
        close(file);
        return error;
    }
    int error = writeAll(file, text);
    if (close(file) != 0 && error == 0)
        error = errno;
    if (error == 0 && rename(temporary.constData(), path.constData()) != 0)
        error = errno;
    if (error != 0)
        unlink(temporary.constData());
    return error;
}
