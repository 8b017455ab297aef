#include "KEOLifecycleRegistry.h"

#include "KEOStatic.h"

#include <QFile>
#include <sandbox/sandbox.h>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
// The journal page's size; slot n is the byte at JOURNAL_PAGE + n.
const off_t JOURNAL_PAGE = 4096;
int _file = -1;      // open for the process's life once made
bool _tried = false; // one attempt: without data/ there is nothing to share
int _ownSlot = -1;

struct flock byteLock(short type, int slot) {
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = JOURNAL_PAGE + slot;
    lock.l_len = 1;
    return lock;
}

QByteArray readAll() {
    struct stat status;
    if (fstat(_file, &status) != 0)
        return QByteArray();
    QByteArray bytes(static_cast<int>(status.st_size), '\0');
    const ssize_t got = pread(_file, bytes.data(), bytes.size(), 0);
    bytes.resize(got > 0 ? static_cast<int>(got) : 0);
    return bytes;
}
} // namespace

bool KEOLifecycleRegistry::available() {
    if (!_tried) {
        _tried = true;
        const QString path = KEOStatic::qtPathBelow(KEOStatic::getCurrentWorkingDirectory(),
                                                    "data/KEOLifecycle.lock");
        if (!path.isEmpty())
            _file = sandbox_open_private(QFile::encodeName(path).constData(), O_RDWR | O_CREAT);
    }
    return _file >= 0;
}

KEOLifecycleRegistry::Others KEOLifecycleRegistry::others() {
    Others found;
    const QByteArray bytes = readAll();
    for (int slot = 0; JOURNAL_PAGE + slot < bytes.size(); ++slot) {
        const char value = bytes.at(static_cast<int>(JOURNAL_PAGE + slot));
        if (slot == _ownSlot)
            continue;
        if (value == REPORTING)
            found.reporting.append(slot);
        else if (value == RESUMED && alive(slot)) {
            ++found.inFront;
            found.resumed.append(slot);
        } else if (value == IN_FRONT && alive(slot))
            ++found.inFront;
        else if (value == IN_FRONT)
            found.crashed.append(slot);
    }
    return found;
}

bool KEOLifecycleRegistry::alive(int slot) {
    if (slot == _ownSlot)
        return true;
    // A lock held through another open of the file conflicts; this process's own never does.
    struct flock lock = byteLock(F_WRLCK, slot);
    if (fcntl(_file, F_OFD_GETLK, &lock) != 0)
        return true; // unknown: never take a living process for a crash
    return lock.l_type != F_UNLCK;
}

int KEOLifecycleRegistry::ownSlot() {
    if (_ownSlot >= 0 || !available())
        return _ownSlot;
    const QByteArray bytes = readAll();
    // A slot marked by a dead process keeps its mark until a launch has reported it.
    for (int slot = 0; _ownSlot < 0; ++slot) {
        const off_t at = JOURNAL_PAGE + slot;
        const char value = at < bytes.size() ? bytes.at(static_cast<int>(at)) : AWAY;
        if (value == IN_FRONT || value == REPORTING)
            continue;
        struct flock lock = byteLock(F_WRLCK, slot);
        if (fcntl(_file, F_OFD_SETLK, &lock) == 0)
            _ownSlot = slot;
        else if (errno != EAGAIN && errno != EACCES)
            return -1; // no locks here: stay out of the registry
    }
    return _ownSlot;
}

void KEOLifecycleRegistry::mark(int slot, char value) {
    if (slot >= 0 && pwrite(_file, &value, 1, JOURNAL_PAGE + slot) != 1)
        KEOStatic::logError("Unable to write lifecycle registry (%d)", errno);
}

char KEOLifecycleRegistry::markOf(int slot) {
    char value = AWAY;
    if (slot < 0 || pread(_file, &value, 1, JOURNAL_PAGE + slot) != 1)
        return AWAY;
    return value;
}

char KEOLifecycleRegistry::launchState() {
    char state = NO_LAUNCH;
    if (pread(_file, &state, 1, JOURNAL_PAGE - 1) != 1)
        return NO_LAUNCH;
    return state;
}

void KEOLifecycleRegistry::setLaunchState(char state) {
    if (pwrite(_file, &state, 1, JOURNAL_PAGE - 1) != 1)
        KEOStatic::logError("Unable to write lifecycle registry (%d)", errno);
}

QByteArray KEOLifecycleRegistry::journal() {
    QByteArray page(static_cast<int>(JOURNAL_PAGE) - 1, '\0');
    const ssize_t got = pread(_file, page.data(), page.size(), 0);
    page.resize(got > 0 ? static_cast<int>(got) : 0);
    const int end = page.indexOf('\0');
    return end < 0 ? page : page.left(end);
}

void KEOLifecycleRegistry::setJournal(const QByteArray &record) {
    QByteArray page = record.left(static_cast<int>(JOURNAL_PAGE) - 2);
    page.append('\0');
    if (pwrite(_file, page.constData(), page.size(), 0) != page.size())
        KEOStatic::logError("Unable to write lifecycle registry (%d)", errno);
}
