#pragma once
// A media test: its own working directory, a loopback collector that the configuration points
// at, and a recording delegate. Header only, shared by the tests of media measurement.
#include "Collector.h"
#include "KEOMediaAnalytics.h"
#include "KEOMobile.h"
#include "WorkDir.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace media_test {

// Every snapshot the delegate received, in order. The delegate owns them, so the recorder does.
inline std::mutex recordedMutex;
inline std::vector<std::unique_ptr<KEOMediaState>> recorded;

inline void recordState(KEOMediaState *state) {
    std::lock_guard<std::mutex> guard(recordedMutex);
    recorded.emplace_back(state);
}

} // namespace media_test

class MediaFixture : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(server.start());
        dir.writeConfig(QString::fromStdString(server.baseServer()), false);
        m = KEOMediaAnalytics::sharedInstance();
        m->mediaMeasurementDelegate = media_test::recordState;
    }

    // Leaves no monitor thread running into the process's exit.
    void TearDown() override {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(3);
        while (KEOMediaItem::activeMonitorCount() > 0 &&
               std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        EXPECT_EQ(KEOMediaItem::activeMonitorCount(), 0) << "a test left a monitor running";
    }

    // One run of the engine at an explicit position, without the monitor that play() starts.
    void event(const QString &name, KEOMediaEventType type, double offset) {
        m->playerEvent(name, type, QHash<QString, QString>(), offset, 0, QString());
    }
    // The usual start of a test: a content item opened and played from its beginning.
    void openAndPlay(const QString &name, double length) {
        m->open(name, length, "Player", "");
        event(name, KEOMediaEventTypePlay, 0);
    }
    // Monitor ticks at each whole second from `from` to `to`, both included.
    void ticks(const QString &name, int from, int to) {
        for (int second = from; second <= to; second++)
            event(name, KEOMediaEventTypeMonitor, second);
    }

    // Snapshots received so far (copies of the fields that tests read).
    std::vector<std::string> eventNames() {
        std::lock_guard<std::mutex> guard(media_test::recordedMutex);
        std::vector<std::string> names;
        for (const auto &state : media_test::recorded)
            names.push_back(state->mediaEvent.toStdString());
        return names;
    }
    size_t stateCount() {
        std::lock_guard<std::mutex> guard(media_test::recordedMutex);
        return media_test::recorded.size();
    }
    // The snapshot at index (negative: from the end). Valid until the test ends.
    KEOMediaState *state(int index) {
        std::lock_guard<std::mutex> guard(media_test::recordedMutex);
        const int size = static_cast<int>(media_test::recorded.size());
        const int at = index < 0 ? size + index : index;
        if (at < 0 || at >= size)
            return nullptr;
        return media_test::recorded[at].get();
    }

    // Every media hit stored so far, as the collector decoded it. A sentinel action goes out
    // last, and the worker delivers oldest first, so all earlier hits have arrived with it.
    std::vector<collector::Hit> mediaHits() {
        const std::string sentinel = "media-test-end-" + std::to_string(++_sentinels);
        KEOMobile::trackAction(QString::fromStdString(sentinel), QHash<QString, QString>());
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (std::chrono::steady_clock::now() < deadline) {
            std::vector<collector::Hit> hits = server.hits();
            std::vector<collector::Hit> media;
            for (const collector::Hit &hit : hits) {
                if (hit.decoded.var("pev2").value_or("") == "KEOACTION:" + sentinel)
                    return media;
                if (hit.decoded.ctx("a.internal").value_or("") == "VideoTracking")
                    media.push_back(hit);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        ADD_FAILURE() << "the sentinel hit never arrived";
        return {};
    }

    WorkDir dir; // first: the library reads the working directory at first use
    collector::Collector server;
    KEOMediaAnalytics *m = nullptr;

private:
    int _sentinels = 0;
};

// A decoded value or "<missing>", so that expectations read as literals.
inline std::string mvar(const collector::Hit &hit, const std::string &key) {
    return hit.decoded.var(key).value_or("<missing>");
}
inline std::string mctx(const collector::Hit &hit, const std::string &dottedPath) {
    return hit.decoded.ctx(dottedPath).value_or("<missing>");
}
