#include "KEOMediaAnalytics.h"

#include "KEOAnalytics.h"
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
      adSegmentByMilestones(false), adSegmentByOffsetMilestones(false) {}

KEOMediaAnalytics::~KEOMediaAnalytics() {}

void KEOMediaAnalytics::_pin(KEOMediaItem *item) {
    _pinned[item] += 1;
}

void KEOMediaAnalytics::_unpin(KEOMediaItem *item) {
    if (--_pinned[item] <= 0)
        _pinned.remove(item);
    _release(item);
}

// Items used to live to the end of the process; each is freed instead once it has left
// mediaItemList and neither a run of the engine nor its monitor thread can still read it.
void KEOMediaAnalytics::_release(KEOMediaItem *item) {
    if (item == nullptr || _pinned.contains(item) ||
        mediaItemList.value(item->name, nullptr) == item)
        return;
    // Out of the list and not playing it never ticks again: end its monitor, or both live forever.
    if (item->monitorThreadActive && item->lastEventType != KEOMediaEventTypePlay)
        item->stopMonitor();
    if (item->monitorThreadActive)
        return;
    delete item;
}

void KEOMediaAnalytics::_monitorTick(KEOMediaItem *item) {
    std::lock_guard<std::recursive_mutex> guard(_eventMutex);
    if (!item->cancelMonitorThread && item->lastEventType == KEOMediaEventTypePlay)
        playerEvent(QString(item->name), KEOMediaEventTypeMonitor, QHash<QString, QString>(), -1.0,
                    0, QString());
}

void KEOMediaAnalytics::_monitorFinished(KEOMediaItem *item) {
    std::lock_guard<std::recursive_mutex> guard(_eventMutex);
    item->monitorThreadActive = false;
    _release(item);
}

// Runs f when the scope ends, whichever return is taken.
template <typename F> struct _ScopeExit {
    F f;
    ~_ScopeExit() { f(); }
};
template <typename F> static _ScopeExit<F> _onScopeExit(F f) {
    return _ScopeExit<F>{f};
}

void KEOMediaAnalytics::playerEvent(QString name, KEOMediaEventType eventType,
                                    QHash<QString, QString> additionalData, double offset,
                                    unsigned int segmentNum, QString segment) {
    // One whole run at a time: the items are shared with every monitor thread.
    std::lock_guard<std::recursive_mutex> guard(_eventMutex);

    // Preparation.
    const double timeStamp = KEOStatic::timeSince1970();
    QStringList milestones;
    int last = 0;
    int current = 0;
    double trackSecondsCopy = trackSeconds;
    QString trackMilestonesCopy = trackMilestones;
    QString trackOffsetMilestonesCopy = trackOffsetMilestones;
    bool segmentByMilestonesCopy = segmentByMilestones;
    bool segmentByOffsetMilestonesCopy = segmentByOffsetMilestones;
    bool track = true;
    bool eventTypeCheck = false;
    name = name.simplified();

    KEOMediaItem *mediaItem = mediaItemList.value(name, nullptr);
    if (mediaItem == nullptr)
        return;
    _pin(mediaItem);
    auto unpin = _onScopeExit([this, mediaItem] { _unpin(mediaItem); });

    if (mediaItem->ad) {
        trackSecondsCopy = adTrackSeconds;
        trackMilestonesCopy = adTrackMilestones;
        trackOffsetMilestonesCopy = adTrackOffsetMilestones;
        segmentByMilestonesCopy = adSegmentByMilestones;
        segmentByOffsetMilestonesCopy = adSegmentByOffsetMilestones;
    }

    // Resolving the position: without one, play is assumed to have run on in real time.
    if (offset < 0) {
        if (mediaItem->lastEventType == KEOMediaEventTypePlay && mediaItem->lastEventTimestamp > 0)
            offset = timeStamp - mediaItem->lastEventTimestamp + mediaItem->lastEventOffset;
        else
            offset = mediaItem->lastEventOffset;
    }
    if (mediaItem->length > 0)
        offset = mediaItem->length > offset ? offset : mediaItem->length;
    if (offset < 0)
        offset = 0.0;
    mediaItem->offset = offset;
    if (mediaItem->length > 0) {
        mediaItem->percent = offset / mediaItem->length * 100.0;
        if (mediaItem->percent > 100.0)
            mediaItem->percent = 100.0;
    }
    if (mediaItem->lastEventOffset < 0)
        mediaItem->lastEventOffset = offset;
    const int trackCount = mediaItem->trackCount;

    // The snapshot. Freed at the end of the run unless a delegate takes it.
    std::unique_ptr<KEOMediaState> mediaState(new KEOMediaState());
    mediaState->name = name;
    mediaState->ad = mediaItem->ad;
    mediaState->length = mediaItem->length;
    mediaState->playerName = mediaItem->playerName;
    mediaState->openTime =
        QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(mediaItem->timestamp * 1000.0))
            .toLocalTime();
    mediaState->offset = offset;
    mediaState->percent = mediaItem->percent;
    mediaState->mediaEvent = _eventName(mediaItem->lastTrackOffset, eventType);

    // The gate: Close, Play and Stop count only as a change of the play state.
    if (eventType > KEOMediaEventTypeStop ||
        (eventType != mediaItem->lastEventType &&
         (eventType != KEOMediaEventTypeStop || mediaItem->lastEventType == KEOMediaEventTypePlay)))
        eventTypeCheck = true;
    if (!eventTypeCheck)
        return;

    if (segment.isEmpty()) {
        segmentNum = static_cast<unsigned int>(mediaItem->segmentNum);
        segment = mediaItem->segment;
    }

    // A close does no milestone, segment or time work.
    if (eventType != KEOMediaEventTypeClose) {
        // A seek that comes with a play is never time played.
        if (eventType == KEOMediaEventTypePlay)
            mediaItem->lastEventOffset = offset;

        // Milestones: crossings between the position of the last hit and now.
        if (eventType != KEOMediaEventTypeTrack && mediaItem->lastTrackOffset >= 0) {
            track = false;
            if (mediaItem->lastTrackOffset != offset) {
                last = _truncated(mediaItem->lastTrackOffset);
                if (last > offset) {
                    last = _truncated(mediaItem->lastEventOffset);
                    if (last > offset)
                        last = _truncated(offset);
                }
                // A setting without a comma equals its first part, and is no list.
                milestones = trackMilestonesCopy.split(",");
                if (mediaItem->length > 0 && milestones.first().compare(trackMilestonesCopy) != 0 &&
                    !(last > offset)) {
                    for (int i = 0; i < milestones.count(); i++) {
                        current = milestones.at(i).toInt(nullptr, 10);
                        if (current > 0 && last / mediaItem->length * 100.0 < current &&
                            mediaItem->percent >= current) {
                            track = true;
                            mediaState->mediaEvent = EVENT_MILESTONE;
                            mediaState->milestone = current;
                            mediaItem->lastMilestone = current;
                            break;
                        }
                    }
                }
                milestones = trackOffsetMilestonesCopy.split(",");
                if (milestones.first().compare(trackOffsetMilestonesCopy) != 0 &&
                    !(last > offset)) {
                    for (int i = 0; i < milestones.count(); i++) {
                        current = milestones.at(i).toInt(nullptr, 10);
                        if (current > 0 && last < current && !(current > offset)) {
                            track = true;
                            mediaState->mediaEvent = EVENT_OFFSET_MILESTONE;
                            mediaState->offsetMilestone = current;
                            mediaItem->lastOffsetMilestone = current;
                            break;
                        }
                    }
                }
            }
        }

        // Segments, generated unless the caller names its own.
        if (mediaItem->segmentGenerated || segment.isEmpty()) {
            if (segmentByMilestonesCopy && !trackMilestonesCopy.isEmpty() &&
                mediaItem->length > 0) {
                milestones = trackMilestonesCopy.split(",");
                if (milestones.first().compare(trackMilestonesCopy) != 0) {
                    milestones.append("100");
                    last = 0;
                    for (int i = 0; i < milestones.count(); i++) {
                        current = milestones.at(i).toInt(nullptr, 10);
                        if (current <= 0)
                            continue;
                        if (mediaItem->percent < current) {
                            segmentNum = static_cast<unsigned int>(i + 1);
                            segment = QString("M:%1-%2").arg(last).arg(current);
                            break;
                        }
                        last = current;
                    }
                }
            } else if (segmentByOffsetMilestonesCopy && !trackOffsetMilestonesCopy.isEmpty()) {
                milestones = trackOffsetMilestonesCopy.split(",");
                if (milestones.first().compare(trackOffsetMilestonesCopy) != 0) {
                    milestones.append(mediaItem->length > 0 ? _wholeText(mediaItem->length)
                                                            : QString("E"));
                    last = 0;
                    for (int i = 0; i < milestones.count(); i++) {
                        const QString &entry = milestones.at(i);
                        current = entry.toInt(nullptr, 10);
                        if (!(current > 0 || entry == "E"))
                            continue;
                        if (current > offset || entry == "E") {
                            segmentNum = static_cast<unsigned int>(i + 1);
                            segment =
                                QString::asprintf("O:%d-%s", last, entry.toUtf8().constData());
                            break;
                        }
                        last = current;
                    }
                }
            }
            if (!segment.isEmpty())
                mediaItem->segmentGenerated = true;
        }

        // A segment change costs a hit, but the item keeps the old segment until that hit
        // reports the time played in it; only the first segment is taken at once.
        if (segment.compare(mediaItem->segment) != 0) {
            mediaItem->updateSegment = true;
            if (mediaItem->segment.isEmpty()) {
                mediaItem->segmentNum = static_cast<int>(segmentNum);
                mediaItem->segment = segment;
            }
            if (mediaItem->lastTrackOffset >= 0)
                track = true;
        }

        // Time played; backward moves add nothing.
        if (eventType > KEOMediaEventTypePlay && mediaItem->lastEventOffset < offset) {
            mediaItem->timePlayed += offset - mediaItem->lastEventOffset;
            mediaItem->timePlayedSinceTrack += offset - mediaItem->lastEventOffset;
        }

        // The session string and the play state.
        if (eventType == KEOMediaEventTypePlay || eventType == KEOMediaEventTypeStop ||
            (eventType == KEOMediaEventTypeMonitor &&
             mediaItem->lastEventType == KEOMediaEventTypeClose)) {
            mediaItem->session = QString("%1%2%3").arg(
                mediaItem->session,
                eventType == KEOMediaEventTypeStop ? QString("E") : QString("S"),
                _wholeText(std::floor(offset)));
            mediaItem->lastEventType =
                eventType == KEOMediaEventTypeMonitor ? KEOMediaEventTypePlay : eventType;
        }

        // The seconds timer.
        if (!track && mediaItem->lastTrackOffset >= 0 && eventType <= KEOMediaEventTypeMonitor) {
            if (!(trackSecondsCopy > 0))
                trackSecondsCopy = 0.0;
            if (trackSecondsCopy > 0 && mediaItem->timePlayedSinceTrack >= trackSecondsCopy) {
                track = true;
                mediaState->mediaEvent = EVENT_SECONDS;
            }
        }

        mediaItem->lastEventTimestamp = timeStamp;
        mediaItem->lastEventOffset = offset;
    }

    // The end of the media closes the item by itself.
    if (eventType == KEOMediaEventTypeClose ||
        (eventType <= KEOMediaEventTypeMonitor && mediaItem->percent >= 100.0)) {
        if (mediaItem->lastEventType != KEOMediaEventTypeStop)
            mediaItem->session =
                QString("%1E%2").arg(mediaItem->session, _wholeText(std::floor(offset)));
        eventType = KEOMediaEventTypeClose;
        mediaState->mediaEvent = EVENT_CLOSE;
    }

    if (eventType == KEOMediaEventTypeClick) {
        mediaState->clicked = true;
        mediaItem->clicked = true;
        track = true;
    }

    if (eventType == KEOMediaEventTypeComplete ||
        ((eventType == KEOMediaEventTypeClose || mediaItem->percent >= 100.0) &&
         mediaItem->length > 0 && !(mediaItem->length - completeCloseOffsetThreshold > offset))) {
        mediaState->complete = true;
        mediaItem->complete = true;
        track = true;
    }

    // Each milestone is an event of its own for the first-time test.
    QString eventKey = mediaState->mediaEvent;
    if (eventKey == EVENT_MILESTONE)
        eventKey = QString("%1_%2").arg(eventKey, _wholeText(mediaState->milestone));
    else if (eventKey == EVENT_OFFSET_MILESTONE)
        eventKey = QString("%1_%2").arg(eventKey, _wholeText(mediaState->offsetMilestone));
    if (!mediaItem->firstEventList.contains(eventKey)) {
        mediaState->eventFirstTime = true;
        mediaItem->firstEventList.insert(eventKey, true);
    } else {
        mediaState->eventFirstTime = false;
    }

    // The delegate sees the segment of the time played so far, and hears before the hit.
    mediaState->timePlayed = mediaItem->timePlayed;
    mediaState->segmentNum = mediaItem->segmentNum;
    mediaState->segment = mediaItem->segment;
    mediaState->segmentLength = mediaItem->segmentLength;
    const mediaMonitor_func delegate = mediaMeasurementDelegate;
    if (delegate != nullptr && eventType != KEOMediaEventTypeTrack)
        delegate(mediaState.release()); // the delegate owns the snapshot from here on

    if (eventType == KEOMediaEventTypeClose) {
        // By name, as the delegate may have put another item there; that one is freed too.
        KEOMediaItem *removed = mediaItemList.take(name);
        mediaItem->stopMonitor();
        if (removed != nullptr && removed != mediaItem)
            _release(removed);
    }

    // A delegate's own track() has already sent the hit for this event.
    if (track && mediaItem->trackCount == trackCount) {
        const QHash<QString, QString> mediaVars = buildMediaVars(mediaItem);
        KEOAnalytics::trackInternal(MEDIA_ACTION, buildContextData(mediaItem, additionalData),
                                    mediaVars);
        if (mediaItem->updateSegment) {
            mediaItem->segmentNum = static_cast<int>(segmentNum);
            mediaItem->segment = segment;
            mediaItem->segmentChanged = true;
            mediaItem->updateSegment = false;
        } else if (mediaItem->timePlayedSinceTrack > 0) {
            mediaItem->segmentChanged = false;
        }
        mediaItem->session = QString();
        mediaItem->lastMilestone = 0;
        mediaItem->lastOffsetMilestone = 0;
        // The hit reported the whole seconds; the fraction waits for the next one.
        mediaItem->timePlayedSinceTrack -= std::floor(mediaItem->timePlayedSinceTrack);
        mediaItem->lastTrackOffset = offset;
        mediaItem->trackCount += 1;
    }
}

QHash<QString, QString> KEOMediaAnalytics::buildMediaVars(KEOMediaItem *mi) {
    QHash<QString, QString> returnVars;
    returnVars["pev3"] = mi->ad ? "videoAd" : "video";
    returnVars["pe"] = mi->viewTracked ? "m_i" : "m_s";
    return returnVars;
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
    c[ad ? "a.media.ad.name" : "a.media.name"] = mi->name;
    c[ad ? "a.media.ad.playerName" : "a.media.playerName"] = mi->playerName;
    if (mi->length > 0)
        c[ad ? "a.media.ad.length" : "a.media.length"] = _wholeText(mi->length);
    const int timePlayed = _truncated(std::floor(mi->timePlayedSinceTrack));
    if (timePlayed > 0)
        c[ad ? "a.media.ad.timePlayed" : "a.media.timePlayed"] = QString::number(timePlayed, 10);
    if (!mi->viewTracked) {
        c[ad ? "a.media.ad.view" : "a.media.view"] = "true";
        mi->viewTracked = true;
    }
    if (!mi->segment.isEmpty()) {
        c[ad ? "a.media.ad.segmentNum" : "a.media.segmentNum"] =
            QString::number(mi->segmentNum, 10);
        c[ad ? "a.media.ad.segment" : "a.media.segment"] = mi->segment;
        if (mi->segmentLength > 0)
            c[ad ? "a.media.ad.segmentLength" : "a.media.segmentLength"] =
                _wholeText(mi->segmentLength);
        if (mi->segmentChanged && mi->timePlayedSinceTrack > 0)
            c[ad ? "a.media.ad.segmentView" : "a.media.segmentView"] = "true";
    }
    if (mi->complete && !mi->completeTracked) {
        c[ad ? "a.media.ad.complete" : "a.media.complete"] = "true";
        mi->completeTracked = true;
    }
    if (mi->lastMilestone > 0)
        c[ad ? "a.media.ad.milestone" : "a.media.milestone"] =
            QString::number(mi->lastMilestone, 10);
    if (mi->lastOffsetMilestone > 0)
        c[ad ? "a.media.ad.offsetMilestone" : "a.media.offsetMilestone"] =
            QString::number(mi->lastOffsetMilestone, 10);
    return c;
}

void KEOMediaAnalytics::open(QString name, double length, QString playerName, QString playerID) {
    std::lock_guard<std::recursive_mutex> guard(_eventMutex);
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
            _pin(item);
        QHashIterator<QString, KEOMediaItem *> it(items);
        while (it.hasNext()) {
            it.next();
            if (it.value()->playerID.compare(playerID) == 0)
                close(it.key());
        }
        for (KEOMediaItem *item : items)
            _unpin(item);
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
    _release(displaced);
}

void KEOMediaAnalytics::openAd(QString name, double length, QString playerName, QString parentName,
                               QString parentPod, double parentPodPosition, QString CPM) {
    std::lock_guard<std::recursive_mutex> guard(_eventMutex);
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
    std::lock_guard<std::recursive_mutex> guard(_eventMutex);
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
