#pragma once
// Shared set-up of the benchmarks: a fresh working directory with a configuration that points
// at an in-process loopback collector, made before the library's first call.
#include "Collector.h"

#include <benchmark/benchmark.h>

#include <QByteArray>
#include <QString>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>
#include <vector>

namespace bench {

inline std::string makeWorkDir(const std::string &server, bool offlineEnabled) {
    char pattern[] = "/tmp/keobench-XXXXXX";
    const std::string dir = mkdtemp(pattern);
    if (std::system(("mkdir -p " + dir + "/data " + dir + "/app/native").c_str()) != 0)
        std::abort();
    FILE *config = std::fopen((dir + "/app/native/KEOMobileConfig.json").c_str(), "w");
    std::fprintf(config,
                 "{\"analytics\": {\"rsids\": \"bench\", \"server\": \"%s\", \"charset\": "
                 "\"UTF-8\", \"offlineEnabled\": %s}}\n",
                 server.c_str(), offlineEnabled ? "true" : "false");
    std::fclose(config);
    if (chdir(dir.c_str()) != 0)
        std::abort();
    return dir;
}

// Resident set size in kilobytes, from /proc.
inline long residentKb() {
    FILE *status = std::fopen("/proc/self/status", "r");
    char line[256];
    long kb = -1;
    while (status && std::fgets(line, sizeof line, status))
        if (std::sscanf(line, "VmRSS: %ld kB", &kb) == 1)
            break;
    if (status)
        std::fclose(status);
    return kb;
}

inline double percentile(std::vector<double> values, double p) {
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    const size_t index = std::min(values.size() - 1, static_cast<size_t>(p * values.size()));
    return values[index];
}

// The wall time of each timed call, reported as the benchmark's median and p99 counters.
class Latencies {
public:
    template <typename Fn> void time(Fn fn) {
        const auto start = std::chrono::steady_clock::now();
        fn();
        const auto end = std::chrono::steady_clock::now();
        _micros.push_back(std::chrono::duration<double, std::micro>(end - start).count());
    }
    void report(benchmark::State &state) const {
        state.counters["median_us"] = percentile(_micros, 0.50);
        state.counters["p99_us"] = percentile(_micros, 0.99);
    }
    const std::vector<double> &micros() const { return _micros; }

private:
    std::vector<double> _micros;
};

} // namespace bench
