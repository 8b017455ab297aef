// Every thread an application may use, at once: eight application threads track states, actions
// and locations and change the shared settings; one thread plays two media items while their
// monitors tick (the short one reaches its end); the main thread emits awake() and asleep(); the
// worker delivers throughout. Every tracked hit must arrive, once. Under ThreadSanitizer (see
// test.sh) this is the race detector's workload. KEO_STRESS_SECONDS sets the length (default 3).
#include "KEOMediaAnalytics.h"
#include "KEOMediaItem.h"
#include "KEOMobile.h"
#include "LoopbackTest.h"

#include <bb/cascades/Application>
#include <desktop/DesktopPlatform.h>

#include <random>
#include <set>
#include <thread>

using namespace std::chrono;

namespace {

// One application thread's reports, in turn, and now and then a change of a shared setting (an
// opt-out stops no hit).
int trackUntil(int thread, steady_clock::time_point deadline) {
    std::mt19937 random(thread * 7919u + 1u);
    int seq = 0;
    for (; steady_clock::now() < deadline; ++seq) {
        const QHash<QString, QString> stamp{{"stress.thread", QString::number(thread)},
                                            {"stress.seq", QString::number(seq)},
                                            {"stress.note", "a&b=c d"}};
        if (seq % 3 == 0)
            KEOMobile::trackState(QString("Screen %1").arg(thread), stamp);
        else if (seq % 3 == 1)
            KEOMobile::trackAction(QString("Tap %1").arg(thread), stamp);
        else {
            bps_event_t *event = desktop::makeGeolocationEvent(45.5 + thread, -73.6, 10.0);
            KEOMobile::trackLocation(event, stamp);
            desktop::freeEvent(event);
        }
        const unsigned dice = random() % 16;
        if (dice == 0)
            KEOMobile::setUserIdentifier(QString("user-%1").arg(thread));
        else if (dice == 1)
            KEOMobile::setPrivacyStatus(random() % 2 ? KEOMobilePrivacyStatusOptIn
                                                     : KEOMobilePrivacyStatusOptOut);
        else if (dice == 2)
            (void)KEOMobile::getUserIdentifier(), (void)KEOMobile::getPrivacyStatus();
        else if (dice == 3)
            KEOMediaAnalytics::sharedInstance()->trackMilestones = random() % 2 ? "25,50" : "";
        std::this_thread::sleep_for(microseconds(500 + random() % 2000));
    }
    return seq;
}

// Two items in rounds, closed by this thread unless the short one's monitor closed it first.
void playMediaUntil(steady_clock::time_point deadline) {
    KEOMediaAnalytics *media = KEOMediaAnalytics::sharedInstance();
    media->trackSeconds = 1;
    std::mt19937 random(42);
    for (int round = 0; steady_clock::now() < deadline; ++round) {
        const QString movie = QString("Movie %1").arg(round % 2);
        media->open(movie, 100, "Player", "");
        media->open("Clip", 1.5, "Player", "");
        media->play(movie, 0);
        media->play("Clip", 0);
        std::this_thread::sleep_for(milliseconds(400 + random() % 1200));
        media->stop(movie, -1.0);
        media->track(movie, {{"stress.round", QString::number(round)}});
        media->play(movie, -1.0);
        std::this_thread::sleep_for(milliseconds(random() % 800));
        media->close("Clip");
        media->close(movie);
    }
}

using ThreadStress = LoopbackTest;

} // namespace

TEST_F(ThreadStress, EveryThreadAtOnceLosesNoHit) {
    configure(false, "\"lifecycleTimeout\": 1");
    int argc = 1;
    char name[] = "stress";
    char *argv[] = {name, nullptr};
    bb::cascades::Application app(argc, argv);
    KEOMobile::collectLifecycleData();
    const char *length = std::getenv("KEO_STRESS_SECONDS");
    const auto deadline = steady_clock::now() + seconds(length ? std::atoi(length) : 3);
    std::vector<int> tracked(8, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t)
        threads.emplace_back([t, deadline, &tracked] { tracked[t] = trackUntil(t, deadline); });
    threads.emplace_back([deadline] { playMediaUntil(deadline); });
    // Back within the session timeout (a resume) or after it (a new launch).
    std::mt19937 random(7);
    while (steady_clock::now() < deadline) {
        desktop::emitAwake();
        std::this_thread::sleep_for(milliseconds(100 + random() % 400));
        desktop::emitAsleep();
        std::this_thread::sleep_for(milliseconds(random() % 1400));
    }
    desktop::emitAwake();
    for (std::thread &thread : threads)
        thread.join();

    ASSERT_TRUE(waitForRows(0, seconds(120))) << dir.hitRows() << " rows left";
    std::vector<std::set<std::string>> seen(8);
    size_t stressHits = 0;
    for (const collector::Hit &hit : server.hits())
        if (ctx(hit, "stress.thread") != "<missing>") {
            seen[std::stoi(ctx(hit, "stress.thread"))].insert(ctx(hit, "stress.seq"));
            ++stressHits;
        }
    size_t expected = 0;
    for (int t = 0; t < 8; ++t) {
        EXPECT_EQ(seen[t].size(), static_cast<size_t>(tracked[t])) << "thread " << t;
        expected += tracked[t];
    }
    EXPECT_EQ(stressHits, expected) << "a hit arrived twice";
    std::printf("stress: %zu hits tracked, %zu received in all\n", expected, server.count());
    // A closed item's monitor notices within its next second.
    EXPECT_TRUE(waitFor([] { return KEOMediaItem::activeMonitorCount() == 0; }, seconds(3)));
}
