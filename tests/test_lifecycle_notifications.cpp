// KEOMobile::collectLifecycleData() and the notification handler: one handler however often
// and from however many threads it is asked for, one KEOLifecycle::start() per awake(), and no
// lifecycle at all without it. These run in the test's own process, by the real clock, and
// each needs a process of its own (ctest runs them so), since the library's singletons and
// working directory last for the process. The "Launches" preference counts the starts that
// became launches.
#include "LifecycleLab.h"

#include "KEOMobile.h"

#include <bb/cascades/Application>
#include <desktop/DesktopPlatform.h>

#include <QMetaObject>
#include <QMutex>
#include <QMutexLocker>
#include <QStringList>
#include <QThread>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace {

QMutex messagesMutex;
QStringList messages;

void recordMessage(QtMsgType, const QMessageLogContext &, const QString &message) {
    QMutexLocker locker(&messagesMutex);
    messages.append(message);
}

int messagesContaining(const QString &text) {
    QMutexLocker locker(&messagesMutex);
    int count = 0;
    for (const QString &message : messages)
        count += message.contains(text) ? 1 : 0;
    return count;
}

// The handler's line on Qt's debug stream, exactly as written.
int handlerLines() {
    QMutexLocker locker(&messagesMutex);
    return messages.count("initializing notification handler");
}

// The application object of a platform process; must outlive every use of the library here.
struct App {
    int argc = 1;
    char name[16] = "lifecycle-test";
    char *argv[2] = {name, nullptr};
    bb::cascades::Application app{argc, argv};
};

// Sends a screen hit and waits until it and everything before it have arrived, so that the
// hits of the collector are then complete. Returns the lifecycle hits among them.
std::vector<collector::DecodedHit> lifecycleHitsAfterMarker(LifecycleLab &lab) {
    // Delivery is first in, first out: once the marker is in, every earlier hit is too.
    KEOMobile::trackState("Marker", QHash<QString, QString>());
    const auto markerArrived = [&lab] {
        for (const collector::Hit &hit : lab.collector().hits())
            if (hit.decoded.var("pageName") == std::optional<std::string>("Marker"))
                return true;
        return false;
    };
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!markerArrived() && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_TRUE(markerArrived());
    std::vector<collector::DecodedHit> launches;
    for (const collector::Hit &hit : lab.collector().hits())
        if (hit.decoded.var("pev2") == std::optional<std::string>("KEOINTERNAL:Lifecycle"))
            launches.push_back(hit.decoded);
    return launches;
}

class LifecycleNotifications : public testing::Test {
protected:
    void SetUp() override { qInstallMessageHandler(recordMessage); }
    void TearDown() override { qInstallMessageHandler(nullptr); }
};

} // namespace

TEST_F(LifecycleNotifications, CollectingSeveralTimesMakesOneHandlerAndOneStartPerAwake) {
    LifecycleLab lab;
    App app;
    KEOMobile::collectLifecycleData();
    KEOMobile::collectLifecycleData();
    KEOMobile::collectLifecycleData();
    EXPECT_EQ(handlerLines(), 1);

    ASSERT_TRUE(desktop::emitAwake());
    EXPECT_EQ(pref(lab.prefs(), "Launches"), "1");
    EXPECT_EQ(lifecycleHitsAfterMarker(lab).size(), 1u);
}

TEST_F(LifecycleNotifications, AwakeTwiceWithoutAsleepLaunchesTwice) {
    LifecycleLab lab;
    App app;
    KEOMobile::collectLifecycleData();
    ASSERT_TRUE(desktop::emitAwake());
    ASSERT_TRUE(desktop::emitAwake());
    const std::vector<collector::DecodedHit> launches = lifecycleHitsAfterMarker(lab);
    ASSERT_EQ(launches.size(), 2u);
    EXPECT_EQ(ctx(launches[1], "a.CrashEvent"), "CrashEvent");
}

TEST_F(LifecycleNotifications, AsleepStopsAndAwakeWithinTimeoutResumes) {
    LifecycleLab lab;
    App app;
    KEOMobile::collectLifecycleData();
    ASSERT_TRUE(desktop::emitAwake());
    ASSERT_TRUE(desktop::emitAsleep());
    EXPECT_EQ(pref(lab.prefs(), "SuccessfulClose"), "1");
    EXPECT_NE(pref(lab.prefs(), "PauseTime"), "0");
    ASSERT_TRUE(desktop::emitAwake());
    EXPECT_EQ(pref(lab.prefs(), "Launches"), "1");
    EXPECT_EQ(lifecycleHitsAfterMarker(lab).size(), 1u);
}

TEST_F(LifecycleNotifications, CollectAloneSendsNothing) {
    LifecycleLab lab;
    App app;
    KEOMobile::collectLifecycleData();
    EXPECT_TRUE(lifecycleHitsAfterMarker(lab).empty());
    EXPECT_EQ(pref(lab.prefs(), "Launches"), "-");
}

TEST_F(LifecycleNotifications, WithoutCollectStateChangesMeasureNothing) {
    LifecycleLab lab;
    App app;
    ASSERT_TRUE(desktop::emitAwake());
    ASSERT_TRUE(desktop::emitAsleep());
    ASSERT_TRUE(desktop::emitAwake());
    EXPECT_TRUE(lifecycleHitsAfterMarker(lab).empty());
    const QVariantMap prefs = lab.prefs();
    EXPECT_EQ(session(prefs), "start=- pause=- closed=-");
    EXPECT_EQ(pref(prefs, "Launches"), "-");
}

TEST_F(LifecycleNotifications, CollectBeforeApplicationObjectStaysUnconnected) {
    LifecycleLab lab;
    KEOMobile::collectLifecycleData();
    EXPECT_EQ(handlerLines(), 1);
    EXPECT_GE(messagesContaining("QObject::connect"), 1);

    App app;
    KEOMobile::collectLifecycleData();
    ASSERT_TRUE(desktop::emitAwake());
    EXPECT_EQ(handlerLines(), 1);
    EXPECT_TRUE(lifecycleHitsAfterMarker(lab).empty());
}

TEST_F(LifecycleNotifications, TwoThreadsCollectingAtOnceMakeOneHandler) {
    LifecycleLab lab;
    App app;
    // Two threads with event loops, so that whichever makes the handler runs its slots.
    QThread threads[2];
    QObject contexts[2];
    std::atomic<int> ready{0};
    std::atomic<int> done{0};
    for (int i = 0; i < 2; ++i) {
        contexts[i].moveToThread(&threads[i]);
        threads[i].start();
        QMetaObject::invokeMethod(&contexts[i], [&ready, &done] {
            ++ready;
            while (ready.load() < 2) {
            }
            KEOMobile::collectLifecycleData();
            ++done;
        });
    }
    while (done.load() < 2)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_EQ(handlerLines(), 1);

    ASSERT_TRUE(desktop::emitAwake());
    // The slot is queued to the handler's thread: once both threads have run everything
    // queued before this, every start the signal caused has run.
    for (QObject &context : contexts)
        QMetaObject::invokeMethod(
            &context, [] {}, Qt::BlockingQueuedConnection);
    EXPECT_EQ(pref(lab.prefs(), "Launches"), "1");
    EXPECT_EQ(lifecycleHitsAfterMarker(lab).size(), 1u);

    for (QThread &thread : threads) {
        thread.quit();
        thread.wait();
    }
}
