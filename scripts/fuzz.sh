#!/usr/bin/env bash
# Builds the libFuzzer targets with clang-14 in build-fuzz and runs each for N seconds
# (default 20), as many at once as there are cores, starting from the seed corpus in
# fuzz/corpus. Fails on any crash, leak or sanitizer report; the input that caused it is left
# in build-fuzz/artifacts. KEOMOBILE_QT_MAJOR=6 fuzzes the Qt 6 build, in build-fuzz-qt6.
#   scripts/fuzz.sh [seconds] [target...]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-20}
shift || true
targets=("$@")
[ ${#targets[@]} -eq 0 ] && targets=(fuzz_context fuzz_json fuzz_startup_files fuzz_media)

major=${KEOMOBILE_QT_MAJOR:-5}
out=build-fuzz
[ "$major" = 6 ] && out=build-fuzz-qt6
cmake -S . -B "$out" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_C_COMPILER=clang-14 -DCMAKE_CXX_COMPILER=clang++-14 \
  -DKEOMOBILE_BUILD_FUZZ=ON -DKEOMOBILE_BUILD_TESTS=OFF -DKEOMOBILE_BUILD_BENCH=OFF \
  -DKEOMOBILE_QT_MAJOR="$major" >/dev/null
cmake --build "$out" -j2 --target "${targets[@]}"

mkdir -p "$out"/artifacts
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
# One target per core at a time: each fuzzer is a single process.
fuzz_one() {
  local target=$1
  local seeds=fuzz/corpus/${target#fuzz_}
  # New inputs go to a scratch corpus, so the committed seeds only change by hand.
  local work=$out/corpus/${target#fuzz_}
  mkdir -p "$work"
  local env=()
  # Qt 5's JSON parser leaks on a repeated key (see the file); telling its frames apart needs
  # the slow unwinder, as Qt is built without frame pointers: the target runs at about 40% pace.
  if [ "$target" = fuzz_json ] && [ "$major" = 5 ]; then
    env=(ASAN_OPTIONS=fast_unwind_on_malloc=0 LSAN_OPTIONS=suppressions=$PWD/fuzz/qt5-json-parser.supp)
  fi
  env "${env[@]}" "$out"/fuzz/"$target" -max_total_time="$seconds" -timeout=10 \
    -max_len=4096 -artifact_prefix="$out"/artifacts/"$target"- -print_final_stats=1 "$work" "$seeds" \
    >"$out/$target.log" 2>&1
}

failed=()
report() {
  local target=$1 status=$2
  echo "== $target, ${seconds}s =="
  grep -E "DONE|stat::number_of_executed_units|ERROR|SUMMARY" "$out/$target.log" || true
  if [ "$status" -ne 0 ]; then
    tail -40 "$out/$target.log"
    failed+=("$target")
  fi
}

slots=$(nproc)
for ((i = 0; i < ${#targets[@]}; i += slots)); do
  batch=("${targets[@]:i:slots}")
  pids=()
  for target in "${batch[@]}"; do
    fuzz_one "$target" &
    pids+=($!)
  done
  for j in "${!batch[@]}"; do
    status=0
    wait "${pids[$j]}" || status=$?
    report "${batch[$j]}" "$status"
  done
done
if [ ${#failed[@]} -ne 0 ]; then
  echo "failed: ${failed[*]}; the inputs are in $out/artifacts"
  exit 1
fi
