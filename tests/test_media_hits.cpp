// Media hits as they reach the collector: the keys of the first and later hits, the one-shot
// keys, ads and their pods, and a delegate that sends the hit of its event itself.
#include "MediaFixture.h"

class MediaHits : public MediaFixture {};

TEST_F(MediaHits, FirstHitOfContentStartsTheViewWithTheItemKeys) {
    m->channel = QString("News");
    m->open("Movie", 120.6, "Player", "");
    event("Movie", KEOMediaEventTypePlay, 0);
    const auto hits = mediaHits();
    ASSERT_EQ(hits.size(), 1u);
    const auto &hit = hits[0];
    EXPECT_EQ(mvar(hit, "pe"), "m_s");
    EXPECT_EQ(mvar(hit, "pev3"), "video");
    EXPECT_EQ(mvar(hit, "pev2"), "<missing>");
    EXPECT_EQ(mctx(hit, "a.internal"), "VideoTracking");
    EXPECT_EQ(mctx(hit, "a.contentType"), "video");
    EXPECT_EQ(mctx(hit, "a.media.channel"), "News");
    EXPECT_EQ(mctx(hit, "a.media.name"), "Movie");
    EXPECT_EQ(mctx(hit, "a.media.playerName"), "Player");
    EXPECT_EQ(mctx(hit, "a.media.length"), "121");
    EXPECT_EQ(mctx(hit, "a.media.view"), "true");
    EXPECT_EQ(mctx(hit, "a.media.timePlayed"), "<missing>");
}

TEST_F(MediaHits, LaterHitIsAnIncrementWithoutTheView) {
    openAndPlay("Movie", 100);
    m->track("Movie", QHash<QString, QString>());
    const auto hits = mediaHits();
    ASSERT_EQ(hits.size(), 2u);
    EXPECT_EQ(mvar(hits[1], "pe"), "m_i");
    EXPECT_EQ(mvar(hits[1], "pev3"), "video");
    EXPECT_EQ(mctx(hits[1], "a.media.view"), "<missing>");
    EXPECT_EQ(mctx(hits[1], "a.media.name"), "Movie");
}

TEST_F(MediaHits, TimePlayedIsSentInWholeSecondsAndTheFractionCarriesOver) {
    openAndPlay("Movie", 100);
    m->stop("Movie", 9.9);
    m->track("Movie", QHash<QString, QString>()); // 9.9 s: "9", 0.9 s stay
    event("Movie", KEOMediaEventTypePlay, 9.9);
    m->stop("Movie", 10.1);
    m->track("Movie", QHash<QString, QString>()); // 0.9 + 0.2 s: "1"
    const auto hits = mediaHits();
    ASSERT_EQ(hits.size(), 3u);
    EXPECT_EQ(mctx(hits[1], "a.media.timePlayed"), "9");
    EXPECT_EQ(mctx(hits[2], "a.media.timePlayed"), "1");
}

TEST_F(MediaHits, TrackKeepsTheApplicationsKeysButMediaKeysWin) {
    openAndPlay("Movie", 100);
    QHash<QString, QString> data;
    data["a.media.name"] = "Other";
    data["show"] = "Evening";
    m->track("Movie", data);
    const auto hits = mediaHits();
    ASSERT_EQ(hits.size(), 2u);
    EXPECT_EQ(mctx(hits[1], "a.media.name"), "Movie");
    EXPECT_EQ(mctx(hits[1], "show"), "Evening");
}

TEST_F(MediaHits, ClickIsCarriedOnTheNextHitOnly) {
    openAndPlay("Movie", 100);
    m->click("Movie", 5);
    m->track("Movie", QHash<QString, QString>());
    const auto hits = mediaHits();
    ASSERT_EQ(hits.size(), 3u);
    EXPECT_EQ(mctx(hits[1], "a.media.ad.clicked"), "true");
    EXPECT_EQ(mctx(hits[2], "a.media.ad.clicked"), "<missing>");
}

TEST_F(MediaHits, CompletionIsReportedOnce) {
    openAndPlay("Movie", 100);
    m->complete("Movie", 50);
    m->complete("Movie", 60);
    const auto hits = mediaHits();
    ASSERT_EQ(hits.size(), 3u);
    EXPECT_EQ(mctx(hits[1], "a.media.complete"), "true");
    EXPECT_EQ(mctx(hits[2], "a.media.complete"), "<missing>");
}

TEST_F(MediaHits, MilestoneKeysAreOnTheHitTheyCausedOnly) {
    m->trackMilestones = QString("25,50");
    m->trackOffsetMilestones = QString("20,40");
    openAndPlay("Movie", 100);
    event("Movie", KEOMediaEventTypeMonitor, 26);
    m->track("Movie", QHash<QString, QString>());
    const auto hits = mediaHits();
    ASSERT_EQ(hits.size(), 3u);
    EXPECT_EQ(mctx(hits[1], "a.media.milestone"), "25");
    EXPECT_EQ(mctx(hits[1], "a.media.offsetMilestone"), "20");
    EXPECT_EQ(mctx(hits[2], "a.media.milestone"), "<missing>");
    EXPECT_EQ(mctx(hits[2], "a.media.offsetMilestone"), "<missing>");
}

TEST_F(MediaHits, SegmentChangeHitReportsTheSegmentJustPlayed) {
    m->trackMilestones = QString("25,50");
    m->segmentByMilestones = true;
    openAndPlay("Movie", 100);
    event("Movie", KEOMediaEventTypeMonitor, 30);
    m->track("Movie", QHash<QString, QString>());
    const auto hits = mediaHits();
    ASSERT_EQ(hits.size(), 3u);
    EXPECT_EQ(mctx(hits[0], "a.media.segment"), "M:0-25");
    EXPECT_EQ(mctx(hits[0], "a.media.segmentNum"), "1");
    EXPECT_EQ(mctx(hits[0], "a.media.segmentView"), "<missing>");
    EXPECT_EQ(mctx(hits[1], "a.media.segment"), "M:0-25");
    EXPECT_EQ(mctx(hits[1], "a.media.segmentView"), "true");
    EXPECT_EQ(mctx(hits[2], "a.media.segment"), "M:25-50");
    EXPECT_EQ(mctx(hits[2], "a.media.segmentNum"), "2");
}

TEST_F(MediaHits, CloseReachedByTheEndSendsOneCompletingHit) {
    openAndPlay("Movie", 100);
    event("Movie", KEOMediaEventTypeMonitor, 100);
    m->track("Movie", QHash<QString, QString>()); // closed: nothing
    const auto hits = mediaHits();
    ASSERT_EQ(hits.size(), 2u);
    EXPECT_EQ(mctx(hits[1], "a.media.complete"), "true");
    EXPECT_EQ(mctx(hits[1], "a.media.timePlayed"), "100");
}

static void trackFromDelegate(KEOMediaState *state) {
    if (state->mediaEvent == "MILESTONE") {
        QHash<QString, QString> data;
        data["delegate.note"] = "quarter";
        KEOMediaAnalytics::sharedInstance()->track(state->name, data);
    }
    media_test::recordState(state);
}

TEST_F(MediaHits, DelegateTrackingInsideItsCallbackReplacesTheEventsHit) {
    m->mediaMeasurementDelegate = trackFromDelegate;
    m->trackMilestones = QString("25,50");
    openAndPlay("Movie", 100);
    event("Movie", KEOMediaEventTypeMonitor, 30);
    const auto hits = mediaHits();
    ASSERT_EQ(hits.size(), 2u);
    EXPECT_EQ(mctx(hits[1], "delegate.note"), "quarter");
    EXPECT_EQ(mctx(hits[1], "a.media.milestone"), "25");
}

TEST_F(MediaHits, AdFirstHitNamesTheContentAndCarriesTheCPM) {
    m->openAd("Spot", 15, "Player", "Movie", "", 1, "2.50");
    event("Spot", KEOMediaEventTypePlay, 0);
    const auto hits = mediaHits();
    ASSERT_EQ(hits.size(), 1u);
    const auto &hit = hits[0];
    EXPECT_EQ(mvar(hit, "pe"), "m_s");
    EXPECT_EQ(mvar(hit, "pev3"), "videoAd");
    EXPECT_EQ(mctx(hit, "a.contentType"), "videoAd");
    EXPECT_EQ(mctx(hit, "a.media.name"), "Movie");
    EXPECT_EQ(mctx(hit, "a.media.ad.name"), "Spot");
    EXPECT_EQ(mctx(hit, "a.media.ad.playerName"), "Player");
    EXPECT_EQ(mctx(hit, "a.media.ad.length"), "15");
    EXPECT_EQ(mctx(hit, "a.media.ad.view"), "true");
    EXPECT_EQ(mctx(hit, "a.media.ad.CPM"), "2.50");
    EXPECT_EQ(mctx(hit, "a.media.ad.pod"), "<missing>");
    EXPECT_EQ(mctx(hit, "a.media.ad.podPosition"), "<missing>");
    EXPECT_EQ(mctx(hit, "a.media.view"), "<missing>");
}

TEST_F(MediaHits, AdCPMGoesOutWithTheViewOnly) {
    m->openAd("Spot", 15, "Player", "Movie", "", 1, "2.50");
    event("Spot", KEOMediaEventTypePlay, 0);
    m->track("Spot", QHash<QString, QString>());
    const auto hits = mediaHits();
    ASSERT_EQ(hits.size(), 2u);
    EXPECT_EQ(mctx(hits[1], "a.media.ad.CPM"), "<missing>");
    EXPECT_EQ(mvar(hits[1], "pe"), "m_i");
}

TEST_F(MediaHits, AdAtPodPositionZeroReportsPodAndPosition) {
    m->openAd("Spot", 15, "Player", "Movie", "pre", 0.9, ""); // 0.9 is position 0
    event("Spot", KEOMediaEventTypePlay, 0);
    const auto hits = mediaHits();
    ASSERT_EQ(hits.size(), 1u);
    EXPECT_EQ(mctx(hits[0], "a.media.ad.pod"), "pre");
    EXPECT_EQ(mctx(hits[0], "a.media.ad.podPosition"), "0");
}

TEST_F(MediaHits, AdWithoutParentHasNeitherContentNameNorPod) {
    m->openAd("Spot", 15, "Player", "", "pre", 0, "1.00");
    event("Spot", KEOMediaEventTypePlay, 0);
    const auto hits = mediaHits();
    ASSERT_EQ(hits.size(), 1u);
    EXPECT_EQ(mctx(hits[0], "a.media.name"), "<missing>");
    EXPECT_EQ(mctx(hits[0], "a.media.ad.pod"), "<missing>");
    EXPECT_EQ(mctx(hits[0], "a.media.ad.podPosition"), "<missing>");
    EXPECT_EQ(mctx(hits[0], "a.media.ad.CPM"), "1.00");
}

static void closeFromDelegate(KEOMediaState *state) {
    if (state->mediaEvent == "MILESTONE")
        KEOMediaAnalytics::sharedInstance()->close(state->name);
    media_test::recordState(state);
}

TEST_F(MediaHits, DelegateClosingItsItemInsideTheCallbackSendsOnlyTheCloseHit) {
    m->mediaMeasurementDelegate = closeFromDelegate;
    m->trackMilestones = QString("25,50");
    openAndPlay("Movie", 100);
    event("Movie", KEOMediaEventTypeMonitor, 30);
    m->click("Movie", 31); // closed: nothing
    const auto hits = mediaHits();
    ASSERT_EQ(hits.size(), 2u);
    EXPECT_EQ(mctx(hits[1], "a.media.milestone"), "25");
    EXPECT_EQ(eventNames(), (std::vector<std::string>{"OPEN", "CLOSE", "MILESTONE"}));
}
