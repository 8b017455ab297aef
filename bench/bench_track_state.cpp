// The application thread's cost of one trackState with five context keys, from call to
// return, while the worker delivers to a loopback collector.
#include "BenchSupport.h"
#include "KEOMobile.h"

#include <benchmark/benchmark.h>

#include <chrono>

static void BM_TrackStateFiveKeys(benchmark::State &state) {
    static collector::Collector server;
    static bool ready = [] {
        server.start();
        bench::makeWorkDir(server.baseServer(), true);
        KEOMobile::trackState("Warm-up", {});
        return true;
    }();
    (void)ready;
    const QHash<QString, QString> data{{"shop.cart.items", "3"},
                                       {"shop.cart.value", "42.50"},
                                       {"user.tier", "gold"},
                                       {"campaign", "spring"},
                                       {"screen.orientation", "portrait"}};
    std::vector<double> micros;
    micros.reserve(100000);
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        KEOMobile::trackState("Home", data);
        const auto end = std::chrono::steady_clock::now();
        micros.push_back(std::chrono::duration<double, std::micro>(end - start).count());
    }
    state.counters["median_us"] = bench::percentile(micros, 0.50);
    state.counters["p99_us"] = bench::percentile(micros, 0.99);
}
BENCHMARK(BM_TrackStateFiveKeys)->Iterations(5000)->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
