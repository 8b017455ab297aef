// The media records and the settings singleton as they come into being.
#include "MediaFixture.h"

TEST(MediaModel, NewItemIsOpenedWithoutHitOrMonitor) {
    WorkDir dir;
    KEOMediaItem item;
    EXPECT_DOUBLE_EQ(item.lastTrackOffset, -1.0);
    EXPECT_EQ(item.lastEventType, KEOMediaEventTypeClose);
    EXPECT_TRUE(item.cancelMonitorThread);
    EXPECT_FALSE(item.monitorThreadActive);
    EXPECT_DOUBLE_EQ(item.timestamp, item.lastEventTimestamp);
    EXPECT_GT(item.timestamp, 0.0);
}

TEST(MediaModel, SharedInstanceIsOneObjectWithItsStartingSettings) {
    WorkDir dir;
    KEOMediaAnalytics *m = KEOMediaAnalytics::sharedInstance();
    EXPECT_EQ(m, KEOMediaAnalytics::sharedInstance());
    EXPECT_DOUBLE_EQ(m->completeCloseOffsetThreshold, 1.0);
    EXPECT_EQ(m->trackSeconds, 0);
    EXPECT_EQ(m->adTrackSeconds, 0);
    EXPECT_EQ(m->mediaMeasurementDelegate, nullptr);
    EXPECT_EQ(m->channel.value().toStdString(), "");
    EXPECT_EQ(m->trackMilestones.value().toStdString(), "");
    EXPECT_FALSE(m->segmentByMilestones);
    EXPECT_FALSE(m->adSegmentByOffsetMilestones);
}
