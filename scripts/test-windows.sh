#!/usr/bin/env bash
# The Wine stage: cross-builds the DLL and the test programs that need it,
# runs them under Wine (unit tests of every implementation set, the host
# tests through LoadLibrary, the C header from C) and compares the bytes of
# the same fixed calls through the Linux module and through the DLL.
set -euo pipefail
cd "$(dirname "$0")/.."
jobs="${QM_JOBS:-2}"

bash scripts/build-windows.sh --tests
# The Linux side of the comparison (already built when the release stage ran).
[ -f build/CMakeCache.txt ] || cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build -j "$jobs" --target qm_module qm_fixed_calls

# A private prefix in the build folder, headless and without input; the
# first start builds it (once per run), the server then stays up until the end.
export WINEPREFIX="$PWD/build-windows/wineprefix" WINEARCH=win64 WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml="
unset DISPLAY WAYLAND_DISPLAY
mkdir -p "$WINEPREFIX"
wineserver -p
trap 'wineserver -k 2>/dev/null || true' EXIT
wineboot -i </dev/null >/dev/null 2>&1

ctest --test-dir build-windows -j "$jobs" --output-on-failure

echo "== the same fixed calls on Linux and under Wine"
./build/tests/qm_fixed_calls build/ippiQM300-x64.so build-windows/fixed-calls-linux.bin
(cd build-windows && ../scripts/wine-run.sh qm_fixed_calls.exe ippiQM300-x64.dll fixed-calls-windows.bin)
./build/tests/qm_fixed_calls --compare build-windows/fixed-calls-linux.bin build-windows/fixed-calls-windows.bin
