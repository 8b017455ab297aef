#!/usr/bin/env bash
# Installs what is missing, builds the demo and runs it: a loopback collector and a scripted
# application session in build/demo-run/, every hit shown as it arrives, then a summary.
# Exit status 0 only when every hit the demo sent arrived.
set -euo pipefail
cd "$(dirname "$0")"
./scripts/install-deps.sh

jobs=$(nproc)
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
echo "Building the demo..."
cmake --build build -j"$jobs" --target keo-demo keo-queue >/dev/null
exec build/tools/demo/keo-demo --dir build/demo-run "$@"
