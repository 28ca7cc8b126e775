#!/usr/bin/env bash
# The main job: builds the module and the tools, then loads the module the way
# the scanner driver does and shows what it chose on this processor.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build -j "${QM_JOBS:-2}" --target qm_module qm_info
./build/qm_info
