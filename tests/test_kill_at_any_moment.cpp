// Kills at any moment. A copy of this program tracks from three threads while its worker
// delivers, or writes the preferences, and is ended with SIGKILL after a random delay, many times
// over in one working directory, beside a second copy that tracks and delivers all along. Each
// copy reports each hit as soon as trackState has returned: that hit is acknowledged and must
// reach the collector at least once, however the process ends, and only a hit in flight at a kill
// may arrive twice. After all runs a fresh copy delivers what is left. KEO_KILL_RUNS sets the
// number of runs (default 200), KEO_KILL_SEED the random seed (default from the clock; printed, to
// repeat a campaign).
#include "KEOMobile.h"
#include "LoopbackTest.h"
#include "SelfProcess.h"

#include <sqlite3.h>

#include <QJsonDocument>
#include <QJsonObject>

#include <atomic>
#include <map>
#include <random>
#include <thread>

#include <unistd.h>

using namespace std::chrono;

namespace {

const char *kHitTable = "data/KEOAnalyticsCache.sqlite";
const char *kPreferences = "data/KEOPreferences.json";

// The copy's roles. None returns: it is killed in the middle, or ends like a killed process.
[[noreturn]] void runChild(const std::string &role, long run) {
    SelfProcess::report("go");
    if (role == "track") {
        std::atomic<int> next{0};
        std::vector<std::thread> threads;
        for (int t = 0; t < 3; ++t)
            threads.emplace_back([&next, run] {
                for (int i = next++; i < 60; i = next++) {
                    const std::string seq = std::to_string(run * 1000 + i);
                    KEOMobile::trackState("Kill", {{"seq", QString::fromStdString(seq)}});
                    SelfProcess::report(seq);
                }
            });
        for (std::thread &thread : threads)
            thread.join();
    } else if (role == "steady") { // the process that lives through every kill
        for (long i = 0;; ++i) {
            KEOMobile::trackState("Steady", {{"seq", QString("s%1").arg(i)}});
            SelfProcess::report("s" + std::to_string(i));
            usleep(2000);
        }
    } else if (role == "prefs") {
        std::thread tracker([] { KEOMobile::trackState("Prefs", {}); }); // same file
        for (int i = 0; i < 40; ++i) {
            KEOMobile::setUserIdentifier(QString("user-%1-%2").arg(run).arg(i));
            SelfProcess::report(std::to_string(i));
        }
        tracker.join();
    } else { // deliver what earlier runs left; look rarely, a reader can fail a delete
        KEOMobile::trackState("Flush", {});
        const bool delivered =
            waitFor([] { return hitRowsAt(kHitTable) == 0; }, seconds(120), milliseconds(200));
        _exit(delivered ? 0 : 1);
    }
    for (;;)
        pause();
}

class KillAtAnyMoment : public LoopbackTest {
protected:
    void SetUp() override {
        const char *runs = getenv("KEO_KILL_RUNS"), *seed = getenv("KEO_KILL_SEED");
        _runs = runs ? atoi(runs) : 200;
        _seed = seed ? strtoul(seed, nullptr, 10) : system_clock::now().time_since_epoch().count();
        _random.seed(_seed);
        configure(true);
    }

    // Starts a copy, waits for its "go", lets it work for 0-80 ms and kills it. Returns the lines
    // it acknowledged after "go".
    std::vector<std::string> runAndKill(const std::string &role, long run) {
        SelfProcess child({"KEO_KILL_CHILD=" + role, "KEO_KILL_RUN=" + std::to_string(run)});
        std::vector<std::string> lines;
        child.readUntil(steady_clock::now() + seconds(30), lines, 1);
        child.wait(static_cast<int>(_random() % 81)); // then SIGKILL
        child.readUntil(steady_clock::now(), lines);  // all it reported before it died
        EXPECT_TRUE(!lines.empty() && lines.front() == "go") << "run " << run << " never started";
        return std::vector<std::string>(lines.begin() + std::min<size_t>(1, lines.size()),
                                        lines.end());
    }

    // The table opens for writing (so a hot journal is rolled back) and checks out intact.
    bool hitTableIsIntact() {
        sqlite3 *db = nullptr;
        sqlite3_stmt *check = nullptr;
        const bool intact =
            !dir.exists(kHitTable) || // killed before the library made it
            (sqlite3_open_v2(kHitTable, &db, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK &&
             sqlite3_prepare_v2(db, "PRAGMA integrity_check", -1, &check, nullptr) == SQLITE_OK &&
             sqlite3_step(check) == SQLITE_ROW &&
             std::string(reinterpret_cast<const char *>(sqlite3_column_text(check, 0))) == "ok");
        sqlite3_finalize(check);
        sqlite3_close(db);
        return intact;
    }

    int _runs = 200;
    unsigned long _seed = 0;
    std::mt19937 _random;
};

} // namespace

TEST_F(KillAtAnyMoment, EveryAcknowledgedHitArrivesAtLeastOnce) {
    std::vector<std::string> acknowledged;
    int tornTables = 0;
    SelfProcess steady({"KEO_KILL_CHILD=steady"});
    std::vector<std::string> go;
    steady.readUntil(steady_clock::now() + seconds(30), go, 1);
    for (long run = 1; run <= _runs; ++run) {
        const std::vector<std::string> lines = runAndKill("track", run);
        acknowledged.insert(acknowledged.end(), lines.begin(), lines.end());
        tornTables += hitTableIsIntact() ? 0 : 1;
        steady.readUntil(steady_clock::now() + milliseconds(5), acknowledged);
    }
    steady.wait(0); // killed too
    steady.readUntil(steady_clock::now(), acknowledged);
    SelfProcess deliverer({"KEO_KILL_CHILD=deliver"});
    ASSERT_EQ(deliverer.wait(), 0) << "rows left: " << dir.hitRows();
    std::map<std::string, int> arrivals;
    for (const collector::Hit &hit : server.hits())
        ++arrivals[ctx(hit, "seq")];
    size_t missing = 0, steadyHits = 0;
    for (const std::string &seq : acknowledged) {
        missing += arrivals.count(seq) == 0 ? 1 : 0;
        steadyHits += seq[0] == 's' ? 1 : 0;
    }
    int duplicates = 0;
    for (const auto &[seq, times] : arrivals)
        duplicates += times - 1;
    printf("kill campaign (tracking and delivery, 2 processes): seed %lu, runs %d, acknowledged "
           "%zu (%zu by the steady process), received %zu, missing %zu, duplicates %d, torn "
           "tables %d\n",
           _seed, _runs, acknowledged.size(), steadyHits, server.count(), missing, duplicates,
           tornTables);
    EXPECT_EQ(tornTables, 0);
    EXPECT_EQ(missing, 0u);
    EXPECT_GT(steadyHits, 0u);
    EXPECT_LE(duplicates, _runs + 1); // at most the one in flight at each kill
}

TEST_F(KillAtAnyMoment, PreferencesFileHoldsTheLastWrittenOrTheNextValue) {
    QString stored; // what the file must hold if no write of the current run was acknowledged
    int unparsable = 0, wrongValue = 0;
    for (long run = 1; run <= _runs; ++run) {
        const std::vector<std::string> lines = runAndKill("prefs", run);
        const QString next = QString("user-%1-%2").arg(run).arg(lines.size());
        const QString last =
            lines.empty() ? stored : QString("user-%1-%2").arg(run).arg(lines.size() - 1);
        QJsonParseError error;
        const QJsonDocument document = QJsonDocument::fromJson(dir.read(kPreferences), &error);
        if (!dir.exists(kPreferences)) { // only a copy killed before its first write leaves none
            unparsable += lines.empty() && stored.isEmpty() ? 0 : 1;
            continue;
        }
        if (error.error != QJsonParseError::NoError || !document.isObject()) {
            ++unparsable;
            continue;
        }
        stored = document.object().value("MCCVID").toString();
        wrongValue += stored == last || stored == next ? 0 : 1;
    }
    printf("kill campaign (preference writes): seed %lu, runs %d, unparsable %d, "
           "neither last nor next value %d\n",
           _seed, _runs, unparsable, wrongValue);
    EXPECT_EQ(unparsable, 0);
    EXPECT_EQ(wrongValue, 0);
}

int main(int argc, char **argv) {
    if (const char *role = getenv("KEO_KILL_CHILD"))
        runChild(role, atol(getenv("KEO_KILL_RUN") ? getenv("KEO_KILL_RUN") : "0"));
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
