#pragma once
// The QML singleton KEOMediaAnalytics: the media settings of KEOMediaAnalytics::sharedInstance()
// as properties, for the KEOMediaTracker of a QML player.
#include <QObject>
#include <QString>

// Each setting of KEOMediaAnalytics as X(type, name, Name), for the accessors' declarations and
// definitions.
#define KEO_MEDIA_SETTINGS(X)                                                                      \
    X(QString, channel, Channel)                                                                   \
    X(double, completeCloseOffsetThreshold, CompleteCloseOffsetThreshold)                          \
    X(int, trackSeconds, TrackSeconds)                                                             \
    X(QString, trackMilestones, TrackMilestones)                                                   \
    X(bool, segmentByMilestones, SegmentByMilestones)                                              \
    X(QString, trackOffsetMilestones, TrackOffsetMilestones)                                       \
    X(bool, segmentByOffsetMilestones, SegmentByOffsetMilestones)                                  \
    X(int, adTrackSeconds, AdTrackSeconds)                                                         \
    X(QString, adTrackMilestones, AdTrackMilestones)                                               \
    X(bool, adSegmentByMilestones, AdSegmentByMilestones)                                          \
    X(QString, adTrackOffsetMilestones, AdTrackOffsetMilestones)                                   \
    X(bool, adSegmentByOffsetMilestones, AdSegmentByOffsetMilestones)

class KEOMediaAnalyticsQuick : public QObject {
    Q_OBJECT
    /// Each property reads and writes the setting of the same name on the library's one media
    /// instance, which every tracker and the application's C++ share; it applies from the next
    /// report. A write here notifies settingsChanged, a write from C++ does not.
    Q_PROPERTY(QString channel READ channel WRITE setChannel NOTIFY settingsChanged)
    Q_PROPERTY(double completeCloseOffsetThreshold READ completeCloseOffsetThreshold WRITE
                   setCompleteCloseOffsetThreshold NOTIFY settingsChanged)
    Q_PROPERTY(int trackSeconds READ trackSeconds WRITE setTrackSeconds NOTIFY settingsChanged)
    Q_PROPERTY(QString trackMilestones READ trackMilestones WRITE setTrackMilestones NOTIFY
                   settingsChanged)
    Q_PROPERTY(bool segmentByMilestones READ segmentByMilestones WRITE setSegmentByMilestones NOTIFY
                   settingsChanged)
    Q_PROPERTY(QString trackOffsetMilestones READ trackOffsetMilestones WRITE
                   setTrackOffsetMilestones NOTIFY settingsChanged)
    Q_PROPERTY(bool segmentByOffsetMilestones READ segmentByOffsetMilestones WRITE
                   setSegmentByOffsetMilestones NOTIFY settingsChanged)
    Q_PROPERTY(
        int adTrackSeconds READ adTrackSeconds WRITE setAdTrackSeconds NOTIFY settingsChanged)
    Q_PROPERTY(QString adTrackMilestones READ adTrackMilestones WRITE setAdTrackMilestones NOTIFY
                   settingsChanged)
    Q_PROPERTY(bool adSegmentByMilestones READ adSegmentByMilestones WRITE setAdSegmentByMilestones
                   NOTIFY settingsChanged)
    Q_PROPERTY(QString adTrackOffsetMilestones READ adTrackOffsetMilestones WRITE
                   setAdTrackOffsetMilestones NOTIFY settingsChanged)
    Q_PROPERTY(bool adSegmentByOffsetMilestones READ adSegmentByOffsetMilestones WRITE
                   setAdSegmentByOffsetMilestones NOTIFY settingsChanged)

public:
    /// Made by the QML engine, one per engine, which owns it; read and written on the engine's
    /// thread.
    using QObject::QObject;

#define KEO_MEDIA_SETTING(Type, name, Name)                                                        \
    Type name() const;                                                                             \
    void set##Name(Type value);
    KEO_MEDIA_SETTINGS(KEO_MEDIA_SETTING)
#undef KEO_MEDIA_SETTING

Q_SIGNALS:
    /// Emitted on the engine's thread after a write through a property.
    void settingsChanged();
};
