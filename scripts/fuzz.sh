#!/usr/bin/env bash
# Builds the libFuzzer targets with clang-14 in build-fuzz and runs each for N seconds
# (default 20), as many at once as there are cores, starting from the seed corpus in
# fuzz/corpus. Fails on any crash, leak or sanitizer report; the input that caused it is left
# in build-fuzz/artifacts.
#   scripts/fuzz.sh [seconds] [target...]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-20}
shift || true
targets=("$@")
[ ${#targets[@]} -eq 0 ] && targets=(fuzz_context fuzz_startup_files fuzz_media)

cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_C_COMPILER=clang-14 -DCMAKE_CXX_COMPILER=clang++-14 \
  -DKEOMOBILE_BUILD_FUZZ=ON -DKEOMOBILE_BUILD_TESTS=OFF -DKEOMOBILE_BUILD_BENCH=OFF >/dev/null
cmake --build build-fuzz -j2 --target "${targets[@]}"

mkdir -p build-fuzz/artifacts
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
# One target per core at a time: each fuzzer is a single process.
fuzz_one() {
  local target=$1
  local seeds=fuzz/corpus/${target#fuzz_}
  # New inputs go to a scratch corpus, so the committed seeds only change by hand.
  local work=build-fuzz/corpus/${target#fuzz_}
  mkdir -p "$work"
  build-fuzz/fuzz/"$target" -max_total_time="$seconds" -timeout=10 -max_len=4096 \
    -artifact_prefix=build-fuzz/artifacts/"$target"- -print_final_stats=1 "$work" "$seeds" \
    >"build-fuzz/$target.log" 2>&1
}

failed=()
report() {
  local target=$1 status=$2
  echo "== $target, ${seconds}s =="
  grep -E "DONE|stat::number_of_executed_units|ERROR|SUMMARY" "build-fuzz/$target.log" || true
  if [ "$status" -ne 0 ]; then
    tail -40 "build-fuzz/$target.log"
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
  echo "failed: ${failed[*]}; the inputs are in build-fuzz/artifacts"
  exit 1
fi
