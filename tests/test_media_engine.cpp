// The player event engine as the delegate sees it: the gate, milestones, segments, the seconds
// timer, the end of the media and completion. Positions are explicit, so no clock is involved.
#include "MediaFixture.h"

using Names = std::vector<std::string>;

class MediaEngine : public MediaFixture {};

TEST_F(MediaEngine, GateAcceptsOnlyChangesOfThePlayState) {
    m->open("Movie", 100, "Player", "");
    event("Movie", KEOMediaEventTypeStop, 1);  // never played: refused
    m->close("Movie");                         // never played: refused, stays open
    event("Movie", KEOMediaEventTypePlay, 0);  // OPEN
    event("Movie", KEOMediaEventTypePlay, 2);  // already playing: refused
    event("Movie", KEOMediaEventTypeStop, 5);  // STOP
    event("Movie", KEOMediaEventTypeStop, 6);  // already stopped: refused
    event("Movie", KEOMediaEventTypePlay, 5);  // PLAY
    event("Movie", KEOMediaEventTypeClose, 7); // CLOSE
    EXPECT_EQ(eventNames(), (Names{"OPEN", "STOP", "PLAY", "CLOSE"}));
}

TEST_F(MediaEngine, PercentMilestonesFireOnceEachAtTheirCrossing) {
    m->trackMilestones = QString("25,50,75");
    openAndPlay("Movie", 100);
    ticks("Movie", 1, 80);
    std::vector<int> fired;
    for (size_t i = 0; i < stateCount(); i++) {
        KEOMediaState *s = state(static_cast<int>(i));
        if (s->mediaEvent == "MILESTONE") {
            fired.push_back(static_cast<int>(s->offset));
            EXPECT_DOUBLE_EQ(s->milestone, s->offset);
            EXPECT_TRUE(s->eventFirstTime) << "each milestone is a first time of its own";
        }
    }
    EXPECT_EQ(fired, (std::vector<int>{25, 50, 75}));
}

TEST_F(MediaEngine, MilestoneListWithoutCommaNeverFires) {
    m->trackMilestones = QString("50");
    openAndPlay("Movie", 100);
    ticks("Movie", 1, 60);
    for (const std::string &name : eventNames())
        EXPECT_NE(name, "MILESTONE");
}

TEST_F(MediaEngine, JumpOverSeveralMilestonesFiresOnlyTheFirstInListOrder) {
    m->trackMilestones = QString("25,50,75");
    openAndPlay("Movie", 100);
    event("Movie", KEOMediaEventTypeMonitor, 10);
    event("Movie", KEOMediaEventTypeMonitor, 80);
    event("Movie", KEOMediaEventTypeMonitor, 81);
    EXPECT_EQ(eventNames(), (Names{"OPEN", "MONITOR", "MILESTONE", "MONITOR"}));
    EXPECT_DOUBLE_EQ(state(2)->milestone, 25.0);
}

TEST_F(MediaEngine, MilestoneFiresAgainAfterSeekBackButNotAsFirstTime) {
    m->trackMilestones = QString("25,50");
    openAndPlay("Movie", 100);
    event("Movie", KEOMediaEventTypeMonitor, 30); // MILESTONE 25
    event("Movie", KEOMediaEventTypeStop, 30);
    event("Movie", KEOMediaEventTypePlay, 10); // seek back
    event("Movie", KEOMediaEventTypeMonitor, 26);
    EXPECT_EQ(eventNames(), (Names{"OPEN", "MILESTONE", "STOP", "PLAY", "MILESTONE"}));
    EXPECT_TRUE(state(1)->eventFirstTime);
    EXPECT_DOUBLE_EQ(state(4)->milestone, 25.0);
    EXPECT_FALSE(state(4)->eventFirstTime);
}

TEST_F(MediaEngine, OffsetMilestoneTakesTheNameWhenBothKindsAreCrossed) {
    m->trackMilestones = QString("25,50");
    m->trackOffsetMilestones = QString("20,40");
    openAndPlay("Movie", 100);
    event("Movie", KEOMediaEventTypeMonitor, 26);
    ASSERT_EQ(stateCount(), 2u);
    EXPECT_EQ(state(1)->mediaEvent.toStdString(), "OFFSET_MILESTONE");
    EXPECT_DOUBLE_EQ(state(1)->offsetMilestone, 20.0);
    EXPECT_DOUBLE_EQ(state(1)->milestone, 25.0);
}

TEST_F(MediaEngine, SecondsTimerCountsPlayAcrossStopAndSeek) {
    m->trackSeconds = 10;
    openAndPlay("Movie", 100);
    ticks("Movie", 1, 14); // SECONDS at 10, then 4 s counted
    event("Movie", KEOMediaEventTypeStop, 14);
    event("Movie", KEOMediaEventTypePlay, 30); // the seek is no time played
    ticks("Movie", 31, 36);                    // 4 + 6 = 10 s: SECONDS at 36
    std::vector<int> at;
    for (size_t i = 0; i < stateCount(); i++)
        if (state(static_cast<int>(i))->mediaEvent == "SECONDS")
            at.push_back(static_cast<int>(state(static_cast<int>(i))->offset));
    EXPECT_EQ(at, (std::vector<int>{10, 36}));
    EXPECT_DOUBLE_EQ(state(-1)->timePlayed, 20.0);
}

TEST_F(MediaEngine, PercentSegmentsFollowTheListWithAppendedHundred) {
    m->trackMilestones = QString("25,50");
    m->segmentByMilestones = true;
    m->open("A", 100, "Player", "");
    m->open("B", 100, "Player", "");
    m->open("C", 100, "Player", "");
    event("A", KEOMediaEventTypePlay, 0);
    event("B", KEOMediaEventTypePlay, 30);
    event("C", KEOMediaEventTypePlay, 60);
    ASSERT_EQ(stateCount(), 3u);
    EXPECT_EQ(state(0)->segmentNum, 1);
    EXPECT_EQ(state(0)->segment.toStdString(), "M:0-25");
    EXPECT_EQ(state(1)->segmentNum, 2);
    EXPECT_EQ(state(1)->segment.toStdString(), "M:25-50");
    EXPECT_EQ(state(2)->segmentNum, 3);
    EXPECT_EQ(state(2)->segment.toStdString(), "M:50-100");
}

TEST_F(MediaEngine, NewSegmentShowsOnlyAfterTheHitOfTheOldOne) {
    m->trackMilestones = QString("25,50");
    m->segmentByMilestones = true;
    openAndPlay("Movie", 100);
    event("Movie", KEOMediaEventTypeMonitor, 30); // crosses into M:25-50, still reports M:0-25
    event("Movie", KEOMediaEventTypeMonitor, 31);
    ASSERT_EQ(stateCount(), 3u);
    EXPECT_EQ(state(1)->segment.toStdString(), "M:0-25");
    EXPECT_EQ(state(2)->segment.toStdString(), "M:25-50");
}

TEST_F(MediaEngine, OffsetSegmentsOfUnknownLengthEndInE) {
    m->trackOffsetMilestones = QString("30,60");
    m->segmentByOffsetMilestones = true;
    m->open("Live", 0, "Player", "");
    event("Live", KEOMediaEventTypePlay, 70);
    ASSERT_EQ(stateCount(), 1u);
    EXPECT_EQ(state(0)->segmentNum, 3);
    EXPECT_EQ(state(0)->segment.toStdString(), "O:60-E");
}

TEST_F(MediaEngine, OffsetSegmentsOfKnownLengthEndInTheRoundedLength) {
    m->trackOffsetMilestones = QString("30,60");
    m->segmentByOffsetMilestones = true;
    m->open("Movie", 120.6, "Player", "");
    event("Movie", KEOMediaEventTypePlay, 70);
    ASSERT_EQ(stateCount(), 1u);
    EXPECT_EQ(state(0)->segment.toStdString(), "O:60-121");
}

TEST_F(MediaEngine, CallersOwnSegmentTurnsGenerationOff) {
    m->trackMilestones = QString("25,50");
    m->segmentByMilestones = true;
    m->open("Movie", 100, "Player", "");
    m->playerEvent("Movie", KEOMediaEventTypePlay, QHash<QString, QString>(), 30, 7, "Intro");
    ASSERT_EQ(stateCount(), 1u);
    EXPECT_EQ(state(0)->segmentNum, 7);
    EXPECT_EQ(state(0)->segment.toStdString(), "Intro");
}

TEST_F(MediaEngine, TickAtTheEndClosesAndCompletesTheItem) {
    openAndPlay("Movie", 100);
    event("Movie", KEOMediaEventTypeMonitor, 100);
    ASSERT_EQ(stateCount(), 2u);
    EXPECT_EQ(state(1)->mediaEvent.toStdString(), "CLOSE");
    EXPECT_TRUE(state(1)->complete);
    m->click("Movie", 1); // the item is gone: nothing reaches the delegate
    EXPECT_EQ(stateCount(), 2u);
}

TEST_F(MediaEngine, CloseWithinTheThresholdOfTheEndCompletes) {
    openAndPlay("Movie", 100);
    m->stop("Movie", 99.5);
    m->close("Movie");
    ASSERT_EQ(stateCount(), 3u);
    EXPECT_EQ(state(2)->mediaEvent.toStdString(), "CLOSE");
    EXPECT_TRUE(state(2)->complete);
}

TEST_F(MediaEngine, CloseBeforeTheThresholdDoesNotComplete) {
    openAndPlay("Movie", 100);
    m->stop("Movie", 98);
    m->close("Movie");
    ASSERT_EQ(stateCount(), 3u);
    EXPECT_EQ(state(2)->mediaEvent.toStdString(), "CLOSE");
    EXPECT_FALSE(state(2)->complete);
}

TEST_F(MediaEngine, StopPastTheEndIsClampedAndClosesTheItem) {
    openAndPlay("Movie", 100);
    m->stop("Movie", 150);
    ASSERT_EQ(stateCount(), 2u);
    EXPECT_EQ(state(1)->mediaEvent.toStdString(), "CLOSE");
    EXPECT_DOUBLE_EQ(state(1)->offset, 100.0);
    EXPECT_TRUE(state(1)->complete);
    m->click("Movie", 1);
    EXPECT_EQ(stateCount(), 2u);
}

TEST_F(MediaEngine, ExplicitCompleteOfUnknownLengthKeepsTheItemOpen) {
    m->open("Live", -5, "Player", "");
    event("Live", KEOMediaEventTypePlay, 0);
    m->complete("Live", 40);
    m->click("Live", 41);
    EXPECT_EQ(eventNames(), (Names{"OPEN", "COMPLETE", "CLICK"}));
    EXPECT_TRUE(state(1)->complete);
    EXPECT_DOUBLE_EQ(state(1)->percent, 0.0);
}

TEST_F(MediaEngine, AdItemsUseTheAdSettings) {
    m->trackMilestones = QString("25,50");
    m->adTrackMilestones = QString("10,90");
    m->openAd("Ad", 100, "Player", "Movie", "", 1, "");
    event("Ad", KEOMediaEventTypePlay, 0);
    event("Ad", KEOMediaEventTypeMonitor, 30);
    ASSERT_EQ(stateCount(), 2u);
    EXPECT_TRUE(state(1)->ad);
    EXPECT_EQ(state(1)->mediaEvent.toStdString(), "MILESTONE");
    EXPECT_DOUBLE_EQ(state(1)->milestone, 10.0);
}
