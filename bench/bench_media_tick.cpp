// The cost of one monitor tick of a playing item: the engine run that the item's monitor thread
// makes once a second (a Monitor event at offset -1, the position worked out from the clock),
// called here directly so that no thread ticks beside the measurement. The item is an hour long
// with milestones at 25/50/75 % and segments by milestone, as an application would set them.
#include "BenchSupport.h"
#include "KEOMediaAnalytics.h"

#include <benchmark/benchmark.h>

static KEOMediaAnalytics *playingItem(const QString &name, int trackSeconds) {
    static collector::Collector server;
    static bool ready = [] {
        server.start();
        bench::makeWorkDir(server.baseServer(), true);
        return true;
    }();
    (void)ready;
    KEOMediaAnalytics *media = KEOMediaAnalytics::sharedInstance();
    media->trackMilestones = QString("25,50,75");
    media->segmentByMilestones = true;
    media->trackSeconds = trackSeconds;
    media->open(name, 3600, "Player", "");
    // Played through the engine rather than play(), which would start the monitor thread.
    media->playerEvent(name, KEOMediaEventTypePlay, {}, 0, 0, QString());
    return media;
}

template <typename Tick> static void measureTicks(benchmark::State &state, Tick tick) {
    bench::Latencies latencies;
    int second = 0;
    for (auto _ : state) {
        ++second;
        latencies.time([&] { tick(second); });
    }
    latencies.report(state);
}

// The usual tick: no milestone crossed, no seconds timer, so no hit.
static void BM_MonitorTick(benchmark::State &state) {
    KEOMediaAnalytics *media = playingItem("Movie", 0);
    measureTicks(state, [media](int) {
        media->playerEvent("Movie", KEOMediaEventTypeMonitor, {}, -1.0, 0, QString());
    });
    media->close("Movie");
}
BENCHMARK(BM_MonitorTick)->Iterations(50000)->Unit(benchmark::kMicrosecond);

// A tick that stores a hit: a one-second timer and a position one second on at each tick.
static void BM_MonitorTickWithHit(benchmark::State &state) {
    KEOMediaAnalytics *media = playingItem("Clip", 1);
    measureTicks(state, [media](int second) {
        media->playerEvent("Clip", KEOMediaEventTypeMonitor, {}, second, 0, QString());
    });
    media->close("Clip");
}
BENCHMARK(BM_MonitorTickWithHit)->Iterations(3000)->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
