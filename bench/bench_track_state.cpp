// The application thread's cost of one trackState with five context keys, from call to
// return, while the worker delivers to a loopback collector; beside it, in the same loop, a
// bare insert of the same URL bytes into a table of the same kind, the floor of any hit.
// Ends with one line: both medians, their ratio and trackState's p99.
#include "BenchSupport.h"
#include "KEOMobile.h"

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

namespace {

const QHash<QString, QString> &fiveKeys() {
    static const QHash<QString, QString> data{{"shop.cart.items", "3"},
                                              {"shop.cart.value", "42.50"},
                                              {"user.tier", "gold"},
                                              {"campaign", "spring"},
                                              {"screen.orientation", "portrait"}};
    return data;
}

// A table like the library's, in a file of its own beside it: write-ahead log,
// synchronous=NORMAL, one prepared insert with the URL and a timestamp bound as text.
class BareTable {
public:
    BareTable() {
        sqlite3_open("data/bare.sqlite", &_db);
        sqlite3_exec(_db,
                     "CREATE TABLE IF NOT EXISTS HITS (ID INTEGER PRIMARY KEY AUTOINCREMENT, URL "
                     "TEXT, TIMESTAMP INTEGER); PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL",
                     nullptr, nullptr, nullptr);
        sqlite3_prepare_v2(_db, "INSERT INTO HITS (url, timestamp) VALUES (@URL, @TS)", -1,
                           &_insert, nullptr);
    }
    void insert(const std::string &url) {
        char timestamp[32];
        std::snprintf(timestamp, sizeof timestamp, "%ld", static_cast<long>(time(nullptr)));
        sqlite3_bind_text(_insert, 1, url.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(_insert, 2, timestamp, -1, SQLITE_TRANSIENT);
        if (sqlite3_step(_insert) != SQLITE_DONE)
            std::abort();
        sqlite3_clear_bindings(_insert);
        sqlite3_reset(_insert);
    }

private:
    sqlite3 *_db = nullptr;
    sqlite3_stmt *_insert = nullptr;
};

struct Summary {
    double trackMedian = 0, trackP99 = 0, bareMedian = 0, bareP99 = 0;
    std::string workDir;
} summary;

} // namespace

static void BM_TrackStateFiveKeys(benchmark::State &state) {
    static collector::Collector server;
    static std::string url;
    static bool ready = [] {
        server.start();
        summary.workDir = bench::makeWorkDir(server.baseServer(), true);
        KEOMobile::trackState("Home", fiveKeys());
        // The bare insert stores exactly the bytes the library stored for this hit.
        if (!server.waitForHits(1, std::chrono::seconds(10)))
            std::abort();
        const collector::Hit hit = server.hits().front();
        url = "http://" + server.baseServer() + hit.path + "?" + hit.rawQuery;
        return true;
    }();
    (void)ready;
    BareTable bare;
    bench::Latencies track;
    bench::Latencies insert;
    // Alternated, so that both see the same load from the worker and the rest of the machine.
    for (auto _ : state) {
        insert.time([&] { bare.insert(url); });
        track.time([&] { KEOMobile::trackState("Home", fiveKeys()); });
    }
    track.report(state);
    summary.trackMedian = bench::percentile(track.micros(), 0.50);
    summary.trackP99 = bench::percentile(track.micros(), 0.99);
    summary.bareMedian = bench::percentile(insert.micros(), 0.50);
    summary.bareP99 = bench::percentile(insert.micros(), 0.99);
    state.counters["bare_median_us"] = summary.bareMedian;
    state.counters["ratio"] = summary.trackMedian / summary.bareMedian;
}
BENCHMARK(BM_TrackStateFiveKeys)->Iterations(5000)->Unit(benchmark::kMicrosecond);

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::printf("trackState median %.1f us, p99 %.1f us; bare insert of the same URL median "
                "%.1f us, p99 %.1f us; ratio %.2f (goals: ratio <= 2.0, p99 <= 100 us)\n",
                summary.trackMedian, summary.trackP99, summary.bareMedian, summary.bareP99,
                summary.trackMedian / summary.bareMedian);
    // The working directory with its tables goes; nothing else of the run is kept.
    return summary.workDir.empty() || std::system(("rm -rf " + summary.workDir).c_str()) == 0 ? 0
                                                                                              : 1;
}
