// The application thread's cost of one trackState with five context keys, from call to
// return, while the worker delivers to a loopback collector.
#include "BenchSupport.h"
#include "KEOMobile.h"

#include <benchmark/benchmark.h>

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
    bench::Latencies latencies;
    for (auto _ : state)
        latencies.time([&] { KEOMobile::trackState("Home", data); });
    latencies.report(state);
}
BENCHMARK(BM_TrackStateFiveKeys)->Iterations(5000)->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
