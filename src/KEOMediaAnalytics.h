#pragma once
/// \file
/// Media measurement: the application's player reports what happens to each piece of media
/// (opened, played, stopped, clicked, completed, closed) and the library turns those reports,
/// and a once-a-second tick per playing item, into "VideoTracking" hits with milestones,
/// segments and time played.
///
/// Reach it through sharedInstance(); the object lives to the end of the process. Every report
/// may be called from any thread. Reports, ticks and delegate calls are serialised by one
/// recursive lock, so a delegate may call track() (or any report) on its own thread, but it must
/// not block waiting for another thread that reports media: that thread waits for the delegate.
#include "KEOMobileExport.h"

#include "KEOMediaSharedHeader.h"
#include "KEOMediaState.h"

#include <QHash>
#include <QString>

#include <atomic>
#include <memory>
#include <mutex>

class KEOMediaItem;
struct KEOMediaEngine;

/// A text setting that the application assigns on its thread while monitor threads read it;
/// the lock makes each assignment and each read whole. Assign and read from any thread; the
/// value is copied in and out, so no caller ever holds a reference into it.
class KEOMOBILE_EXPORT KEOMediaTextSetting {
public:
    KEOMediaTextSetting() = default;
    KEOMediaTextSetting(const KEOMediaTextSetting &) = delete;
    KEOMediaTextSetting &operator=(const KEOMediaTextSetting &) = delete;

    /// Replaces the text with a copy of value. Any thread.
    KEOMediaTextSetting &operator=(const QString &value);
    /// A copy of the text. Any thread.
    QString value() const;
    /// A copy of the text, as value(). Any thread.
    operator QString() const { return value(); }

private:
    mutable std::mutex _mutex;
    QString _value;
};

/// The media measurement engine, one per process; the library owns it and every media item it
/// opens. See the file comment for threads and the delegate.
class KEOMOBILE_EXPORT KEOMediaAnalytics {
public:
    /// The one instance, made at the first call. Any thread; never null; never destroyed.
    static KEOMediaAnalytics *sharedInstance();

    /// \name Settings
    /// Assigned by the application at any time from any thread; each event reads them afresh.
    /// Atomic (or locked) because monitor threads read them while the application writes.
    /// Milestones are whole numbers joined by commas, such as "25,50,75", tested in the order
    /// written.
    /// @{

    /// Sent as "a.media.channel" on every media hit. Starts empty.
    KEOMediaTextSetting channel;
    /// Seconds before the end within which a close counts as completion. Starts at 1.
    std::atomic<double> completeCloseOffsetThreshold;
    /// Called for every accepted event except track(); see KEOMediaSharedHeader.h for the
    /// ownership of the snapshot. Null for none.
    std::atomic<mediaMonitor_func> mediaMeasurementDelegate;
    /// Content: seconds of play between periodic hits; 0 or less for none.
    std::atomic<int> trackSeconds;
    /// Content: percent milestones.
    KEOMediaTextSetting trackMilestones;
    /// Content: segments follow the percent milestones.
    std::atomic<bool> segmentByMilestones;
    /// Content: milestones in seconds of offset.
    KEOMediaTextSetting trackOffsetMilestones;
    /// Content: segments follow the offset milestones.
    std::atomic<bool> segmentByOffsetMilestones;
    /// Ads: as trackSeconds.
    std::atomic<int> adTrackSeconds;
    /// Ads: as trackMilestones.
    KEOMediaTextSetting adTrackMilestones;
    /// Ads: as segmentByMilestones.
    std::atomic<bool> adSegmentByMilestones;
    /// Ads: as trackOffsetMilestones.
    KEOMediaTextSetting adTrackOffsetMilestones;
    /// Ads: as segmentByOffsetMilestones.
    std::atomic<bool> adSegmentByOffsetMilestones;
    /// @}

    /// Opens a content item of length seconds (0 or less: unknown). Replaces an open item of the
    /// same name and closes every item of the same non-empty playerID. Sends nothing. Any thread.
    void open(QString name, double length, QString playerName, QString playerID);
    /// Opens an ad inside the content parentName, at parentPodPosition of parentPod. Any thread.
    void openAd(QString name, double length, QString playerName, QString parentName,
                QString parentPod, double parentPodPosition, QString CPM);
    /// Ends the item; a close near the end counts as completion. Any thread.
    void close(QString name);
    /// Play from offset seconds (negative: where it was) and start the item's monitor thread.
    /// A name that isn't open is ignored. Any thread.
    void play(QString name, double offset);
    /// A click on the item, reported on the next hit. Any thread.
    void click(QString name, double offset);
    /// The item was watched to completion; it stays open. Any thread.
    void complete(QString name, double offset);
    /// Play stopped at offset seconds (negative: where it is now). Any thread.
    void stop(QString name, double offset);
    /// A hit now, carrying additionalData as context data (media keys win). Any thread, also
    /// from inside the delegate, where it replaces the hit of the event being told.
    void track(QString name, QHash<QString, QString> additionalData);

    /// The event engine behind every report and tick. offset negative: worked out from the last
    /// event; segment empty: segments come from the milestone settings. Any thread.
    void playerEvent(QString name, KEOMediaEventType eventType,
                     QHash<QString, QString> additionalData, double offset, unsigned int segmentNum,
                     QString segment);

private:
    friend struct KEOMediaEngine;
    friend struct KEOMediaMonitorAccess;

    KEOMediaAnalytics();
    virtual ~KEOMediaAnalytics();

    QHash<QString, QString> buildMediaVars(KEOMediaItem *mi);
    QHash<QString, QString> buildContextData(KEOMediaItem *mi, QHash<QString, QString> trackVars);

    QHash<QString, KEOMediaItem *> mediaItemList;
    // The engine's lock and its bookkeeping of the items that runs still read.
    std::unique_ptr<KEOMediaEngine> _engine;
};
