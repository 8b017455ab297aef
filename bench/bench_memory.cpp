// Resident size after 200,000 hits tracked and delivered, against the size after the first
// 10,000: the library must not grow with the number of hits.
#include "BenchSupport.h"
#include "KEOMobile.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <thread>

// Batches of 500, each delivered before the next; the collector forgets what it received so
// that only the library's own memory is measured.
static void trackAndDrain(collector::Collector &server, int from, int to) {
    for (int batch = from; batch < to; batch += 500) {
        server.clear();
        for (int i = batch; i < batch + 500; ++i)
            KEOMobile::trackState("Page", {{"n", QString::number(i)}, {"shop.cart", "x"}});
        server.waitForHits(500, std::chrono::minutes(1));
    }
    server.clear();
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
}

static void BM_ResidentGrowthOver200kHits(benchmark::State &state) {
    collector::Collector server;
    server.start();
    bench::makeWorkDir(server.baseServer(), true);
    for (auto _ : state) {
        trackAndDrain(server, 0, 10000);
        const long after10k = bench::residentKb();
        trackAndDrain(server, 10000, 200000);
        const long after200k = bench::residentKb();
        state.counters["rss_10k_kb"] = static_cast<double>(after10k);
        state.counters["rss_200k_kb"] = static_cast<double>(after200k);
        state.counters["growth_kb"] = static_cast<double>(after200k - after10k);
    }
}
BENCHMARK(BM_ResidentGrowthOver200kHits)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();

BENCHMARK_MAIN();
