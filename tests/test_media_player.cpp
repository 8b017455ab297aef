// A real player playing real clips, followed by KEOMediaTracker with no other code, its hits read
// at the loopback collector: a QMediaPlayer here, QML's MediaPlayer and Video in the QML host.
// Each plays the same run (support/PlayerScript.h), and each run sends the same hits.
#include "LoopbackTest.h"
#include "PlayerScript.h"
#include "SelfProcess.h"

#include <optional>

#include <KEOMediaAnalytics.h>
#include <KEOMediaTracker.h>

#include <QMediaPlayer>

class MediaTracker : public LoopbackTest, public testing::WithParamInterface<std::string> {
protected:
    // The hits received so far, one line each, for a failure to show which one is missing.
    std::string received() const {
        std::string lines;
        for (const collector::Hit &hit : server.hits())
            lines += var(hit, "pe") + " " + ctx(hit, "a.media.name") + " view=" +
                     ctx(hit, "a.media.view") + " milestone=" + ctx(hit, "a.media.milestone") +
                     " complete=" + ctx(hit, "a.media.complete") + "\n";
        return lines;
    }
};

TEST_P(MediaTracker, ViewsMilestonesPausesSeeksEndsAndSourcesArriveAsPlayed) {
    configure(true);
    ASSERT_TRUE(player_script::makeClip("clip.ogv", 8) && player_script::makeClip("next.ogv", 8));
    std::optional<SelfProcess> host; // the QML players' host, which the test ends
    if (GetParam() == "QMediaPlayer") {
        int argc = 1;
        char name[] = "test", *argv[] = {name, nullptr};
        QCoreApplication app(argc, argv);
        KEOMediaAnalytics::sharedInstance()->trackMilestones = "25,50,75";
        KEOMediaAnalytics::sharedInstance()->segmentByMilestones = true;
        QMediaPlayer player;
        KEOMediaTracker tracker(&player);
        ASSERT_TRUE(player_script::run(&player, [&](const QUrl &url) {
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
            player.setSource(url);
#else
            player.setMedia(url);
#endif
        }));
    } else { // the same settings in QML, through the KEOMediaAnalytics singleton
        host.emplace(
            std::vector<std::string>{"QML2_IMPORT_PATH=" KEO_BUILD_QML_DIR,
                                     "QT_QPA_PLATFORM=offscreen", "QT_QUICK_BACKEND=software"},
            QStringList{KEO_QML_FILE, GetParam().c_str()}, QProcess::MergedChannels, KEO_QML_HOST);
        ASSERT_EQ(waitForHits(10, std::chrono::seconds(60)).size(), 10u)
            << host->output().toStdString() // says where the host's run got stuck
            << received();
    }
    const std::vector<collector::Hit> hits = waitForHits(10);
    ASSERT_EQ(hits.size(), 10u) << received();
    // The view, with the length that the player found in the clip; the milestones.
    expectPairs(hits[0], "pe=m_s; a.media.view=true; a.media.name=clip.ogv; a.media.length=8; "
                         "a.media.segment=M:0-25; a.media.milestone=<missing>");
    expectPairs(hits[1], "pe=m_i; a.media.milestone=25; a.media.segment=M:0-25");
    // Whole seconds since the last hit, the fraction carried: 4 and more had the pause counted.
    expectPairs(hits[2], "a.media.milestone=50; a.media.segment=M:25-50; a.media.timePlayed=1|2|3");
    // The seek from 4.4 s to 6.5 s: a milestone at the landing, no time played for the jump.
    expectPairs(hits[3], "a.media.milestone=75; a.media.segment=M:50-75; "
                         "a.media.timePlayed=<missing>|1");
    expectPairs(hits[4], "a.media.complete=true; a.media.segment=M:75-100; a.media.view=<missing>");
    expectPairs(hits[5],
                "pe=m_s; a.media.view=true; a.media.name=clip.ogv; a.media.complete=<missing>");
    // A new source closes the item, incomplete, before anything of the next one.
    expectPairs(hits[6], "pe=m_i; a.media.name=clip.ogv; a.media.complete=<missing>");
    expectPairs(hits[7], "pe=m_s; a.media.view=true; a.media.name=next.ogv; a.media.length=8");
    expectPairs(hits[8], "a.media.milestone=25; a.media.name=next.ogv; a.media.segment=M:0-25");
    expectPairs(hits[9],
                "a.media.name=next.ogv; a.media.segment=M:25-50; a.media.complete=<missing>");
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    EXPECT_EQ(server.count(), 10u);
}

INSTANTIATE_TEST_SUITE_P(Players, MediaTracker,
                         testing::Values("QMediaPlayer", "MediaPlayer", "Video"),
                         [](const auto &info) { return info.param; });
