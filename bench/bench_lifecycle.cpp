// The cost of the application's awake() on the thread that emits it, which runs
// KEOLifecycle::start() directly: a new launch (counters, the lifecycle hit stored, the session
// flags rewritten) against a resume within the session timeout (the session start moved on), and
// the asleep() that ends each.
// Each is measured after an asleep(), a clean stop; the new launch's stop is dated back past the
// timeout, as if the application had been away for longer.
#include "BenchSupport.h"
#include "KEOMobile.h"
#include "KEOSharedPreferences.h"

#include <bb/cascades/Application>
#include <desktop/DesktopPlatform.h>

#include <benchmark/benchmark.h>

#include <ctime>

// The configuration's default lifecycleTimeout.
static const long SESSION_TIMEOUT_S = 300;

static void writeDescriptor() {
    FILE *xml = std::fopen("app/native/bar-descriptor.xml", "w");
    std::fprintf(xml, "<qnx xmlns=\"http://www.qnx.com/schemas/application/1.0\">"
                      "<name>Bench</name><versionNumber>1.0.0</versionNumber></qnx>\n");
    std::fclose(xml);
}

// Times each awake(), after an asleep() and the given change of the stored state. "launches"
// counts the new launches among them, from the stored counter.
template <typename Prepare> static void measureAwake(benchmark::State &state, Prepare prepare) {
    KEOSharedPreferences *prefs = KEOSharedPreferences::sharedInstance();
    const long launchesBefore = prefs->getLong("Launches");
    bench::Latencies latencies;
    for (auto _ : state) {
        desktop::emitAsleep();
        prepare();
        latencies.time([] { desktop::emitAwake(); });
    }
    latencies.report(state);
    state.counters["launches"] = static_cast<double>(prefs->getLong("Launches") - launchesBefore);
}

static void BM_AwakeNewLaunch(benchmark::State &state) {
    measureAwake(state, [] {
        const long longAgo = static_cast<long>(std::time(nullptr)) - SESSION_TIMEOUT_S - 1;
        KEOSharedPreferences::sharedInstance()->putLong("PauseTime", longAgo);
    });
}
BENCHMARK(BM_AwakeNewLaunch)->Iterations(500)->Unit(benchmark::kMicrosecond);

static void BM_AwakeResume(benchmark::State &state) {
    measureAwake(state, [] {});
}
BENCHMARK(BM_AwakeResume)->Iterations(2000)->Unit(benchmark::kMicrosecond);

// The cost of asleep(): the clean close and the pause stored, after a resume.
static void BM_Asleep(benchmark::State &state) {
    bench::Latencies latencies;
    for (auto _ : state) {
        desktop::emitAwake();
        latencies.time([] { desktop::emitAsleep(); });
    }
    latencies.report(state);
}
BENCHMARK(BM_Asleep)->Iterations(2000)->Unit(benchmark::kMicrosecond);

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    collector::Collector server;
    server.start();
    bench::makeWorkDir(server.baseServer(), true);
    writeDescriptor();
    // The application object and the lifecycle on this thread, so awake() runs start() here.
    bb::cascades::Application app(argc, argv);
    KEOMobile::collectLifecycleData();
    // The install launch, once, out of the measurements.
    desktop::emitAwake();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
