#pragma once
// One open piece of media: everything the engine remembers about it between events. Items are
// created by KEOMediaAnalytics::open and owned by KEOMediaAnalytics; the application never
// holds one. All fields are read and written by the engine under its event lock, from the
// application's thread and from the item's monitor thread.
#include "KEOMediaSharedHeader.h"

#include <QHash>
#include <QString>

#include <atomic>

class KEOMediaAnalytics;
class KEOMediaItem;

// The monitor thread's way into the engine's private lock and bookkeeping; defined with the
// engine.
struct KEOMediaMonitorAccess {
    static void tick(KEOMediaAnalytics *m, KEOMediaItem *item);
    static void finish(KEOMediaAnalytics *m, KEOMediaItem *item);
};

class KEOMediaItem {
public:
    KEOMediaItem();
    virtual ~KEOMediaItem();

    // Starts the monitor thread that ticks the engine once a second while the item plays,
    // unless one already runs. Called by KEOMediaAnalytics::play under the event lock.
    void startMonitor();
    // Asks the monitor thread to end and returns at once; the thread ends within a second.
    // Called by the engine under the event lock when it closes the item.
    void stopMonitor();
    // Number of monitor threads that have not ended yet, over all items. Any thread.
    static int activeMonitorCount();

    QString name;
    double length;
    double offset;
    double percent;
    QString playerName;
    QString playerID;
    double timePlayed;
    double timePlayedSinceTrack;
    double timestamp;
    KEOMediaEventType lastEventType;
    double lastEventTimestamp;
    double lastEventOffset;
    QString session;
    double lastTrackOffset;
    int trackCount;
    QHash<QString, bool> firstEventList;
    bool viewTracked;
    int segmentNum;
    QString segment;
    double segmentLength;
    bool segmentGenerated;
    bool segmentChanged;
    bool updateSegment;
    bool ad;
    QString parentName;
    QString parentPod;
    int parentPodPosition;
    bool clicked;
    QString CPM;
    bool complete;
    bool completeTracked;
    int lastMilestone;
    int lastOffsetMilestone;
    // Atomic: the monitor thread tests both outside the event lock.
    std::atomic<bool> monitorThreadActive;
    std::atomic<bool> cancelMonitorThread;
    KEOMediaAnalytics *m;
};
