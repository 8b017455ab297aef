#pragma once
// Which processes of the application are in front, kept in data/KEOLifecycle.lock so that every
// process sharing data/ sees the others. The file opens with one page for the journal of a
// launch in progress (its record, then its state in the page's last byte); one byte per process
// follows, its slot, each guarded by an open-file-description lock that the process holds on that
// byte for its life. The kernel lets go of the lock when the process ends,
// however it ends, so a slot marked "in front" whose lock is free belongs to a process that died
// without leaving the front: a crash.
// Every member is called by KEOLifecycle on its thread only, under a KEOSharedPreferences::Hold,
// which orders the processes' reads and writes of the file; setLaunchState says when not.
#include <QByteArray>
#include <QVector>

class KEOLifecycleRegistry {
public:
    KEOLifecycleRegistry() = delete;

    // A slot's mark.
    static constexpr char AWAY = '0';      // not in front, or never was
    static constexpr char IN_FRONT = 'F';  // in front; a crash when its lock is free
    static constexpr char REPORTING = 'X'; // a crash that the launch in progress reports
    static constexpr char RESUMED = 'R';   // in front alone since a resume; no crash when it dies

    // False when the file can't be opened: the process then keeps the lifecycle to itself.
    static bool available();
    // The other processes' slots by what they show now.
    struct Others {
        int inFront = 0;        // alive and in front
        QVector<int> crashed;   // marked in front, lock free
        QVector<int> reporting; // marked REPORTING
        QVector<int> resumed;   // alive and RESUMED, counted in inFront too
    };
    static Others others();
    // True while the process that holds slot's lock lives; this process's own slot included.
    static bool alive(int slot);
    // This process's slot, claimed on first use for the process's life; -1 without the file.
    static int ownSlot();
    static void mark(int slot, char value);
    static char markOf(int slot);
    // The state of the launch in progress, the journal page's last byte, written on its own so
    // that a reader sees either the old state or the new one.
    static constexpr char NO_LAUNCH = '\0';
    static constexpr char LAUNCH_PENDING = 'P'; // counters changed; hit stored if it has the mark
    static constexpr char LAUNCH_STORED = 'S';  // hit stored, flags not reset yet
    static char launchState();
    // One write; any thread, even without the Hold, while this process's launch is in progress.
    static void setLaunchState(char state);
    // The launch's record, the rest of the page; written only while the state is NO_LAUNCH.
    static QByteArray journal();
    static void setJournal(const QByteArray &record);
};
