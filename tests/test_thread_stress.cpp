// Every thread an application may use, at once, for a bounded time: eight application threads
// track states, actions and locations and change the shared settings; one thread opens, plays,
// stops and closes two media items while their monitor threads tick (one item short enough that
// its monitor closes it at the end); the main thread emits awake() and asleep(); the worker
// delivers throughout. Every tracked hit must arrive.
//
// In the ThreadSanitizer build (build-tsan, see test.sh) this test is the race detector's
// workload, and any report fails it. KEO_STRESS_SECONDS sets the length (default 3).
#include "KEOMediaAnalytics.h"
#include "KEOMediaItem.h"
#include "KEOMobile.h"
#include "LoopbackTest.h"

#include <bb/cascades/Application>
#include <desktop/DesktopPlatform.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <set>
#include <thread>
#include <vector>

using namespace std::chrono;
using namespace std::chrono_literals;

namespace {

constexpr int kTrackingThreads = 8;

seconds stressLength() {
    const char *text = std::getenv("KEO_STRESS_SECONDS");
    const int value = text != nullptr ? std::atoi(text) : 0;
    return seconds(value > 0 ? value : 3);
}

QHash<QString, QString> stamp(int thread, int seq) {
    return {{"stress.thread", QString::number(thread)},
            {"stress.seq", QString::number(seq)},
            {"stress.note", "a&b=c d"}};
}

// One application thread: a state, an action or a location in turn, with a short random pause,
// and now and then a change of the settings that every hit reads. Returns how many it tracked.
int trackUntil(int thread, steady_clock::time_point deadline) {
    std::mt19937 random(static_cast<unsigned>(thread) * 7919u + 1u);
    int seq = 0;
    while (steady_clock::now() < deadline) {
        switch (seq % 3) {
        case 0:
            KEOMobile::trackState(QString("Screen %1").arg(thread), stamp(thread, seq));
            break;
        case 1:
            KEOMobile::trackAction(QString("Tap %1").arg(thread), stamp(thread, seq));
            break;
        default: {
            bps_event_t *event = desktop::makeGeolocationEvent(45.5 + thread, -73.6, 10.0);
            KEOMobile::trackLocation(event, stamp(thread, seq));
            desktop::freeEvent(event);
        }
        }
        ++seq;
        switch (random() % 16) {
        case 0:
            KEOMobile::setUserIdentifier(QString("user-%1").arg(thread));
            break;
        case 1:
            KEOMobile::setPrivacyStatus(random() % 2 ? KEOMobilePrivacyStatusOptIn
                                                     : KEOMobilePrivacyStatusUnknown);
            break;
        case 2:
            (void)KEOMobile::getUserIdentifier();
            (void)KEOMobile::getPrivacyStatus();
            (void)KEOMobile::getDebugLogging();
            break;
        case 3:
            KEOMediaAnalytics::sharedInstance()->trackMilestones =
                QString(random() % 2 ? "25,50,75" : "");
            break;
        }
        std::this_thread::sleep_for(microseconds(500 + random() % 2000));
    }
    return seq;
}

// Two items in rounds: played, stopped, played again, and closed by this thread, except that
// the short one may reach its end first and be closed by its own monitor.
void playMediaUntil(steady_clock::time_point deadline) {
    KEOMediaAnalytics *media = KEOMediaAnalytics::sharedInstance();
    media->trackSeconds = 1;
    std::mt19937 random(42);
    int round = 0;
    while (steady_clock::now() < deadline) {
        const QString movie = QString("Movie %1").arg(round % 2);
        media->open(movie, 100, "Player", "");
        media->open("Clip", 1.5, "Player", "");
        media->play(movie, 0);
        media->play("Clip", 0);
        std::this_thread::sleep_for(milliseconds(400 + random() % 1200));
        media->stop(movie, -1.0);
        media->track(movie, QHash<QString, QString>{{"stress.round", QString::number(round)}});
        media->play(movie, -1.0);
        std::this_thread::sleep_for(milliseconds(random() % 800));
        media->close("Clip");
        media->close(movie);
        ++round;
    }
}

class ThreadStress : public LoopbackTest {};

TEST_F(ThreadStress, EveryThreadAtOnceLosesNoHit) {
    configure(false, "\"lifecycleTimeout\": 1");
    int argc = 1;
    char name[] = "stress";
    char *argv[] = {name, nullptr};
    bb::cascades::Application app(argc, argv);
    KEOMobile::collectLifecycleData();

    const auto deadline = steady_clock::now() + stressLength();
    std::vector<int> tracked(kTrackingThreads, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < kTrackingThreads; ++t)
        threads.emplace_back([t, deadline, &tracked] { tracked[t] = trackUntil(t, deadline); });
    threads.emplace_back([deadline] { playMediaUntil(deadline); });

    // The application comes and goes on its own thread: sometimes back within the session
    // time-out (a resume), sometimes after it (a new launch).
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

    int expected = 0;
    for (int count : tracked)
        expected += count;
    ASSERT_GT(expected, 0);
    // The library's own hits (media, lifecycle) come on top of the tracked ones.
    ASSERT_TRUE(waitForEmptyQueue(120s)) << dir.hitRows() << " rows left";
    std::vector<std::set<int>> seen(kTrackingThreads);
    const std::vector<collector::Hit> hits = server.hits();
    int launches = 0, duplicates = 0;
    for (const collector::Hit &hit : hits) {
        if (var(hit, "pev2") == "KEOINTERNAL:Lifecycle")
            ++launches;
        const std::string thread = ctx(hit, "stress.thread");
        if (thread != "<missing>" &&
            !seen[std::stoi(thread)].insert(std::stoi(ctx(hit, "stress.seq"))).second)
            ++duplicates;
    }
    EXPECT_EQ(duplicates, 0);
    for (int t = 0; t < kTrackingThreads; ++t)
        EXPECT_EQ(static_cast<int>(seen[t].size()), tracked[t]) << "thread " << t;
    std::printf("stress: %lld s, %d hits tracked by %d threads, %zu hits received, %d launches\n",
                static_cast<long long>(stressLength().count()), expected, kTrackingThreads,
                hits.size(), launches);
    // A closed item's monitor notices within its next second.
    const auto monitorsEnd = steady_clock::now() + 3s;
    while (KEOMediaItem::activeMonitorCount() > 0 && steady_clock::now() < monitorsEnd)
        std::this_thread::sleep_for(20ms);
    EXPECT_EQ(KEOMediaItem::activeMonitorCount(), 0);
}

} // namespace
