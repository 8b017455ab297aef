#pragma once
// The lock that the processes of one application share over data/: an advisory whole-file lock
// (flock) on a small file beside what it guards. The preferences take it around each
// read-change-write of their file. Delivery takes it for a worker's whole run, pauses included,
// so that one worker at a time, across all processes, sends rows from the table, and no row is
// sent twice. A run that has the lock marks the file (writes one byte). Each process keeps one
// standby thread asleep on that mark (an inotify watch): woken, it waits until the run that
// marked the file has let go of the lock, then asks its own process to deliver what is left, so
// that rows a process leaves when it ends or is killed go out without waiting for the next hit.
// A lock file that can't be made or watched leaves a process working as if it were alone.
// Every function may be called from any thread; each descriptor belongs to its caller.
class KEOLockFile {
public:
    // The lock file at path opened for reading and writing, made when missing if create is set;
    // -1 when it can't be opened. The caller closes it, which also lets go of its lock.
    static int open(const char *path, bool create = true);
    // Waits until the descriptor holds the lock alone; nothing on -1.
    static void lock(int fd);
    static void unlock(int fd);
    // Writes the byte that wakes every standby watching the file.
    static void mark(int fd);
    // Starts the standby thread on the file at path (which outlives the process's threads):
    // after each mark, once the lock is free, it calls wake on its own thread; it calls wake once
    // at its start too. Gives up quietly when the file can't be opened or watched.
    static void startStandby(const char *path, void (*wake)());
};
