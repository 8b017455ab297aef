// The monitor thread in real time: ticks while playing, pauses while stopped, ends with the
// item, and closes an item whose end it reaches. Lengths are a few seconds at most.
#include "MediaFixture.h"

#include <algorithm>

using namespace std::chrono_literals;

class MediaMonitor : public MediaFixture {
protected:
    size_t countOf(const std::string &name, const std::string &event) {
        size_t n = 0;
        std::lock_guard<std::mutex> guard(media_test::recordedMutex);
        for (const auto &s : media_test::recorded)
            if (s->name.toStdString() == name && s->mediaEvent.toStdString() == event)
                n++;
        return n;
    }
    bool waitFor(const std::function<bool()> &condition, std::chrono::milliseconds timeout) {
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        while (!condition()) {
            if (std::chrono::steady_clock::now() > deadline)
                return false;
            std::this_thread::sleep_for(20ms);
        }
        return true;
    }
};

TEST_F(MediaMonitor, PlayStopPlayRunsOneThreadThatPausesWhileStopped) {
    m->open("Movie", 100, "Player", "");
    m->play("Movie", 0);
    ASSERT_TRUE(waitFor([&] { return countOf("Movie", "MONITOR") >= 2; }, 3s));
    m->stop("Movie", -1.0);
    const size_t ticksBeforeStop = countOf("Movie", "MONITOR");
    std::this_thread::sleep_for(1500ms);
    EXPECT_EQ(countOf("Movie", "MONITOR"), ticksBeforeStop);
    m->play("Movie", -1.0);
    EXPECT_EQ(KEOMediaItem::activeMonitorCount(), 1);
    EXPECT_TRUE(waitFor([&] { return countOf("Movie", "MONITOR") > ticksBeforeStop; }, 2s));
    m->close("Movie");
}

TEST_F(MediaMonitor, CloseEndsTheThreadWithinASecond) {
    m->open("Movie", 100, "Player", "");
    m->play("Movie", 0);
    ASSERT_TRUE(waitFor([&] { return countOf("Movie", "MONITOR") >= 1; }, 2s));
    m->close("Movie");
    const size_t states = stateCount();
    EXPECT_TRUE(waitFor([] { return KEOMediaItem::activeMonitorCount() == 0; }, 1500ms));
    EXPECT_EQ(stateCount(), states);
}

TEST_F(MediaMonitor, ReachingTheEndByTicksClosesWithOneCompletingHit) {
    m->open("Short", 3, "Player", "");
    m->play("Short", 0);
    ASSERT_TRUE(waitFor([&] { return countOf("Short", "CLOSE") == 1; }, 6s));
    EXPECT_TRUE(state(-1)->complete);
    EXPECT_DOUBLE_EQ(state(-1)->offset, 3.0);
    EXPECT_TRUE(waitFor([] { return KEOMediaItem::activeMonitorCount() == 0; }, 1500ms));
    const auto hits = mediaHits();
    ASSERT_EQ(hits.size(), 2u);
    EXPECT_EQ(mctx(hits[1], "a.media.complete"), "true");
    EXPECT_EQ(mctx(hits[1], "a.media.timePlayed"), "3");
}

TEST_F(MediaMonitor, TwoItemsTickEachUnderItsOwnName) {
    m->open("Left", 100, "Player", "");
    m->open("Right", 100, "Player", "");
    m->play("Left", 0);
    m->play("Right", 0);
    EXPECT_EQ(KEOMediaItem::activeMonitorCount(), 2);
    EXPECT_TRUE(waitFor(
        [&] { return countOf("Left", "MONITOR") >= 2 && countOf("Right", "MONITOR") >= 2; }, 3s));
    m->close("Left");
    m->close("Right");
}

TEST_F(MediaMonitor, ReportsBesideTicksLoseNoEvent) {
    m->open("Left", 100, "Player", "");
    m->open("Right", 100, "Player", "");
    m->play("Left", 0);
    m->play("Right", 0);
    // About 1.5 s of reports, across several ticks of both threads.
    int clicks = 0;
    for (; clicks < 150; clicks++) {
        m->click(clicks % 2 ? "Left" : "Right", -1.0);
        m->track("Left", QHash<QString, QString>());
        std::this_thread::sleep_for(10ms);
    }
    EXPECT_EQ(countOf("Left", "CLICK") + countOf("Right", "CLICK"), static_cast<size_t>(clicks));
    EXPECT_GE(countOf("Left", "MONITOR"), 1u);
    m->close("Left");
    m->close("Right");
}

// Opens the name anew while the item's first event is being told, once: the play that told it
// then finds the new, unplayed item and starts that one's monitor.
static void reopenOnce(KEOMediaState *state) {
    static bool reopened = false;
    const QString name = state->name;
    media_test::recordState(state);
    if (!reopened) {
        reopened = true;
        KEOMediaAnalytics::sharedInstance()->open(name, 100, "Player", "");
    }
}

TEST_F(MediaMonitor, MonitorOfAnUnplayedItemEndsWhenAnOpenReplacesIt) {
    m->mediaMeasurementDelegate = reopenOnce;
    m->open("Movie", 100, "Player", "");
    m->play("Movie", 0);
    ASSERT_EQ(KEOMediaItem::activeMonitorCount(), 1);
    m->open("Movie", 100, "Player", "");
    EXPECT_TRUE(waitFor([] { return KEOMediaItem::activeMonitorCount() == 0; }, 1500ms));
    EXPECT_EQ(eventNames(), (std::vector<std::string>{"OPEN", "CLOSE"}));
}
