#!/usr/bin/env bash
# The main job: builds the module and qm300, then runs the demo, which
# synthesises a scanned page, runs the scanner filters on it and writes the
# pictures to qm300-demo/ (or the folder given as the first argument).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build -j "${QM_JOBS:-2}" --target qm_module qm300
./build/qm300 info
echo
./build/qm300 demo --out "${1:-qm300-demo}"
