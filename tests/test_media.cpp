// Media measurement as the application sees it: scripts of reports (support/MediaScript.h) with
// what the delegate was told and the hits that reached a loopback collector; then the monitors.
#include "LoopbackTest.h"
#include "MediaScript.h"

#include <QRegularExpression>

#include <chrono>
#include <thread>

using namespace std::chrono_literals;

// A case of the table below: its name and script (lines joined by ';'), then what must come of
// it. "=" lines: the delegate's snapshots without the plain ticks, one a line, as describe() in
// support/MediaScript.h writes them: name, event and key=value pairs in the hits' own names. "keys"
// lines: the keys shown of every hit (see hits), '-' when missing. "|" lines: those hits.
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
    const QString told = seen().filter(QRegularExpression("^(?!.* MONITOR offset=)")).join(", ");
    EXPECT_EQ(GetParam().snapshots.empty() ? "" : told.toStdString(), GetParam().snapshots);
    EXPECT_EQ(GetParam().keys.empty() ? "" : hits(QString::fromStdString(GetParam().keys)),
              GetParam().hits);
}

// Positions are explicit (play, tick), so that no clock is involved, but where a monitor ticks
// (start) until its item ends.
INSTANTIATE_TEST_SUITE_P(Cases, Media, ::testing::ValuesIn(parse(R"(
GateTakesOnlyChangesOfThePlayState
  open|M|100|P;stop|M|1;close|M;play|M|0;play|M|2;stop|M|5;stop|M|6;play|M|5;event|M|0|7
  = M OPEN offset=0
  = M STOP offset=5 timePlayed=5
  = M PLAY offset=5 timePlayed=5
  = M CLOSE offset=7 timePlayed=5
MilestonesFireOnceEachAtTheirCrossing set|milestones|25,50,75;open|M|100|P;play|M|0;tick|M|1|80
  open|N|1000|Q;play|N|248;tick|N|260
  = M OPEN offset=0
  = M MILESTONE offset=25 milestone=25 timePlayed=25
  = M MILESTONE offset=50 milestone=50 timePlayed=50
  = M MILESTONE offset=75 milestone=75 timePlayed=75
  = N OPEN offset=248
  = N MILESTONE offset=260 milestone=25 timePlayed=12
JumpFiresOnlyTheFirstCrossedInListOrder
  set|milestones|50,25,75;open|M|100|P;play|M|0;tick|M|10;tick|M|80;tick|M|81
  = M OPEN offset=0
  = M MILESTONE offset=80 milestone=50 timePlayed=80
MilestoneFiresAgainAfterASeekBackToTheStart
  set|milestones|25,50;open|M|100|P;play|M|0;tick|M|30;stop|M|30;play|M|0;tick|M|26
  = M OPEN offset=0
  = M MILESTONE offset=30 milestone=25 timePlayed=30
  = M STOP offset=30 timePlayed=30
  = M PLAY offset=0 timePlayed=30
  = M MILESTONE offset=26 milestone=25 timePlayed=56 eventFirstTime=false
BothMilestonesAreOnTheHitTheyCausedOnlyAndTheOffsetOneNamesIt
  set|milestones|25,50;set|offsetMilestones|20,40;open|M|100|P;play|M|0;tick|M|26;track|M
  = M OPEN offset=0
  = M OFFSET_MILESTONE offset=26 offsetMilestone=20 timePlayed=26
  keys .milestone .offsetMilestone
  | - - | 25 20 | - -
OffsetMilestoneFiresOnceAtItsCrossing
  set|offsetMilestones|20,40;open|M|100|P;play|M|0;tick|M|1|25
  = M OPEN offset=0
  = M OFFSET_MILESTONE offset=20 offsetMilestone=20 timePlayed=20
SegmentsStartOffForAdsAndAnEndAtALengthOfOneIsNoSegment
  set|adOffsetMilestones|5,10;ad|A|20|P|M||1|;play|A|6;set|offsetMilestones|1,-5
  set|segmentByOffsetMilestones|1;open|L|1|P;play|L|1
  = A OPEN offset=6 ad=true
  = L CLOSE offset=1 complete=true
OneOffsetMilestoneIsNoListAndMovesBackAddNoTime
  set|offsetMilestones|20;open|M|100|P;play|M|0;tick|M|1|25;stop|M|5;click|M|3
  = M OPEN offset=0
  = M STOP offset=5 timePlayed=25
  = M CLICK offset=3 timePlayed=25 clicked=true
PositionUnderOneSecondIsKeptAsItIsAndCountsAsPlayed
  open|M|100|P;play|M|0;stop|M|0.5
  = M OPEN offset=0
  = M STOP offset=0.5 timePlayed=0.5
FirstEventThatIsNoPlayOpensTheItemAndCountsFromItsStart
  open|M|100|P;click|M|5;close|M;tick|M|8;stop|M|8;close|M
  = M OPEN offset=5 timePlayed=5 clicked=true
  = M STOP offset=8 timePlayed=8
  = M CLOSE offset=8 timePlayed=8
SecondsTimerCountsPlayAcrossStopAndSeek
  set|seconds|10;open|M|100|P;play|M|0;tick|M|1|14;stop|M|14;play|M|30;tick|M|31|36
  = M OPEN offset=0
  = M SECONDS offset=10 timePlayed=10
  = M STOP offset=14 timePlayed=14
  = M PLAY offset=30 timePlayed=14
  = M SECONDS offset=36 timePlayed=20 eventFirstTime=false
PercentSegmentsEndInAnAppendedHundredAndABoundaryStartsTheNext
  set|milestones|25,50;set|segmentByMilestones|1;open|A|100|P;open|B|100|P;open|C|100|P
  play|A|0;play|B|25;play|C|60
  = A OPEN offset=0 segmentNum=1 segment=M:0-25
  = B OPEN offset=25 segmentNum=2 segment=M:25-50
  = C OPEN offset=60 segmentNum=3 segment=M:50-100
PercentSegmentEntriesBelowOneArePassedOverButCounted
  set|milestones|1,-5,50;set|segmentByMilestones|1;open|A|100|P;open|B|100|P;play|A|0;play|B|1
  = A OPEN offset=0 segmentNum=1 segment=M:0-1
  = B OPEN offset=1 segmentNum=3 segment=M:1-50
SegmentChangeCostsAHitThatReportsTheSegmentJustPlayed
  set|milestones|25,50;set|segmentByMilestones|1;open|M|100|P;play|M|0;tick|M|30;click|M|30
  click|M|35;click|M|40
  = M OPEN offset=0 segmentNum=1 segment=M:0-25
  = M MILESTONE offset=30 milestone=25 segmentNum=1 segment=M:0-25 timePlayed=30
  = M CLICK offset=30 segmentNum=2 segment=M:25-50 timePlayed=30 clicked=true
  = M CLICK offset=35 segmentNum=2 segment=M:25-50 timePlayed=35 clicked=true eventFirstTime=false
  = M CLICK offset=40 segmentNum=2 segment=M:25-50 timePlayed=40 clicked=true eventFirstTime=false
  keys .segmentNum .segment .segmentView
  | 1 M:0-25 - | 1 M:0-25 true | 2 M:25-50 - | 2 M:25-50 true | 2 M:25-50 -
OffsetSegmentsEndInTheRoundedLengthOrInEAndEntriesBelowOneArePassedOverButCounted
  set|offsetMilestones|1,-5,30,60;set|segmentByOffsetMilestones|1;open|L|0|P;open|M|120.6|P
  open|N|100|P;play|L|70;play|M|70;play|N|1
  = L OPEN offset=70 segmentNum=5 segment=O:60-E length=-1
  = M OPEN offset=70 segmentNum=5 segment=O:60-121
  = N OPEN offset=1 segmentNum=3 segment=O:1-30
CallersOwnSegmentTurnsGenerationOff
  set|milestones|25,50;set|segmentByMilestones|1;open|M|100|P;event|M|1|30|7|Intro
  = M OPEN offset=30 segmentNum=7 segment=Intro
TheEndClosesTheItemWhetherATickAStopOrAPlayReachesItOrACloseComesWithinTheThreshold
  open|A|100|P;open|B|100|P;open|C|10|P;play|A|0;tick|A|100;play|B|0;stop|B|150;start|C|12
  open|D|100|P;open|E|100|P;play|D|0;play|E|0;stop|D|99.5;stop|E|98;close|D;close|E
  open|F|1|P;play|F|0;tick|F|1;click|A|1;click|B|1;click|C|1;click|F|2
  = A OPEN offset=0
  = A CLOSE offset=100 timePlayed=100 complete=true
  = B OPEN offset=0
  = B CLOSE offset=100 timePlayed=100 complete=true
  = C CLOSE offset=10 complete=true
  = D OPEN offset=0
  = E OPEN offset=0
  = D STOP offset=99.5 timePlayed=99.5
  = E STOP offset=98 timePlayed=98
  = D CLOSE offset=99.5 timePlayed=99.5 complete=true
  = E CLOSE offset=98 timePlayed=98
  = F OPEN offset=0
  = F CLOSE offset=1 timePlayed=1 complete=true
UnknownLengthCompletesOnlyWhenToldAndStaysOpenAndOneShotKeysGoOutOnce
  open|M|-5|P;play|M|0;complete|M|40;click|M|41;complete|M|42
  = M OPEN offset=0 length=-1
  = M COMPLETE offset=40 timePlayed=40 length=-1 complete=true
  = M CLICK offset=41 timePlayed=41 length=-1 clicked=true
  = M COMPLETE offset=42 timePlayed=42 length=-1 complete=true eventFirstTime=false
  keys .length .complete .ad.clicked
  | - - - | - true - | - - true | - - -
AdHitsUseTheAdSettingsAndTheAdTwinOfEveryKey
  set|milestones|30,60;set|adMilestones|25,50;set|adOffsetMilestones|5,40
  set|adSegmentByOffsetMilestones|1;ad|A|20|P|M||1|;play|A|0;tick|A|6;click|A|7;complete|A|8
  = A OPEN offset=0 segmentNum=1 segment=O:0-5 ad=true
  = A OFFSET_MILESTONE offset=6 offsetMilestone=5 segmentNum=1 segment=O:0-5 timePlayed=6 ad=true
  = A CLICK offset=7 segmentNum=2 segment=O:5-40 timePlayed=7 clicked=true ad=true
  = A COMPLETE offset=8 segmentNum=2 segment=O:5-40 timePlayed=8 complete=true ad=true
  keys .ad.timePlayed .ad.segmentNum .ad.segment .ad.segmentView .ad.milestone
  keys .ad.offsetMilestone .ad.clicked .ad.complete
  | - 1 O:0-5 - - - - - | 6 1 O:0-5 true 25 5 - - | 1 2 O:5-40 true - - true -
  | 1 2 O:5-40 - - - - true
MilestoneSettingTakesEffectAtTheNextEventAndOneWithoutCommaIsNoList
  open|M|100|P;play|M|0;set|milestones|50;tick|M|1|60;set|milestones|25,70;tick|M|61|70
  set|milestones|;tick|M|71|90
  = M OPEN offset=0
  = M MILESTONE offset=61 milestone=25 timePlayed=61
  = M MILESTONE offset=70 milestone=70 timePlayed=70
BlankNamesAndNamesNotOpenReachNothing
  open|   |60|P|p1;ad||15|P|M||0|1.00;play||0;play|   |0;start|X|0;click|X|1;open|X|60|P;play|X|0
  = X OPEN offset=0
OpenClosesEveryItemOfItsPlayerOnly
  open|A|60|P|p1;open|B|60|P|p1;open|O|60|P|p2;play|A|0;play|B|0;play|O|0;set|delegate|0
  open|C|60|P|p1;set|delegate|1;click|A|1;click|B|1;click|O|1
  = A OPEN offset=0
  = B OPEN offset=0
  = O OPEN offset=0
  = O CLICK offset=1 timePlayed=1 clicked=true
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
  = S OPEN offset=0
  = S CLOSE offset=3 timePlayed=3 complete=true
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
