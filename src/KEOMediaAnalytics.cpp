#include "KEOMediaAnalytics.h"

#include "KEOAnalytics.h"
#include "KEOMediaItem.h"
#include "KEOStatic.h"

#include <QDateTime>
#include <QHashIterator>
#include <QStringList>

#include <climits>
#include <cmath>
#include <memory>

// Allocated once and never destroyed: the detached worker and media monitor threads may still
// read them while the process runs its exit handlers.
static const QString &MEDIA_ACTION = *new QString("VideoTracking");
static const QString &EVENT_OPEN = *new QString("OPEN");
static const QString &EVENT_PLAY = *new QString("PLAY");
static const QString &EVENT_STOP = *new QString("STOP");
static const QString &EVENT_MONITOR = *new QString("MONITOR");
static const QString &EVENT_TRACK = *new QString("TRACK");
static const QString &EVENT_COMPLETE = *new QString("COMPLETE");
static const QString &EVENT_CLICK = *new QString("CLICK");
static const QString &EVENT_CLOSE = *new QString("CLOSE");
static const QString &EVENT_MILESTONE = *new QString("MILESTONE");
static const QString &EVENT_OFFSET_MILESTONE = *new QString("OFFSET_MILESTONE");
static const QString &EVENT_SECONDS = *new QString("SECONDS");
static const QString &DEFAULT_PLAYER_NAME = *new QString("Not_Specified");

// Atomic: the unlocked first test of the double-checked creation reads it on any thread.
static std::atomic<KEOMediaAnalytics *> _sharedInstance(nullptr);
static std::mutex _instanceMutex;

// Whole seconds by "%1.0lf", the one format of every double in a media hit.
static QString _wholeText(double value) {
    return QString::asprintf("%1.0lf", value);
}

// Truncation toward zero that saturates like the target's conversion, where a plain cast of a
// value out of range (or NaN) would be undefined.
static int _truncated(double value) {
    if (std::isnan(value))
        return 0;
    if (value >= static_cast<double>(INT_MAX))
        return INT_MAX;
    if (value <= static_cast<double>(INT_MIN))
        return INT_MIN;
    return static_cast<int>(value);
}

static QString _eventName(double lastTrackOffset, KEOMediaEventType eventType) {
    if (lastTrackOffset < 0)
        return EVENT_OPEN;
    switch (eventType) {
    case KEOMediaEventTypePlay:
        return EVENT_PLAY;
    case KEOMediaEventTypeStop:
        return EVENT_STOP;
    case KEOMediaEventTypeMonitor:
        return EVENT_MONITOR;
    case KEOMediaEventTypeTrack:
        return EVENT_TRACK;
    case KEOMediaEventTypeComplete:
        return EVENT_COMPLETE;
    case KEOMediaEventTypeClick:
        return EVENT_CLICK;
    default:
        return EVENT_CLOSE;
    }
}

KEOMediaTextSetting &KEOMediaTextSetting::operator=(const QString &value) {
    // The old text is released by `replaced` after the lock, so the lock is held for a swap only.
    QString replaced(value);
    {
        std::lock_guard<std::mutex> guard(_mutex);
        _value.swap(replaced);
    }
    return *this;
}

QString KEOMediaTextSetting::value() const {
    std::lock_guard<std::mutex> guard(_mutex);
    return _value;
}

// What the engine keeps beside the public state: the lock that serialises every report, tick
// and run, since the items and mediaItemList are shared by the application's thread and every
// monitor thread; and the items that a run of the engine (or an open walking the list) still
// reads, with the count of such readers. An item is freed only when it is out of mediaItemList,
// not pinned here and without a monitor thread.
struct KEOMediaEngine {
    explicit KEOMediaEngine(KEOMediaAnalytics &media) : media(media) {}
    void pin(KEOMediaItem *item);
    void unpin(KEOMediaItem *item);
    void release(KEOMediaItem *item);
    void monitorTick(KEOMediaItem *item);
    void monitorFinished(KEOMediaItem *item);

    KEOMediaAnalytics &media;
    std::recursive_mutex eventMutex;
    QHash<KEOMediaItem *, int> pinned;
};

void KEOMediaEngine::pin(KEOMediaItem *item) {
    pinned[item] += 1;
}

void KEOMediaEngine::unpin(KEOMediaItem *item) {
    if (--pinned[item] <= 0)
        pinned.remove(item);
    release(item);
}

// Items used to live to the end of the process; each is freed instead once it has left
// mediaItemList and neither a run of the engine nor its monitor thread can still read it.
void KEOMediaEngine::release(KEOMediaItem *item) {
    if (item == nullptr || pinned.contains(item) ||
        media.mediaItemList.value(item->name, nullptr) == item)
        return;
    // Out of the list and not playing it never ticks again: end its monitor, or both live forever.
    if (item->monitorThreadActive && item->lastEventType != KEOMediaEventTypePlay)
        item->stopMonitor();
    if (item->monitorThreadActive)
        return;
    delete item;
}

void KEOMediaEngine::monitorTick(KEOMediaItem *item) {
    std::lock_guard<std::recursive_mutex> guard(eventMutex);
    if (!item->cancelMonitorThread && item->lastEventType == KEOMediaEventTypePlay)
        media.playerEvent(QString(item->name), KEOMediaEventTypeMonitor, QHash<QString, QString>(),
                          -1.0, 0, QString());
}

void KEOMediaEngine::monitorFinished(KEOMediaItem *item) {
    std::lock_guard<std::recursive_mutex> guard(eventMutex);
    item->monitorThreadActive = false;
    release(item);
}

void KEOMediaMonitorAccess::tick(KEOMediaAnalytics *m, KEOMediaItem *item) {
    m->_engine->monitorTick(item);
}

void KEOMediaMonitorAccess::finish(KEOMediaAnalytics *m, KEOMediaItem *item) {
    m->_engine->monitorFinished(item);
}

KEOMediaAnalytics *KEOMediaAnalytics::sharedInstance() {
    if (_sharedInstance != nullptr)
        return _sharedInstance;
    std::lock_guard<std::mutex> locker(_instanceMutex);
    if (_sharedInstance == nullptr)
        _sharedInstance = new KEOMediaAnalytics();
    return _sharedInstance;
}

KEOMediaAnalytics::KEOMediaAnalytics()
    : completeCloseOffsetThreshold(1.0), mediaMeasurementDelegate(nullptr), trackSeconds(0),
      segmentByMilestones(false), segmentByOffsetMilestones(false), adTrackSeconds(0),
      adSegmentByMilestones(false), adSegmentByOffsetMilestones(false),
      _engine(new KEOMediaEngine(*this)) {}

KEOMediaAnalytics::~KEOMediaAnalytics() {}

// Runs f when the scope ends, whichever return is taken.
template <typename F> struct ScopeExit {
    F f;
    ~ScopeExit() { f(); }
};
template <typename F> static ScopeExit<F> onScopeExit(F f) {
    return ScopeExit<F>{f};
}

namespace {

// The settings in force for one item, read once at the start of a run: an ad runs on the ad
// settings, content on the others, and from there on the engine knows no difference.
struct MediaSettings {
    double trackSeconds;
    QString trackMilestones;
    QString trackOffsetMilestones;
    bool segmentByMilestones;
    bool segmentByOffsetMilestones;
};

// What the steps of one run hand on to each other.
struct EngineRun {
    KEOMediaItem *item;
    KEOMediaState *state;
    KEOMediaEventType eventType;
    double offset;
    // The segment of this event: the item's, until a step below moves it.
    unsigned int segmentNum;
    QString segment;
    // This event sends a hit.
    bool track;
};

} // namespace

static MediaSettings settingsFor(const KEOMediaAnalytics &media, bool ad) {
    if (ad)
        return {static_cast<double>(media.adTrackSeconds), media.adTrackMilestones,
                media.adTrackOffsetMilestones, media.adSegmentByMilestones,
                media.adSegmentByOffsetMilestones};
    return {static_cast<double>(media.trackSeconds), media.trackMilestones,
            media.trackOffsetMilestones, media.segmentByMilestones,
            media.segmentByOffsetMilestones};
}

// A milestone setting split on its commas. A setting without a comma equals its first part, and
// is no list: the answer is then false.
static bool milestoneList(const QString &setting, QStringList *parts) {
    *parts = setting.split(",");
    return parts->first().compare(setting) != 0;
}

// The position of this event, kept in the item with its percent. Without one, play is assumed
// to have run on in real time since the last event.
static double resolveOffset(KEOMediaItem *item, double offset, double timeStamp) {
    if (offset < 0) {
        if (item->lastEventType == KEOMediaEventTypePlay && item->lastEventTimestamp > 0)
            offset = timeStamp - item->lastEventTimestamp + item->lastEventOffset;
        else
            offset = item->lastEventOffset;
    }
    if (item->length > 0)
        offset = item->length > offset ? offset : item->length;
    if (offset < 0)
        offset = 0.0;
    item->offset = offset;
    if (item->length > 0) {
        item->percent = offset / item->length * 100.0;
        if (item->percent > 100.0)
            item->percent = 100.0;
    }
    if (item->lastEventOffset < 0)
        item->lastEventOffset = offset;
    return offset;
}

// The delegate's view of the event, named before any later step renames it.
static std::unique_ptr<KEOMediaState> snapshot(const QString &name, const KEOMediaItem *item,
                                               double offset, KEOMediaEventType eventType) {
    std::unique_ptr<KEOMediaState> state(new KEOMediaState());
    state->name = name;
    state->ad = item->ad;
    state->length = item->length;
    state->playerName = item->playerName;
    state->openTime =
        QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(item->timestamp * 1000.0)).toLocalTime();
    state->offset = offset;
    state->percent = item->percent;
    state->mediaEvent = _eventName(item->lastTrackOffset, eventType);
    return state;
}

// Close, Play and Stop count only as a change of the play state; the rest always count.
static bool passesGate(KEOMediaEventType eventType, KEOMediaEventType lastEventType) {
    return eventType > KEOMediaEventTypeStop ||
           (eventType != lastEventType &&
            (eventType != KEOMediaEventTypeStop || lastEventType == KEOMediaEventTypePlay));
}

// Where the crossings since the last hit start: the position of that hit, or after a move back
// the position of the last event, or the position now.
static int milestoneFloor(const KEOMediaItem *item, double offset) {
    int last = _truncated(item->lastTrackOffset);
    if (last > offset) {
        last = _truncated(item->lastEventOffset);
        if (last > offset)
            last = _truncated(offset);
    }
    return last;
}

// The first percent milestone crossed between last and now fires.
static void percentMilestone(EngineRun &run, const MediaSettings &settings, int last) {
    KEOMediaItem *item = run.item;
    QStringList milestones;
    if (!(item->length > 0) || !milestoneList(settings.trackMilestones, &milestones) ||
        last > run.offset)
        return;
    for (const QString &entry : milestones) {
        const int current = entry.toInt(nullptr, 10);
        if (current > 0 && last / item->length * 100.0 < current && item->percent >= current) {
            run.track = true;
            run.state->mediaEvent = EVENT_MILESTONE;
            run.state->milestone = current;
            item->lastMilestone = current;
            return;
        }
    }
}

// The first offset milestone crossed between last and now fires.
static void offsetMilestone(EngineRun &run, const MediaSettings &settings, int last) {
    QStringList milestones;
    if (!milestoneList(settings.trackOffsetMilestones, &milestones) || last > run.offset)
        return;
    for (const QString &entry : milestones) {
        const int current = entry.toInt(nullptr, 10);
        if (current > 0 && last < current && !(current > run.offset)) {
            run.track = true;
            run.state->mediaEvent = EVENT_OFFSET_MILESTONE;
            run.state->offsetMilestone = current;
            run.item->lastOffsetMilestone = current;
            return;
        }
    }
}

// From the second hit on an ordinary event sends nothing unless a step below says so; a
// milestone is a crossing between the position of the last hit and now.
static void milestones(EngineRun &run, const MediaSettings &settings) {
    const KEOMediaItem *item = run.item;
    if (run.eventType == KEOMediaEventTypeTrack || item->lastTrackOffset < 0)
        return;
    run.track = false;
    if (item->lastTrackOffset == run.offset)
        return;
    const int last = milestoneFloor(item, run.offset);
    percentMilestone(run, settings, last);
    offsetMilestone(run, settings, last);
}

// The segment between percent milestones that holds the position, the last one ending at 100.
static void percentSegment(EngineRun &run, const MediaSettings &settings) {
    QStringList milestones;
    if (!milestoneList(settings.trackMilestones, &milestones))
        return;
    milestones.append("100");
    int last = 0;
    for (int i = 0; i < milestones.count(); i++) {
        const int current = milestones.at(i).toInt(nullptr, 10);
        if (current <= 0)
            continue;
        if (run.item->percent < current) {
            run.segmentNum = static_cast<unsigned int>(i + 1);
            run.segment = QString("M:%1-%2").arg(last).arg(current);
            return;
        }
        last = current;
    }
}

// The segment between offset milestones that holds the position, the last one ending at the
// length, or at "E" when the length is unknown.
static void offsetSegment(EngineRun &run, const MediaSettings &settings) {
    QStringList milestones;
    if (!milestoneList(settings.trackOffsetMilestones, &milestones))
        return;
    milestones.append(run.item->length > 0 ? _wholeText(run.item->length) : QString("E"));
    int last = 0;
    for (int i = 0; i < milestones.count(); i++) {
        const QString &entry = milestones.at(i);
        const int current = entry.toInt(nullptr, 10);
        if (!(current > 0 || entry == "E"))
            continue;
        if (current > run.offset || entry == "E") {
            run.segmentNum = static_cast<unsigned int>(i + 1);
            run.segment = QString::asprintf("O:%d-%s", last, entry.toUtf8().constData());
            return;
        }
        last = current;
    }
}

// Segments are generated unless the caller names its own. A segment change costs a hit, but
// the item keeps the old segment until that hit reports the time played in it; only the first
// segment is taken at once.
static void segments(EngineRun &run, const MediaSettings &settings) {
    KEOMediaItem *item = run.item;
    if (item->segmentGenerated || run.segment.isEmpty()) {
        if (settings.segmentByMilestones && !settings.trackMilestones.isEmpty() && item->length > 0)
            percentSegment(run, settings);
        else if (settings.segmentByOffsetMilestones && !settings.trackOffsetMilestones.isEmpty())
            offsetSegment(run, settings);
        if (!run.segment.isEmpty())
            item->segmentGenerated = true;
    }
    if (run.segment.compare(item->segment) != 0) {
        item->updateSegment = true;
        if (item->segment.isEmpty()) {
            item->segmentNum = static_cast<int>(run.segmentNum);
            item->segment = run.segment;
        }
        if (item->lastTrackOffset >= 0)
            run.track = true;
    }
}

// Time played, the session string and the play state, and the seconds timer. Backward moves add
// no time.
static void timeAndSession(EngineRun &run, const MediaSettings &settings, double timeStamp) {
    KEOMediaItem *item = run.item;
    const KEOMediaEventType eventType = run.eventType;
    if (eventType > KEOMediaEventTypePlay && item->lastEventOffset < run.offset) {
        item->timePlayed += run.offset - item->lastEventOffset;
        item->timePlayedSinceTrack += run.offset - item->lastEventOffset;
    }
    if (eventType == KEOMediaEventTypePlay || eventType == KEOMediaEventTypeStop ||
        (eventType == KEOMediaEventTypeMonitor && item->lastEventType == KEOMediaEventTypeClose)) {
        item->session = QString("%1%2%3").arg(
            item->session, eventType == KEOMediaEventTypeStop ? QString("E") : QString("S"),
            _wholeText(std::floor(run.offset)));
        item->lastEventType =
            eventType == KEOMediaEventTypeMonitor ? KEOMediaEventTypePlay : eventType;
    }
    if (!run.track && item->lastTrackOffset >= 0 && eventType <= KEOMediaEventTypeMonitor) {
        const double trackSeconds = settings.trackSeconds > 0 ? settings.trackSeconds : 0.0;
        if (trackSeconds > 0 && item->timePlayedSinceTrack >= trackSeconds) {
            run.track = true;
            run.state->mediaEvent = EVENT_SECONDS;
        }
    }
    item->lastEventTimestamp = timeStamp;
    item->lastEventOffset = run.offset;
}

// The end of the media closes the item by itself; a click and a completion each cost a hit.
static void endClickAndCompletion(EngineRun &run, double completeCloseOffsetThreshold) {
    KEOMediaItem *item = run.item;
    if (run.eventType == KEOMediaEventTypeClose ||
        (run.eventType <= KEOMediaEventTypeMonitor && item->percent >= 100.0)) {
        if (item->lastEventType != KEOMediaEventTypeStop)
            item->session = QString("%1E%2").arg(item->session, _wholeText(std::floor(run.offset)));
        run.eventType = KEOMediaEventTypeClose;
        run.state->mediaEvent = EVENT_CLOSE;
    }
    if (run.eventType == KEOMediaEventTypeClick) {
        run.state->clicked = true;
        item->clicked = true;
        run.track = true;
    }
    if (run.eventType == KEOMediaEventTypeComplete ||
        ((run.eventType == KEOMediaEventTypeClose || item->percent >= 100.0) && item->length > 0 &&
         !(item->length - completeCloseOffsetThreshold > run.offset))) {
        run.state->complete = true;
        item->complete = true;
        run.track = true;
    }
}

// Whether the item has seen this event before, each milestone being an event of its own; and
// what the delegate sees: the segment of the time played so far.
static void firstTimeAndTotals(EngineRun &run) {
    KEOMediaItem *item = run.item;
    KEOMediaState *state = run.state;
    QString eventKey = state->mediaEvent;
    if (eventKey == EVENT_MILESTONE)
        eventKey = QString("%1_%2").arg(eventKey, _wholeText(state->milestone));
    else if (eventKey == EVENT_OFFSET_MILESTONE)
        eventKey = QString("%1_%2").arg(eventKey, _wholeText(state->offsetMilestone));
    state->eventFirstTime = !item->firstEventList.contains(eventKey);
    if (state->eventFirstTime)
        item->firstEventList.insert(eventKey, true);
    state->timePlayed = item->timePlayed;
    state->segmentNum = item->segmentNum;
    state->segment = item->segment;
    state->segmentLength = item->segmentLength;
}

// After a hit: a pending segment becomes the item's, and what the hit reported starts again.
// The hit reported the whole seconds played; the fraction waits for the next one.
static void afterHit(const EngineRun &run) {
    KEOMediaItem *item = run.item;
    if (item->updateSegment) {
        item->segmentNum = static_cast<int>(run.segmentNum);
        item->segment = run.segment;
        item->segmentChanged = true;
        item->updateSegment = false;
    } else if (item->timePlayedSinceTrack > 0) {
        item->segmentChanged = false;
    }
    item->session = QString();
    item->lastMilestone = 0;
    item->lastOffsetMilestone = 0;
    item->timePlayedSinceTrack -= std::floor(item->timePlayedSinceTrack);
    item->lastTrackOffset = run.offset;
    item->trackCount += 1;
}

void KEOMediaAnalytics::playerEvent(QString name, KEOMediaEventType eventType,
                                    QHash<QString, QString> additionalData, double offset,
                                    unsigned int segmentNum, QString segment) {
    // One whole run at a time: the items are shared with every monitor thread.
    std::lock_guard<std::recursive_mutex> guard(_engine->eventMutex);
    const double timeStamp = KEOStatic::timeSince1970();
    name = name.simplified();
    KEOMediaItem *mediaItem = mediaItemList.value(name, nullptr);
    if (mediaItem == nullptr)
        return;
    _engine->pin(mediaItem);
    auto unpin = onScopeExit([this, mediaItem] { _engine->unpin(mediaItem); });
    const MediaSettings settings = settingsFor(*this, mediaItem->ad);

    offset = resolveOffset(mediaItem, offset, timeStamp);
    const int trackCount = mediaItem->trackCount;
    // Freed at the end of the run unless a delegate takes it.
    std::unique_ptr<KEOMediaState> mediaState = snapshot(name, mediaItem, offset, eventType);
    if (!passesGate(eventType, mediaItem->lastEventType))
        return;

    EngineRun run{mediaItem, mediaState.get(), eventType, offset, segmentNum, segment, true};
    if (segment.isEmpty()) {
        run.segmentNum = static_cast<unsigned int>(mediaItem->segmentNum);
        run.segment = mediaItem->segment;
    }
    // A close does no milestone, segment or time work; a seek that comes with a play is never
    // time played.
    if (eventType != KEOMediaEventTypeClose) {
        if (eventType == KEOMediaEventTypePlay)
            mediaItem->lastEventOffset = offset;
        milestones(run, settings);
        segments(run, settings);
        timeAndSession(run, settings, timeStamp);
    }
    endClickAndCompletion(run, completeCloseOffsetThreshold);
    firstTimeAndTotals(run);

    // The delegate hears before the hit, and owns the snapshot from here on.
    const mediaMonitor_func delegate = mediaMeasurementDelegate;
    if (delegate != nullptr && run.eventType != KEOMediaEventTypeTrack)
        delegate(mediaState.release());

    if (run.eventType == KEOMediaEventTypeClose) {
        // By name, as the delegate may have put another item there; that one is freed too.
        KEOMediaItem *removed = mediaItemList.take(name);
        mediaItem->stopMonitor();
        if (removed != nullptr && removed != mediaItem)
            _engine->release(removed);
    }

    // A delegate's own track() has already sent the hit for this event.
    if (run.track && mediaItem->trackCount == trackCount) {
        // The vars first: building the context data marks the view, on which "pe" depends.
        const QHash<QString, QString> mediaVars = buildMediaVars(mediaItem);
        KEOAnalytics::trackInternal(MEDIA_ACTION, buildContextData(mediaItem, additionalData),
                                    mediaVars);
        afterHit(run);
    }
}

QHash<QString, QString> KEOMediaAnalytics::buildMediaVars(KEOMediaItem *mi) {
    QHash<QString, QString> returnVars;
    returnVars["pev3"] = mi->ad ? "videoAd" : "video";
    returnVars["pe"] = mi->viewTracked ? "m_i" : "m_s";
    return returnVars;
}

// The key of a media entry in the form of the item's kind: "a.media.ad.<entry>" for an ad,
// "a.media.<entry>" for content.
static QString mediaKey(bool ad, const char *entry) {
    return QLatin1String(ad ? "a.media.ad." : "a.media.") + QLatin1String(entry);
}

QHash<QString, QString> KEOMediaAnalytics::buildContextData(KEOMediaItem *mi,
                                                            QHash<QString, QString> trackVars) {
    QHash<QString, QString> c = trackVars;
    const bool ad = mi->ad;
    if (ad && !mi->parentName.isEmpty()) {
        c["a.media.name"] = mi->parentName;
        if (!mi->parentPod.isEmpty())
            c["a.media.ad.pod"] = mi->parentPod;
        // Only position 0 is reported.
        if (mi->parentPodPosition == 0)
            c["a.media.ad.podPosition"] = QString::number(mi->parentPodPosition, 10);
    }
    // Read before the view is marked below: the CPM goes out with the ad's view only.
    if (ad && !mi->viewTracked && !mi->CPM.isEmpty())
        c["a.media.ad.CPM"] = mi->CPM;
    if (mi->clicked) {
        c["a.media.ad.clicked"] = "true";
        mi->clicked = false;
    }
    c["a.contentType"] = ad ? "videoAd" : "video";
    c["a.media.channel"] = channel.value();
    c[mediaKey(ad, "name")] = mi->name;
    c[mediaKey(ad, "playerName")] = mi->playerName;
    if (mi->length > 0)
        c[mediaKey(ad, "length")] = _wholeText(mi->length);
    const int timePlayed = _truncated(std::floor(mi->timePlayedSinceTrack));
    if (timePlayed > 0)
        c[mediaKey(ad, "timePlayed")] = QString::number(timePlayed, 10);
    if (!mi->viewTracked) {
        c[mediaKey(ad, "view")] = "true";
        mi->viewTracked = true;
    }
    if (!mi->segment.isEmpty()) {
        c[mediaKey(ad, "segmentNum")] = QString::number(mi->segmentNum, 10);
        c[mediaKey(ad, "segment")] = mi->segment;
        if (mi->segmentLength > 0)
            c[mediaKey(ad, "segmentLength")] = _wholeText(mi->segmentLength);
        if (mi->segmentChanged && mi->timePlayedSinceTrack > 0)
            c[mediaKey(ad, "segmentView")] = "true";
    }
    if (mi->complete && !mi->completeTracked) {
        c[mediaKey(ad, "complete")] = "true";
        mi->completeTracked = true;
    }
    if (mi->lastMilestone > 0)
        c[mediaKey(ad, "milestone")] = QString::number(mi->lastMilestone, 10);
    if (mi->lastOffsetMilestone > 0)
        c[mediaKey(ad, "offsetMilestone")] = QString::number(mi->lastOffsetMilestone, 10);
    return c;
}

void KEOMediaAnalytics::open(QString name, double length, QString playerName, QString playerID) {
    std::lock_guard<std::recursive_mutex> guard(_engine->eventMutex);
    // Tested before simplification: a name of blanks passes and is stored empty.
    if (playerName.isEmpty())
        playerName = DEFAULT_PLAYER_NAME;
    name = name.simplified();
    if (length <= 0)
        length = -1.0;
    if (name.isEmpty() || playerName.isEmpty())
        return;

    if (mediaItemList.contains(name))
        close(name);

    // One player runs one item: close whatever it left open. The iterator walks its own view
    // of the hash; the items in it stay readable through the closes.
    if (!playerID.isEmpty()) {
        const QHash<QString, KEOMediaItem *> items = mediaItemList;
        for (KEOMediaItem *item : items)
            _engine->pin(item);
        QHashIterator<QString, KEOMediaItem *> it(items);
        while (it.hasNext()) {
            it.next();
            if (it.value()->playerID.compare(playerID) == 0)
                close(it.key());
        }
        for (KEOMediaItem *item : items)
            _engine->unpin(item);
    }

    KEOMediaItem *item = new KEOMediaItem();
    item->name = name;
    item->length = length;
    item->playerName = playerName.simplified();
    item->playerID = playerID;
    item->m = this;
    // An item that the engine refused to close is displaced here, and freed.
    KEOMediaItem *displaced = mediaItemList.value(name, nullptr);
    mediaItemList.insert(name, item);
    _engine->release(displaced);
}

void KEOMediaAnalytics::openAd(QString name, double length, QString playerName, QString parentName,
                               QString parentPod, double parentPodPosition, QString CPM) {
    std::lock_guard<std::recursive_mutex> guard(_engine->eventMutex);
    name = name.simplified();
    open(name, length, playerName, QString());
    KEOMediaItem *item = mediaItemList.value(name, nullptr);
    if (item == nullptr)
        return;
    item->ad = true;
    item->parentName = parentName.simplified();
    item->parentPod = parentPod;
    item->parentPodPosition = _truncated(parentPodPosition);
    item->CPM = CPM;
}

void KEOMediaAnalytics::close(QString name) {
    playerEvent(name, KEOMediaEventTypeClose, QHash<QString, QString>(), -1.0, 0, QString());
}

void KEOMediaAnalytics::play(QString name, double offset) {
    std::lock_guard<std::recursive_mutex> guard(_engine->eventMutex);
    playerEvent(name, KEOMediaEventTypePlay, QHash<QString, QString>(), offset, 0, QString());
    // A name that isn't open (any more) has no item to monitor: nothing happens.
    KEOMediaItem *item = mediaItemList.value(name.simplified(), nullptr);
    if (item != nullptr)
        item->startMonitor();
}

void KEOMediaAnalytics::click(QString name, double offset) {
    playerEvent(name, KEOMediaEventTypeClick, QHash<QString, QString>(), offset, 0, QString());
}

void KEOMediaAnalytics::complete(QString name, double offset) {
    playerEvent(name, KEOMediaEventTypeComplete, QHash<QString, QString>(), offset, 0, QString());
}

void KEOMediaAnalytics::stop(QString name, double offset) {
    playerEvent(name, KEOMediaEventTypeStop, QHash<QString, QString>(), offset, 0, QString());
}

void KEOMediaAnalytics::track(QString name, QHash<QString, QString> additionalData) {
    playerEvent(name, KEOMediaEventTypeTrack, additionalData, -1.0, 0, QString());
}
