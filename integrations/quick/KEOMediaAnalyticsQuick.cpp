#include "KEOMediaAnalyticsQuick.h"

#include <KEOMediaAnalytics.h>

// The settings are public fields, atomic or locked, that a read or an assignment reaches whole.
#define KEO_MEDIA_SETTING(Type, name, Name)                                                        \
    Type KEOMediaAnalyticsQuick::name() const {                                                    \
        return KEOMediaAnalytics::sharedInstance()->name;                                          \
    }                                                                                              \
    void KEOMediaAnalyticsQuick::set##Name(Type value) {                                           \
        KEOMediaAnalytics::sharedInstance()->name = value;                                         \
        emit settingsChanged();                                                                    \
    }
KEO_MEDIA_SETTING(QString, channel, Channel)
KEO_MEDIA_SETTING(double, completeCloseOffsetThreshold, CompleteCloseOffsetThreshold)
KEO_MEDIA_SETTING(int, trackSeconds, TrackSeconds)
KEO_MEDIA_SETTING(QString, trackMilestones, TrackMilestones)
KEO_MEDIA_SETTING(bool, segmentByMilestones, SegmentByMilestones)
KEO_MEDIA_SETTING(QString, trackOffsetMilestones, TrackOffsetMilestones)
KEO_MEDIA_SETTING(bool, segmentByOffsetMilestones, SegmentByOffsetMilestones)
KEO_MEDIA_SETTING(int, adTrackSeconds, AdTrackSeconds)
KEO_MEDIA_SETTING(QString, adTrackMilestones, AdTrackMilestones)
KEO_MEDIA_SETTING(bool, adSegmentByMilestones, AdSegmentByMilestones)
KEO_MEDIA_SETTING(QString, adTrackOffsetMilestones, AdTrackOffsetMilestones)
KEO_MEDIA_SETTING(bool, adSegmentByOffsetMilestones, AdSegmentByOffsetMilestones)
