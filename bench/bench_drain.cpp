// How fast the worker empties the table against a loopback collector, beside the raw rate of
// one reused libcurl handle against the same server in the same run.
#include "BenchSupport.h"
#include "KEOAnalyticsWorker.h"
#include "KEOMobile.h"

#include <benchmark/benchmark.h>
#include <curl/curl.h>
#include <sqlite3.h>

#include <chrono>

static const int HITS = 3000;

static collector::Collector &server() {
    static collector::Collector instance;
    static bool started = instance.start();
    (void)started;
    return instance;
}

static std::string hitUrl(int i) {
    return "http://" + server().baseServer() +
           "/b/ss/bench/0/BBN-4.0.0/s1?AQB=1&ndh=1&pageName=Page" + std::to_string(i) +
           "&c.&a.&OSVersion=BB%2010&.a&.c&AQE=1";
}

static size_t discard(char *, size_t size, size_t count, void *) {
    return size * count;
}

static void BM_RawCurlReusedHandle(benchmark::State &state) {
    CURL *curl = curl_easy_init();
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, discard);
    for (auto _ : state) {
        for (int i = 0; i < HITS; ++i) {
            curl_easy_setopt(curl, CURLOPT_URL, hitUrl(i).c_str());
            curl_easy_perform(curl);
        }
    }
    curl_easy_cleanup(curl);
    state.counters["hits_per_s"] =
        benchmark::Counter(HITS * state.iterations(), benchmark::Counter::kIsRate);
}
static void BM_RawCurlWorkerOptions(benchmark::State &state) {
    CURL *curl = curl_easy_init();
    char errorBuffer[CURL_ERROR_SIZE];
    curl_slist *headers = curl_slist_append(nullptr, "User-Agent: bench");
    headers = curl_slist_append(headers, "Accept-Language: en-us");
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(curl, CURLOPT_HTTPGET, 1L);
    curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, errorBuffer);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT, 10L);
    for (auto _ : state) {
        for (int i = 0; i < HITS; ++i) {
            curl_easy_setopt(curl, CURLOPT_URL, hitUrl(i).c_str());
            curl_easy_perform(curl);
        }
    }
    curl_easy_cleanup(curl);
    curl_slist_free_all(headers);
    state.counters["hits_per_s"] =
        benchmark::Counter(HITS * state.iterations(), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_RawCurlWorkerOptions)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

BENCHMARK(BM_RawCurlReusedHandle)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

static void BM_WorkerDrain(benchmark::State &state) {
    bench::makeWorkDir(server().baseServer(), true);
    for (auto _ : state) {
        state.PauseTiming();
        // Rows as an earlier run would leave them; the worker starts with the singleton.
        sqlite3 *db = nullptr;
        sqlite3_open("data/KEOAnalyticsCache.sqlite", &db);
        sqlite3_exec(db,
                     "CREATE TABLE IF NOT EXISTS HITS (ID INTEGER PRIMARY KEY AUTOINCREMENT, URL "
                     "TEXT, TIMESTAMP INTEGER); BEGIN",
                     nullptr, nullptr, nullptr);
        for (int i = 0; i < HITS; ++i) {
            const std::string sql = "INSERT INTO HITS (url, timestamp) VALUES ('" + hitUrl(i) +
                                    "', strftime('%s','now'))";
            sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr);
        }
        sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
        sqlite3_close(db);
        server().clear();
        state.ResumeTiming();
        KEOAnalyticsWorker::sharedInstance();
        server().waitForHits(HITS, std::chrono::minutes(5));
    }
    state.counters["hits_per_s"] =
        benchmark::Counter(HITS * state.iterations(), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_WorkerDrain)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

BENCHMARK_MAIN();
