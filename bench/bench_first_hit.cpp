// The first hit of a fresh installation on the calling thread (sandbox made, configuration read,
// store created, hit stored) against the first hit in a hand-made sandbox, in one run. Each
// first hit is a new process, forked before the library's first call; the second benchmark
// reports the ratio of the two medians (goal: at most 1.2).
#include "BenchSupport.h"

#include <KEOMobile.h>
#include <desktop/DesktopPlatform.h>

#include <QCoreApplication>

#include <sys/wait.h>

static const char *CONFIG = "{\"analytics\": {\"rsids\": \"bench\", \"server\": \"127.0.0.1:9\", "
                            "\"charset\": \"UTF-8\", \"offlineEnabled\": true}}\n";
static double handMadeMedian = 0;

// Runs prepare, then times first in a child of its own; the child's microseconds.
template <typename Prepare, typename First> static double inChild(Prepare prepare, First first) {
    int channel[2];
    if (pipe(channel) != 0)
        std::abort();
    const pid_t child = fork();
    if (child == 0) {
        prepare();
        const auto start = std::chrono::steady_clock::now();
        first();
        const double micros =
            std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start)
                .count();
        if (write(channel[1], &micros, sizeof micros) != sizeof micros)
            _exit(1);
        _exit(0); // the worker's delivery is not part of the first hit
    }
    double micros = 0;
    if (read(channel[0], &micros, sizeof micros) != sizeof micros)
        std::abort();
    close(channel[0]);
    close(channel[1]);
    waitpid(child, nullptr, 0);
    return micros;
}

static void trackFirst() {
    KEOMobile::trackState("Home", {});
}

static void BM_FirstHitHandMadeSandbox(benchmark::State &state) {
    std::vector<double> micros;
    for (auto _ : state) {
        micros.push_back(inChild(
            [] {
                const std::string dir = bench::makeWorkDir("127.0.0.1:9", true);
                (void)dir;
            },
            trackFirst));
        state.SetIterationTime(micros.back() / 1e6);
    }
    handMadeMedian = bench::percentile(micros, 0.5);
    state.counters["median_us"] = handMadeMedian;
}
BENCHMARK(BM_FirstHitHandMadeSandbox)
    ->Iterations(40)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

static void BM_FirstHitFreshInstallation(benchmark::State &state) {
    std::vector<double> micros;
    for (auto _ : state) {
        micros.push_back(inChild(
            [] {
                char pattern[] = "/tmp/keobench-XXXXXX";
                const std::string dir = mkdtemp(pattern);
                if (std::system(("mkdir -p " + dir + "/etc/Bench/First").c_str()) != 0)
                    std::abort();
                FILE *config =
                    std::fopen((dir + "/etc/Bench/First/KEOMobileConfig.json").c_str(), "w");
                std::fputs(CONFIG, config);
                std::fclose(config);
                setenv("XDG_CONFIG_DIRS", (dir + "/etc").c_str(), 1);
                setenv("XDG_DATA_HOME", (dir + "/share").c_str(), 1);
                QCoreApplication::setOrganizationName("Bench");
                QCoreApplication::setApplicationName("First");
                QCoreApplication::setApplicationVersion("1.0");
            },
            [] {
                desktop::useApplicationSandbox();
                trackFirst();
            }));
        state.SetIterationTime(micros.back() / 1e6);
    }
    const double median = bench::percentile(micros, 0.5);
    state.counters["median_us"] = median;
    if (handMadeMedian > 0)
        state.counters["ratio_to_hand_made"] = median / handMadeMedian;
}
BENCHMARK(BM_FirstHitFreshInstallation)
    ->Iterations(40)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
