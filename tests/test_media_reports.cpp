// The reports an application's player makes: names and player names as opened, replacement
// of an open name, eviction by player identifier, and reports of names that aren't open.
#include "MediaFixture.h"

using Names = std::vector<std::string>;

class MediaReports : public MediaFixture {};

TEST_F(MediaReports, NamesAreSimplifiedAcrossOpenAndClose) {
    m->open("  My   Movie ", 60, "Player", "");
    event("My Movie", KEOMediaEventTypePlay, 0);
    m->close(" My  Movie");
    const auto hits = mediaHits();
    ASSERT_EQ(hits.size(), 2u);
    EXPECT_EQ(mctx(hits[0], "a.media.name"), "My Movie");
    EXPECT_EQ(mctx(hits[1], "a.media.name"), "My Movie");
    EXPECT_EQ(eventNames(), (Names{"OPEN", "CLOSE"}));
}

TEST_F(MediaReports, EmptyPlayerNameIsNotSpecified) {
    m->open("Movie", 60, "", "");
    event("Movie", KEOMediaEventTypePlay, 0);
    const auto hits = mediaHits();
    ASSERT_EQ(hits.size(), 1u);
    EXPECT_EQ(mctx(hits[0], "a.media.playerName"), "Not_Specified");
}

TEST_F(MediaReports, BlankPlayerNameIsKeptAndStoredEmpty) {
    m->open("Movie", 60, "   ", "");
    event("Movie", KEOMediaEventTypePlay, 0);
    ASSERT_EQ(stateCount(), 1u);
    EXPECT_EQ(state(0)->playerName.toStdString(), "");
}

TEST_F(MediaReports, BlankNameOpensNothing) {
    m->open("   ", 60, "Player", "p1");
    m->openAd("", 15, "Player", "Movie", "", 0, "1.00");
    event("", KEOMediaEventTypePlay, 0);
    event("   ", KEOMediaEventTypePlay, 0);
    EXPECT_EQ(stateCount(), 0u);
    EXPECT_EQ(mediaHits().size(), 0u);
}

TEST_F(MediaReports, ReopeningAPlayedNameClosesTheOldItemWithItsHit) {
    m->open("Movie", 60, "Player", "");
    event("Movie", KEOMediaEventTypePlay, 0);
    m->open("Movie", 90, "Player", "");
    event("Movie", KEOMediaEventTypePlay, 0);
    EXPECT_EQ(eventNames(), (Names{"OPEN", "CLOSE", "OPEN"}));
    const auto hits = mediaHits();
    ASSERT_EQ(hits.size(), 3u);
    EXPECT_EQ(mvar(hits[1], "pe"), "m_i");
    EXPECT_EQ(mvar(hits[2], "pe"), "m_s");
    EXPECT_EQ(mctx(hits[2], "a.media.length"), "90");
}

TEST_F(MediaReports, ReopeningAnUnplayedNameSendsNothingAndKeepsOneItem) {
    m->open("Movie", 60, "Player", "");
    m->open("Movie", 90, "Player", "");
    event("Movie", KEOMediaEventTypePlay, 0);
    const auto hits = mediaHits();
    ASSERT_EQ(hits.size(), 1u);
    EXPECT_EQ(mctx(hits[0], "a.media.length"), "90");
}

TEST_F(MediaReports, OpenClosesEveryItemOfTheSamePlayer) {
    m->open("First", 60, "Player", "p1");
    m->open("Second", 60, "Player", "p1"); // First never played: its close is refused
    m->open("Other", 60, "Player", "p2");
    event("First", KEOMediaEventTypePlay, 0);
    event("Second", KEOMediaEventTypePlay, 0);
    event("Other", KEOMediaEventTypePlay, 0);
    m->open("Third", 60, "Player", "p1");
    Names closed;
    for (size_t i = 3; i < stateCount(); i++)
        closed.push_back(state(static_cast<int>(i))->name.toStdString());
    std::sort(closed.begin(), closed.end());
    EXPECT_EQ(closed, (Names{"First", "Second"}));
    EXPECT_EQ(state(-1)->mediaEvent.toStdString(), "CLOSE");
    m->click("Other", 1);
    EXPECT_EQ(state(-1)->mediaEvent.toStdString(), "CLICK");
}

TEST_F(MediaReports, PlayOfANameNotOpenIsIgnored) {
    m->play("Nothing", 0);
    EXPECT_EQ(stateCount(), 0u);
    EXPECT_EQ(KEOMediaItem::activeMonitorCount(), 0);
}

TEST_F(MediaReports, PlayAtTheEndClosesTheItemWithoutAMonitor) {
    m->open("Movie", 10, "Player", "");
    m->play("Movie", 12);
    EXPECT_EQ(eventNames(), (Names{"CLOSE"}));
    EXPECT_TRUE(state(0)->complete);
    EXPECT_EQ(KEOMediaItem::activeMonitorCount(), 0);
}
