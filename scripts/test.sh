#!/usr/bin/env bash
# Builds the module and runs the whole test suite.
#   scripts/test.sh            release build in build/
#   QM_SANITIZE=address,undefined scripts/test.sh   instrumented build in build-asan/
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
jobs="${QM_JOBS:-2}"
if [ -n "${QM_SANITIZE:-}" ]; then
  dir="build-${QM_SANITIZE//[,]/-}"
  cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQM_SANITIZE="$QM_SANITIZE" \
        -DQM_BUILD_BENCH=OFF
else
  dir=build
  cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=Release
fi
cmake --build "$dir" -j "$jobs"
ctest --test-dir "$dir" -j "$jobs" --output-on-failure
