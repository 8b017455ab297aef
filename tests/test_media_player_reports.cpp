// KEOMediaTracker fed by a player of its own that tells its position as a busy machine's player
// does: late, several changes in one go, not at all for a while, an old position again, and after
// the state it belongs to. The reports the library received must be those of what the player did.
#include "LoopbackTest.h"
#include "MediaScript.h"

#include <KEOMediaTracker.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QRegularExpression>
#include <QUrl>

#include <thread>

// The properties and signals the tracker reads, set without a word and told when the test says.
class ReportingPlayer : public QObject {
    Q_OBJECT
    Q_PROPERTY(int playbackState MEMBER state NOTIFY playbackStateChanged)
    Q_PROPERTY(qint64 position MEMBER position NOTIFY positionChanged)
    Q_PROPERTY(qint64 duration MEMBER duration NOTIFY durationChanged)
    Q_PROPERTY(Status mediaStatus MEMBER status NOTIFY mediaStatusChanged)
    Q_PROPERTY(QUrl source MEMBER source NOTIFY sourceChanged)

public:
    // Those the tests tell, which the tracker reads by their names.
    enum Status { NoMedia, LoadingMedia, LoadedMedia, BufferedMedia, EndOfMedia };
    Q_ENUM(Status)
    enum { Stopped, Playing, Paused };

    int state = Stopped;
    qint64 position = 0, duration = 0;
    Status status = NoMedia;
    QUrl source;

Q_SIGNALS:
    void playbackStateChanged();
    void positionChanged();
    void durationChanged();
    void mediaStatusChanged();
    void sourceChanged();
};

class MediaPlayerReports : public LoopbackTest {
protected:
    void SetUp() override {
        configure(false);
        media_script::run("set|delegate|1");
        player.source = QUrl::fromLocalFile("/clips/clip.ogv");
        player.status = ReportingPlayer::LoadingMedia;
        emit player.sourceChanged(), emit player.mediaStatusChanged();
        handled();
        player.duration = 60000, player.status = ReportingPlayer::LoadedMedia;
        emit player.durationChanged(), emit player.mediaStatusChanged();
        handled();
    }
    // Every hit delivered before the collector goes.
    void TearDown() override {
        tracker.setPlayer(nullptr);
        EXPECT_TRUE(dir.hitRows() < 0 || waitForRows(0));
    }
    // The tracker looks at the player once the event loop runs, as late as it likes.
    static void handled() { QCoreApplication::processEvents(); }
    void play(qint64 at) {
        player.state = ReportingPlayer::Playing, player.status = ReportingPlayer::BufferedMedia;
        player.position = at;
        emit player.playbackStateChanged(), emit player.mediaStatusChanged();
        emit player.positionChanged();
        handled();
    }
    void reportPosition(qint64 at) {
        player.position = at;
        emit player.positionChanged();
    }
    // What the library was told, without its own monitor's ticks: "EVENT offset=N, ...".
    static std::string told() {
        std::lock_guard<std::mutex> guard(media_script::seenMutex);
        QStringList events;
        for (const QString &seen : media_script::seen)
            if (seen.section(' ', 1, 1) != "MONITOR")
                events << seen.section(' ', 1, 2);
        return events.join(", ").toStdString();
    }

    int argc = 1;
    char name[5] = "test", *argv[2] = {name, nullptr};
    QCoreApplication app{argc, argv};
    ReportingPlayer player;
    KEOMediaTracker tracker{&player};
};

TEST_F(MediaPlayerReports, PositionsToldLateBunchedOrStaleThatCatchUpWithPlayingAreNoSeek) {
    play(0);
    reportPosition(200), reportPosition(400), reportPosition(600); // bunched
    handled();
    // Nothing told for a while, short of the stall time, then the old position again with a status.
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    emit player.mediaStatusChanged();
    handled();
    reportPosition(2300); // 1.7 s on from 0.6 s, after more than 1.5 s of playing
    handled();
    player.state = ReportingPlayer::Paused, player.position = 2400;
    emit player.playbackStateChanged(); // its position told after it
    handled();
    emit player.positionChanged();
    handled();
    EXPECT_EQ(told(), "OPEN offset=0, STOP offset=2.4");
}

TEST_F(MediaPlayerReports, JumpBeyondWhatPlayingExplainsIsASeekEvenWhenToldLate) {
    play(0);
    reportPosition(300);
    handled();
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    reportPosition(400), reportPosition(50000), reportPosition(50100); // the seek, bunched
    handled();
    const std::string seek = told();
    EXPECT_EQ(QString::fromStdString(seek)
                  .replace(QRegularExpression("STOP offset=[0-9.]+"), "STOP")
                  .toStdString(),
              "OPEN offset=0, STOP, PLAY offset=50.1");
}

TEST_F(MediaPlayerReports, PlayAfterTheEndStartsWhereThePlayerWentBackToNotWhereItEnded) {
    play(0);
    player.state = ReportingPlayer::Stopped, player.status = ReportingPlayer::EndOfMedia;
    player.position = 60000;
    emit player.positionChanged(), emit player.playbackStateChanged();
    emit player.mediaStatusChanged();
    handled();
    // Played again: the state and status come first, the position still where the item ended.
    player.state = ReportingPlayer::Playing, player.status = ReportingPlayer::BufferedMedia;
    emit player.playbackStateChanged(), emit player.mediaStatusChanged();
    handled();
    handled();
    reportPosition(0);
    handled();
    EXPECT_EQ(told(), "OPEN offset=0, CLOSE offset=60, OPEN offset=0");
}

TEST_F(MediaPlayerReports, EndToldFarShortOfTheLengthIsAStopWhereTheItemGotNoComplete) {
    play(0);
    reportPosition(1000);
    handled();
    player.state = ReportingPlayer::Stopped, player.status = ReportingPlayer::EndOfMedia;
    player.position = 0; // an end at the start, as a stalled player may tell it
    emit player.playbackStateChanged(), emit player.mediaStatusChanged();
    handled();
    const QRegularExpression endedAtOne(
        "^OPEN offset=0, STOP offset=(1[.0-9]*), CLOSE offset=\\1$");
    EXPECT_TRUE(endedAtOne.match(QString::fromStdString(told())).hasMatch()) << told();
    expectPairs(waitForHits(2)[1], "pe=m_i; a.media.complete=<missing>");
}

TEST_F(MediaPlayerReports, PlayingWithItsPositionStillIsAStopThereUntilThePositionMoves) {
    media_script::run("delegate|PLAY|track"); // a hit at the play again: the seconds until then
    QElapsedTimer clock;
    clock.start();
    play(0); // and stuck at its start, as Qt 6.4's GStreamer players can be, told again and again
    qint64 stoppedAt = -1;
    while (clock.elapsed() < 4000) {
        reportPosition(0);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        handled();
        if (stoppedAt < 0 && told() != "OPEN offset=0")
            stoppedAt = clock.elapsed();
    }
    EXPECT_GE(stoppedAt, 2000); // not before the stall time
    reportPosition(100);        // it moves: it plays from there
    handled();
    player.state = ReportingPlayer::Paused, player.position = 1100;
    emit player.playbackStateChanged(), emit player.positionChanged();
    handled();
    tracker.setPlayer(nullptr);
    EXPECT_EQ(told(), "OPEN offset=0, STOP offset=0, PLAY offset=0.1, STOP offset=1.1, "
                      "CLOSE offset=1.1");
    // Of the 4 s stuck, only what the monitor counted before the stop, on its whole-second
    // clock; after it, the 1 s played and nothing more.
    const std::vector<collector::Hit> hits = waitForHits(3);
    expectPairs(hits[1], "a.media.timePlayed=<missing>|1|2|3");
    expectPairs(hits[2], "pe=m_i; a.media.timePlayed=1");
}

#include "test_media_player_reports.moc"
