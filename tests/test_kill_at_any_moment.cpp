// Kills at any moment. This binary re-executes itself as a child that tracks from several
// threads while its worker delivers, or writes the preferences, and the parent ends it with
// SIGKILL after a random delay, many times over in one working directory. The child reports each
// hit on a pipe as soon as trackState has returned: that hit is acknowledged and must reach the
// collector at least once, however the process ends. After all runs a fresh child delivers what
// is left.
//
// KEO_KILL_RUNS sets the number of runs (default 200), KEO_KILL_SEED the random seed (default
// from the clock; printed, so a failing campaign can be repeated).
#include "KEOMobile.h"
#include "LoopbackTest.h"
#include "SelfProcess.h"

#include <sqlite3.h>

#include <QJsonDocument>
#include <QJsonObject>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

using namespace std::chrono;
using namespace std::chrono_literals;

namespace {

constexpr int kTrackingThreads = 3;
constexpr int kHitsPerRun = 60;
constexpr int kPreferenceWritesPerRun = 40;
// Kill delays are counted from the child's "go", which it sends just before its first call.
constexpr int kMaxKillDelayMs = 80;

const char *kHitTable = "data/KEOAnalyticsCache.sqlite";
const char *kPreferences = "data/KEOPreferences.json";

// Child roles. None returns while the parent still wants it alive: it is killed in the middle.
[[noreturn]] void idleUntilKilled() {
    for (;;)
        pause();
}

[[noreturn]] void trackUntilKilled(long run) {
    SelfProcess::report("go");
    std::atomic<int> next{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kTrackingThreads; ++t)
        threads.emplace_back([&next, run] {
            for (int i = next++; i < kHitsPerRun; i = next++) {
                const std::string seq = std::to_string(run * 1000 + i);
                KEOMobile::trackState("Kill", {{"seq", QString::fromStdString(seq)}});
                SelfProcess::report(seq);
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    idleUntilKilled();
}

[[noreturn]] void writePreferencesUntilKilled(long run) {
    SelfProcess::report("go");
    // A hit beside the writes, since tracking reads and writes the same file.
    std::thread tracker([] { KEOMobile::trackState("Prefs", {}); });
    for (int i = 0; i < kPreferenceWritesPerRun; ++i) {
        KEOMobile::setUserIdentifier(QString("user-%1-%2").arg(run).arg(i));
        SelfProcess::report(std::to_string(i));
    }
    tracker.join();
    idleUntilKilled();
}

// Starts the queue of an earlier run with one hit and waits until the table is empty. Looks
// rarely: a reader's lock can make the worker's delete fail, and the row would go out twice.
// Ends like a killed application, without exit handlers, since its worker may still be running.
[[noreturn]] void deliverLeftovers() {
    KEOMobile::trackState("Flush", {});
    const auto deadline = steady_clock::now() + 120s;
    while (steady_clock::now() < deadline) {
        std::this_thread::sleep_for(200ms);
        if (hitRowsAt(kHitTable) == 0)
            _exit(0);
    }
    _exit(1);
}

int runChild(const std::string &role) {
    const long run = atol(getenv("KEO_KILL_RUN") ? getenv("KEO_KILL_RUN") : "0");
    if (role == "track")
        trackUntilKilled(run);
    if (role == "prefs")
        writePreferencesUntilKilled(run);
    if (role == "deliver")
        deliverLeftovers();
    return 2;
}

class KillAtAnyMoment : public LoopbackTest {
protected:
    void SetUp() override {
        const char *runs = getenv("KEO_KILL_RUNS");
        _runs = runs ? atoi(runs) : 200;
        const char *seed = getenv("KEO_KILL_SEED");
        _seed = seed ? static_cast<unsigned>(strtoul(seed, nullptr, 10))
                     : static_cast<unsigned>(system_clock::now().time_since_epoch().count());
        _random.seed(_seed);
        configure(true);
    }

    // Starts a child, waits for its "go", lets it work for a random time and kills it. Returns
    // the lines it acknowledged after "go".
    std::vector<std::string> runAndKill(const std::string &role, long run) {
        SelfProcess child({"KEO_KILL_CHILD=" + role, "KEO_KILL_RUN=" + std::to_string(run)});
        std::vector<std::string> lines;
        child.readUntil(steady_clock::now() + 30s, lines, 1);
        std::uniform_int_distribution<int> delay(0, kMaxKillDelayMs);
        child.readUntil(steady_clock::now() + milliseconds(delay(_random)), lines);
        child.killAndDrain(lines);
        if (lines.empty() || lines.front() != "go")
            ADD_FAILURE() << "run " << run << ": the child never started";
        else
            lines.erase(lines.begin());
        return lines;
    }

    // The table opens for writing (so a hot journal is rolled back) and checks out intact.
    bool hitTableIsIntact() {
        sqlite3 *db = nullptr;
        bool intact = false;
        if (!dir.exists(kHitTable))
            return true; // killed before the library made it
        if (sqlite3_open_v2(dir.file(kHitTable).toUtf8().constData(), &db, SQLITE_OPEN_READWRITE,
                            nullptr) == SQLITE_OK) {
            sqlite3_stmt *check = nullptr;
            if (sqlite3_prepare_v2(db, "PRAGMA integrity_check", -1, &check, nullptr) ==
                    SQLITE_OK &&
                sqlite3_step(check) == SQLITE_ROW)
                intact = std::string(
                             reinterpret_cast<const char *>(sqlite3_column_text(check, 0))) == "ok";
            sqlite3_finalize(check);
        }
        sqlite3_close(db);
        return intact;
    }

    int _runs = 200;
    unsigned _seed = 0;
    std::mt19937 _random;
};

} // namespace

TEST_F(KillAtAnyMoment, EveryAcknowledgedHitArrivesAtLeastOnce) {
    std::vector<std::string> acknowledged;
    int tornTables = 0;
    for (long run = 1; run <= _runs; ++run) {
        const std::vector<std::string> lines = runAndKill("track", run);
        acknowledged.insert(acknowledged.end(), lines.begin(), lines.end());
        if (!hitTableIsIntact())
            ++tornTables;
    }
    SelfProcess deliverer({"KEO_KILL_CHILD=deliver"});
    ASSERT_EQ(deliverer.wait(), 0) << "rows left: " << dir.hitRows();

    std::map<std::string, int> arrivals;
    for (const collector::Hit &hit : server.hits())
        if (std::optional<std::string> seq = hit.decoded.ctx("seq"))
            ++arrivals[*seq];
    size_t missing = 0, duplicates = 0;
    for (const std::string &seq : acknowledged)
        if (arrivals.count(seq) == 0)
            ++missing;
    for (const auto &entry : arrivals)
        duplicates += static_cast<size_t>(entry.second - 1);
    printf("kill campaign (tracking and delivery): seed %u, runs %d, acknowledged %zu, "
           "arrived %zu distinct, duplicates %zu, missing %zu, torn tables %d\n",
           _seed, _runs, acknowledged.size(), arrivals.size(), duplicates, missing, tornTables);
    EXPECT_EQ(tornTables, 0);
    EXPECT_EQ(missing, 0u);
    EXPECT_GT(acknowledged.size(), 0u);
}

TEST_F(KillAtAnyMoment, PreferencesFileHoldsTheLastWrittenOrTheNextValue) {
    QString stored; // what the file must hold if no write of the current run was acknowledged
    int unparsable = 0, wrongValue = 0;
    for (long run = 1; run <= _runs; ++run) {
        const std::vector<std::string> lines = runAndKill("prefs", run);
        const QString next = QString("user-%1-%2").arg(run).arg(lines.size());
        const QString last =
            lines.empty() ? stored : QString("user-%1-%2").arg(run).arg(lines.size() - 1);
        if (!dir.exists(kPreferences)) {
            // Only a child killed before its first write leaves no file.
            if (!lines.empty() || !stored.isEmpty())
                ++unparsable;
            continue;
        }
        QJsonParseError error;
        const QJsonDocument document = QJsonDocument::fromJson(dir.read(kPreferences), &error);
        if (error.error != QJsonParseError::NoError || !document.isObject()) {
            ++unparsable;
            continue;
        }
        const QString held = document.object().value("MCCVID").toString();
        if (held != last && held != next)
            ++wrongValue;
        stored = held;
    }
    printf("kill campaign (preference writes): seed %u, runs %d, unparsable %d, "
           "neither last nor next value %d\n",
           _seed, _runs, unparsable, wrongValue);
    EXPECT_EQ(unparsable, 0);
    EXPECT_EQ(wrongValue, 0);
}

int main(int argc, char **argv) {
    if (const char *role = getenv("KEO_KILL_CHILD"))
        return runChild(role);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
