#!/usr/bin/env bash
# Installs what is missing, builds warning-free, runs every test against Qt 5 and then Qt 6,
# then builds again (Qt 5) with AddressSanitizer and UndefinedBehaviorSanitizer and runs the same
# tests, runs the thread stress and exit tests under ThreadSanitizer, and fuzzes each libFuzzer
# target for 30 s against Qt 5 and 20 s against Qt 6.
set -euo pipefail
cd "$(dirname "$0")"
./scripts/install-deps.sh

jobs=$(nproc)
# Each stage says when it starts, counted from the start, so that a slow run shows where.
stage() { echo "== $* (at $((SECONDS / 60))m$((SECONDS % 60))s) =="; }
run_suite() {
  local dir=$1; shift
  cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKEOMOBILE_WERROR=ON "$@" >/dev/null
  cmake --build "$dir" -j"$jobs"
  (cd "$dir" && ctest --output-on-failure -j"$jobs" --timeout 300)
}

stage "Build and test"
run_suite build
stage "Build and test against Qt 6"
# The same suite against Qt 6; it also compares one session's hits and preferences with the Qt 5
# build's above, and installs both builds into one prefix.
run_suite build-qt6 -DKEOMOBILE_QT_MAJOR=6 -DKEOMOBILE_COMPARE_BUILD="$PWD/build"
stage "Build and test with AddressSanitizer and UndefinedBehaviorSanitizer"
# Without the package tests (label "package", left out by tests/CMakeLists.txt here): they
# build, install and link trees of their own, which the sanitizer flags don't reach; the
# library's memory behaviour is what the rest of the suite covers.
ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  run_suite build-asan -DKEOMOBILE_SANITIZE=ON -DKEOMOBILE_BUILD_BENCH=OFF
stage "Thread stress test with ThreadSanitizer"
run_suite build-tsan -DKEOMOBILE_TSAN=ON -DKEOMOBILE_BUILD_BENCH=OFF -DKEOMOBILE_BUILD_TOOLS=OFF
stage "Fuzzing, 30 s per target"
scripts/fuzz.sh 30
stage "Fuzzing against Qt 6, 20 s per target"
# Each major parses JSON and converts values with its own code.
KEOMOBILE_QT_MAJOR=6 scripts/fuzz.sh 20
stage "Test volume"
# Sources of every language the project has (C++, QML, JavaScript, Python, HTML, CSS), tracked
# (every file where there is no git checkout): the tests and fuzz targets, with their CMake lists,
# as a share of all of it; bench/, docs/, cmake/ and scripts/ are left out.
sources() { { git ls-files 2>/dev/null || find . -type f | sed 's|^\./||'; } | grep -v -E '^(bench|docs|cmake|scripts|\.ci)/'; }
tests=$(sources | grep -E '^(tests|fuzz)/' | grep -E '\.(c|cc|cpp|h|hpp|qml|js|py|html|css)$|CMakeLists.txt$' |
  xargs -r cat | wc -l)
code=$(sources | grep -v -E '^(tests|fuzz)/' | grep -E '\.(c|cc|cpp|h|hpp|qml|js|py|html|css)$' |
  xargs -r cat | wc -l)
all=$((tests + code))
echo "tests/ + fuzz/: $tests lines of $all source lines in all;" \
  "share $((100 * tests / all)).$((1000 * tests / all % 10))% (bar 25-33%)"
stage "Done"
