// Media measurement as the application sees it: scripts of reports (support/MediaScript.h) with
// what the delegate was told and the hits that reached a loopback collector; then the monitors.
#include "LoopbackTest.h"
#include "MediaScript.h"

#include <QRegularExpression>

#include <chrono>
#include <thread>

using namespace std::chrono_literals;

// A case of the table below: its name and script (lines joined by ';'), then what must come of
// it. "=" lines: the delegate's snapshots without the plain ticks, joined by ", ". "keys" lines:
// the keys shown of every hit (see hits), '-' when missing. "|" lines: those hits.
struct MediaCase {
    std::string name, script, snapshots, keys, hits;
};
void PrintTo(const MediaCase &c, std::ostream *out) { // the name stands for the case
    *out << c.name;
}

static std::vector<MediaCase> parse(const char *table) {
    std::vector<MediaCase> cases;
    const auto add = [](std::string &to, const QString &part, const char *glue) {
        to += (to.empty() || part.isEmpty() ? "" : glue) + part.toStdString();
    };
    for (const QString &raw : QString(table).split('\n', Qt::SkipEmptyParts)) {
        const QString line = raw.trimmed(), first = line.section(' ', 0, 0);
        if (line.startsWith('='))
            add(cases.back().snapshots, line.mid(2), ", ");
        else if (line.startsWith('|'))
            add(cases.back().hits, line.mid(2), " | ");
        else if (first == "keys")
            add(cases.back().keys, line.mid(5), " ");
        else if (!first.contains('|'))
            cases.push_back({first.toStdString(), line.section(' ', 1).toStdString(), {}, {}, {}});
        else
            add(cases.back().script, line, ";");
    }
    return cases;
}

class Media : public LoopbackTest, public ::testing::WithParamInterface<MediaCase> {
protected:
    void SetUp() override {
        configure(false);
        media_script::run("set|delegate|1");
    }
    static QStringList seen() {
        std::lock_guard<std::mutex> guard(media_script::seenMutex);
        return media_script::seen;
    }
    static int count(const QString &prefix) {
        return seen().filter(QRegularExpression("^" + prefix)).size();
    }

    // Every hit, once all have arrived, as the values of keys: context data ('.' for "a.media.")
    // or, without a dot, vars.
    std::string hits(const QString &keys) {
        EXPECT_TRUE(dir.hitRows() < 0 || waitForRows(0));
        QStringList shown;
        for (const collector::Hit &hit : server.hits()) {
            QString values;
            for (const QString &key : keys.split(' ')) {
                const std::string k = (key.startsWith('.') ? "a.media" + key : key).toStdString();
                values +=
                    QString::fromStdString(key.contains('.') ? ctx(hit, k) : var(hit, k)) + ' ';
            }
            shown << values.trimmed().replace("<missing>", "-");
        }
        return shown.join(" | ").toStdString();
    }
};

TEST_P(Media, Runs) {
    media_script::run(QString::fromStdString(GetParam().script));
    EXPECT_TRUE(waitFor([] { return KEOMediaItem::activeMonitorCount() == 0; }, 6s))
        << "a monitor outlived its item";
    const QString told = seen().filter(QRegularExpression("^(?!.* MONITOR@)")).join(", ");
    EXPECT_EQ(GetParam().snapshots.empty() ? "" : told.toStdString(), GetParam().snapshots);
    EXPECT_EQ(GetParam().keys.empty() ? "" : hits(QString::fromStdString(GetParam().keys)),
              GetParam().hits);
}

// Positions are explicit (play, tick), so that no clock is involved, but where a monitor ticks
// (start) until its item ends.
INSTANTIATE_TEST_SUITE_P(Cases, Media, ::testing::ValuesIn(parse(R"(
GateTakesOnlyChangesOfThePlayState
  open|M|100|P;stop|M|1;close|M;play|M|0;play|M|2;stop|M|5;stop|M|6;play|M|5;event|M|0|7
  = M OPEN@0, M STOP@5 t5, M PLAY@5 t5, M CLOSE@7 t5
MilestonesFireOnceEachAtTheirCrossing set|milestones|25,50,75;open|M|100|P;play|M|0;tick|M|1|80
  open|N|1000|Q;play|N|248;tick|N|260
  = M OPEN@0, M MILESTONE@25 m25 t25, M MILESTONE@50 m50 t50, M MILESTONE@75 m75 t75
  = N OPEN@248, N MILESTONE@260 m25 t12
JumpFiresOnlyTheFirstCrossedInListOrder
  set|milestones|50,25,75;open|M|100|P;play|M|0;tick|M|10;tick|M|80;tick|M|81
  = M OPEN@0, M MILESTONE@80 m50 t80
MilestoneFiresAgainAfterASeekBackToTheStart
  set|milestones|25,50;open|M|100|P;play|M|0;tick|M|30;stop|M|30;play|M|0;tick|M|26
  = M OPEN@0, M MILESTONE@30 m25 t30, M STOP@30 t30, M PLAY@0 t30, M MILESTONE@26 m25 t56 again
BothMilestonesAreOnTheHitTheyCausedOnlyAndTheOffsetOneNamesIt
  set|milestones|25,50;set|offsetMilestones|20,40;open|M|100|P;play|M|0;tick|M|26;track|M
  = M OPEN@0, M OFFSET_MILESTONE@26 o20 t26
  keys .milestone .offsetMilestone
  | - - | 25 20 | - -
OffsetMilestoneFiresOnceAtItsCrossing
  set|offsetMilestones|20,40;open|M|100|P;play|M|0;tick|M|1|25
  = M OPEN@0, M OFFSET_MILESTONE@20 o20 t20
SegmentsStartOffForAdsAndAnEndAtALengthOfOneIsNoSegment
  set|adOffsetMilestones|5,10;ad|A|20|P|M||1|;play|A|6;set|offsetMilestones|1,-5
  set|segmentByOffsetMilestones|1;open|L|1|P;play|L|1
  = A OPEN@6 ad, L CLOSE@1 complete
OneOffsetMilestoneIsNoListAndMovesBackAddNoTime
  set|offsetMilestones|20;open|M|100|P;play|M|0;tick|M|1|25;stop|M|5;click|M|3
  = M OPEN@0, M STOP@5 t25, M CLICK@3 t25 clicked
PositionUnderOneSecondIsKeptAsItIsAndCountsAsPlayed
  open|M|100|P;play|M|0;stop|M|0.5
  = M OPEN@0, M STOP@0.5 t0.5
FirstEventThatIsNoPlayOpensTheItemAndCountsFromItsStart
  open|M|100|P;click|M|5;close|M;tick|M|8;stop|M|8;close|M
  = M OPEN@5 t5 clicked, M STOP@8 t8, M CLOSE@8 t8
SecondsTimerCountsPlayAcrossStopAndSeek
  set|seconds|10;open|M|100|P;play|M|0;tick|M|1|14;stop|M|14;play|M|30;tick|M|31|36
  = M OPEN@0, M SECONDS@10 t10, M STOP@14 t14, M PLAY@30 t14, M SECONDS@36 t20 again
PercentSegmentsEndInAnAppendedHundredAndABoundaryStartsTheNext
  set|milestones|25,50;set|segmentByMilestones|1;open|A|100|P;open|B|100|P;open|C|100|P
  play|A|0;play|B|25;play|C|60
  = A OPEN@0 1:M:0-25, B OPEN@25 2:M:25-50, C OPEN@60 3:M:50-100
PercentSegmentEntriesBelowOneArePassedOverButCounted
  set|milestones|1,-5,50;set|segmentByMilestones|1;open|A|100|P;open|B|100|P;play|A|0;play|B|1
  = A OPEN@0 1:M:0-1, B OPEN@1 3:M:1-50
SegmentChangeCostsAHitThatReportsTheSegmentJustPlayed
  set|milestones|25,50;set|segmentByMilestones|1;open|M|100|P;play|M|0;tick|M|30;click|M|30
  click|M|35;click|M|40
  = M OPEN@0 1:M:0-25, M MILESTONE@30 m25 1:M:0-25 t30, M CLICK@30 2:M:25-50 t30 clicked
  = M CLICK@35 2:M:25-50 t35 clicked again, M CLICK@40 2:M:25-50 t40 clicked again
  keys .segmentNum .segment .segmentView
  | 1 M:0-25 - | 1 M:0-25 true | 2 M:25-50 - | 2 M:25-50 true | 2 M:25-50 -
OffsetSegmentsEndInTheRoundedLengthOrInEAndEntriesBelowOneArePassedOverButCounted
  set|offsetMilestones|1,-5,30,60;set|segmentByOffsetMilestones|1;open|L|0|P;open|M|120.6|P
  open|N|100|P;play|L|70;play|M|70;play|N|1
  = L OPEN@70 5:O:60-E L-1, M OPEN@70 5:O:60-121, N OPEN@1 3:O:1-30
CallersOwnSegmentTurnsGenerationOff
  set|milestones|25,50;set|segmentByMilestones|1;open|M|100|P;event|M|1|30|7|Intro
  = M OPEN@30 7:Intro
TheEndClosesTheItemWhetherATickAStopOrAPlayReachesItOrACloseComesWithinTheThreshold
  open|A|100|P;open|B|100|P;open|C|10|P;play|A|0;tick|A|100;play|B|0;stop|B|150;start|C|12
  open|D|100|P;open|E|100|P;play|D|0;play|E|0;stop|D|99.5;stop|E|98;close|D;close|E
  open|F|1|P;play|F|0;tick|F|1;click|A|1;click|B|1;click|C|1;click|F|2
  = A OPEN@0, A CLOSE@100 t100 complete, B OPEN@0, B CLOSE@100 t100 complete, C CLOSE@10 complete
  = D OPEN@0, E OPEN@0, D STOP@99.5 t99.5, E STOP@98 t98, D CLOSE@99.5 t99.5 complete
  = E CLOSE@98 t98, F OPEN@0, F CLOSE@1 t1 complete
UnknownLengthCompletesOnlyWhenToldAndStaysOpenAndOneShotKeysGoOutOnce
  open|M|-5|P;play|M|0;complete|M|40;click|M|41;complete|M|42
  = M OPEN@0 L-1, M COMPLETE@40 t40 L-1 complete, M CLICK@41 t41 L-1 clicked
  = M COMPLETE@42 t42 L-1 complete again
  keys .length .complete .ad.clicked
  | - - - | - true - | - - true | - - -
AdHitsUseTheAdSettingsAndTheAdTwinOfEveryKey
  set|milestones|30,60;set|adMilestones|25,50;set|adOffsetMilestones|5,40
  set|adSegmentByOffsetMilestones|1;ad|A|20|P|M||1|;play|A|0;tick|A|6;click|A|7;complete|A|8
  = A OPEN@0 1:O:0-5 ad, A OFFSET_MILESTONE@6 o5 1:O:0-5 t6 ad, A CLICK@7 2:O:5-40 t7 clicked ad
  = A COMPLETE@8 2:O:5-40 t8 complete ad
  keys .ad.timePlayed .ad.segmentNum .ad.segment .ad.segmentView .ad.milestone
  keys .ad.offsetMilestone .ad.clicked .ad.complete
  | - 1 O:0-5 - - - - - | 6 1 O:0-5 true 25 5 - - | 1 2 O:5-40 true - - true -
  | 1 2 O:5-40 - - - - true
MilestoneSettingTakesEffectAtTheNextEventAndOneWithoutCommaIsNoList
  open|M|100|P;play|M|0;set|milestones|50;tick|M|1|60;set|milestones|25,70;tick|M|61|70
  set|milestones|;tick|M|71|90
  = M OPEN@0, M MILESTONE@61 m25 t61, M MILESTONE@70 m70 t70
BlankNamesAndNamesNotOpenReachNothing
  open|   |60|P|p1;ad||15|P|M||0|1.00;play||0;play|   |0;start|X|0;click|X|1;open|X|60|P;play|X|0
  = X OPEN@0
OpenClosesEveryItemOfItsPlayerOnly
  open|A|60|P|p1;open|B|60|P|p1;open|O|60|P|p2;play|A|0;play|B|0;play|O|0;set|delegate|0
  open|C|60|P|p1;set|delegate|1;click|A|1;click|B|1;click|O|1
  = A OPEN@0, B OPEN@0, O OPEN@0, O CLICK@1 t1 clicked
ReopeningANameClosesItWithItsHitOnlyIfItPlayed
  open|M|60|P;play|M|0;open|M|90|P;play|M|0;open|N|60|P;open|N|90|P;play|N|0
  keys pe .name .length
  | m_s M 60 | m_i M 60 | m_s M 90 | m_s N 90
NamesAreSimplifiedAndPlayerNamesDefaultOnlyWhenEmpty
  open|  My   Movie |60|P;play|My Movie|0;close| My  Movie;open|A|60|;open|B|60|   ;play|A|0
  play|B|0
  keys .name .playerName
  | My Movie P | My Movie P | A Not_Specified | B -
FirstAndLaterHitsOfContentWithWholeSecondsPlayed
  set|channel|News;open|M|30.5|P;play|M|0;stop|M|9.9;track|M;play|M|9.9;stop|M|10.1;track|M
  keys pe pev3 pev2 a.internal a.contentType .channel .name .playerName .length .view .timePlayed
  | m_s video - VideoTracking video News M P 31 true -
  | m_i video - VideoTracking video News M P 31 - 9 | m_i video - VideoTracking video News M P 31 - 1
TrackKeepsTheApplicationsKeysButMediaKeysWin
  open|M|100|P;play|M|0;track|M|a.media.name|Other;track|M|app.show|Evening
  keys .name app.show
  | M - | M - | M Evening
DelegatesTrackReplacesTheHitOfItsEvent
  delegate|MILESTONE|track||app.note|quarter;set|milestones|25,50;open|M|100|P;play|M|0
  tick|M|30
  keys app.note .milestone
  | - - | quarter 25
DelegatesCloseSendsTheCloseHitOnly
  delegate|MILESTONE|close;set|milestones|25,50;open|M|100|P;play|M|0;tick|M|30;click|M|31
  keys pe .milestone .timePlayed
  | m_s - - | m_i 25 30
ReachingTheEndByTicksClosesTheItemAndEndsItsMonitor open|S|3|P;start|S|0
  = S OPEN@0, S CLOSE@3 t3 complete
  keys pe .complete .timePlayed
  | m_s - - | m_i true 3
UnplayedItemReplacedByAnOpenInsideTheDelegateEndsItsMonitorToo
  delegate|OPEN|open||100|P;open|M|100|P;start|M|0;delegate||;open|M|100|P
  keys pe .name
  | m_s M
AdHitsNameTheirContentSendTheCPMWithTheViewAndPodsOnlyWithAParentAtPositionZero
  ad|A|15|P|Movie|pre|0.9|2.50;ad|B|15|P||pre|0|1.00;play|A|0;play|B|0;track|A
  keys pe pev3 a.contentType .name .ad.name .ad.playerName .view .ad.length .ad.view .ad.CPM
  keys .ad.pod .ad.podPosition
  | m_s videoAd videoAd Movie A P - 15 true 2.50 pre 0
  | m_s videoAd videoAd - B P - 15 true 1.00 - - | m_i videoAd videoAd Movie A P - 15 - - pre 0
)")));

// The monitor threads in real time: a tick a second while their item plays, under its name, none
// while it is stopped, none after its close.
class MediaMonitor : public Media {};

TEST_F(MediaMonitor, TicksWhilePlayingUnderItsNameAndEndsWithTheClose) {
    media_script::run("open|L|100|P;open|R|100|P;start|L|0;start|R|0");
    ASSERT_TRUE(waitFor([] { return count("L MONITOR") >= 2 && count("R MONITOR") >= 2; }, 3s));
    media_script::run("stop|L|-1");
    const int left = count("L MONITOR"), right = count("R MONITOR");
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    EXPECT_EQ(count("L MONITOR"), left);
    EXPECT_GT(count("R MONITOR"), right);
    media_script::run("start|L|-1");
    EXPECT_EQ(KEOMediaItem::activeMonitorCount(), 2) << "play, stop, play starts one thread";
    EXPECT_TRUE(waitFor([left] { return count("L MONITOR") > left; }, 2s));
    media_script::run("close|L;close|R");
    const int told = seen().size();
    EXPECT_TRUE(waitFor([] { return KEOMediaItem::activeMonitorCount() == 0; }, 1500ms));
    EXPECT_EQ(seen().size(), told);
}
