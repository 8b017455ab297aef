#include "KEOMediaItem.h"

#include "KEOMediaAnalytics.h"
#include "KEOStatic.h"

#include <pthread.h>
#include <unistd.h>

static std::atomic<int> _activeMonitors(0);

// length and m are given by open; updateSegment starts true, which merely confirms the first
// segment at the first hit.
KEOMediaItem::KEOMediaItem()
    : length(-1.0), offset(0.0), percent(0.0), timePlayed(0.0), timePlayedSinceTrack(0.0),
      timestamp(KEOStatic::timeSince1970()), lastEventType(KEOMediaEventTypeClose),
      lastEventTimestamp(timestamp), lastEventOffset(0.0), lastTrackOffset(-1.0), trackCount(0),
      viewTracked(false), segmentNum(0), segmentLength(0.0), segmentGenerated(false),
      segmentChanged(false), updateSegment(true), ad(false), parentPodPosition(0), clicked(false),
      complete(false), completeTracked(false), lastMilestone(0), lastOffsetMilestone(0),
      monitorThreadActive(false), cancelMonitorThread(true), m(nullptr) {}

KEOMediaItem::~KEOMediaItem() {}

static void *_monitorThread(void *arg) {
    KEOMediaItem *item = static_cast<KEOMediaItem *>(arg);
    KEOMediaAnalytics *m = item->m;
    // The item stays allocated while monitorThreadActive is true, so these reads are safe.
    while (!item->cancelMonitorThread) {
        KEOMediaMonitorAccess::tick(m, item);
        sleep(1);
    }
    // From here on the item may be freed.
    KEOMediaMonitorAccess::finish(m, item);
    --_activeMonitors;
    return nullptr;
}

void KEOMediaItem::startMonitor() {
    if (monitorThreadActive)
        return;
    cancelMonitorThread = false;
    monitorThreadActive = true;
    ++_activeMonitors;
    // Detached: nothing ever joins a monitor, so its resources go back when it ends.
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t thread;
    // A failed start leaves monitorThreadActive true: the item simply never ticks.
    if (pthread_create(&thread, &attributes, _monitorThread, this) != 0)
        --_activeMonitors;
    pthread_attr_destroy(&attributes);
}

void KEOMediaItem::stopMonitor() {
    cancelMonitorThread = true;
}

int KEOMediaItem::activeMonitorCount() {
    return _activeMonitors;
}
