#include "KEOLockFile.h"

#include <sandbox/sandbox.h>

#include <cerrno>
#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <unistd.h>

int KEOLockFile::open(const char *path, bool create) {
    return sandbox_open_private(path, O_RDWR | (create ? O_CREAT : 0));
}

void KEOLockFile::lock(int fd) {
    while (fd >= 0 && flock(fd, LOCK_EX) != 0 && errno == EINTR) {
    }
}

void KEOLockFile::unlock(int fd) {
    if (fd >= 0)
        flock(fd, LOCK_UN);
}

void KEOLockFile::mark(int fd) {
    if (fd >= 0 && pwrite(fd, "1", 1, 0) < 0) {
        // a file that takes no write still locks; only the standbys stay asleep
    }
}

namespace {
struct Standby {
    const char *path;
    void (*wake)();
};

void *standbyRunner(void *argument) {
    const Standby standby = *static_cast<Standby *>(argument);
    delete static_cast<Standby *>(argument);
    const int watch = inotify_init1(IN_CLOEXEC);
    const int lock = KEOLockFile::open(standby.path, false);
    if (watch < 0 || lock < 0 || inotify_add_watch(watch, standby.path, IN_MODIFY) < 0) {
        close(watch);
        close(lock);
        return nullptr;
    }
    alignas(inotify_event) char events[4096];
    for (;;) {
        // A run that marked the file after the watch began is over once the lock is ours; a
        // run that marks it later wakes the read below.
        KEOLockFile::lock(lock);
        KEOLockFile::unlock(lock);
        standby.wake();
        ssize_t got;
        while ((got = read(watch, events, sizeof(events))) < 0 && errno == EINTR) {
        }
        if (got <= 0)
            break; // the watch is gone; this process delivers as if it were alone
    }
    close(watch);
    close(lock);
    return nullptr;
}
} // namespace

void KEOLockFile::startStandby(const char *path, void (*wake)()) {
    // Detached: a finished thread leaves nothing to reap.
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t thread;
    Standby *standby = new Standby{path, wake};
    if (pthread_create(&thread, &attributes, standbyRunner, standby) != 0)
        delete standby;
    pthread_attr_destroy(&attributes);
}
