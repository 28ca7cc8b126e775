#!/usr/bin/env bash
# Builds the Debian package ippiqm300_<version>_amd64.deb (module, header,
# CMake and pkg-config files, qm300, documentation) from the install rules.
#   scripts/package.sh          -> dist/ippiqm300_<version>_amd64.deb
# QM_BUILD_DIR (default build) and QM_DIST_DIR (default dist) override the folders.
set -euo pipefail
cd "$(dirname "$0")/.."
[ -n "${QM_NO_DEPS:-}" ] || bash scripts/install-deps.sh
build="${QM_BUILD_DIR:-build}"
dist="${QM_DIST_DIR:-dist}"
[ -f "$build/CMakeCache.txt" ] || cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$build" -j "${QM_JOBS:-2}" --target qm_module qm300
mkdir -p "$dist"
cpack --config "$build/CPackConfig.cmake" -B "$(cd "$dist" && pwd)/cpack" >/dev/null
mv "$dist"/cpack/*.deb "$dist"/
rm -rf "$dist/cpack"
ls "$dist"/*.deb
