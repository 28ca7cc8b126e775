#!/usr/bin/env bash
# Cross-builds the module for 64-bit Windows into build-windows/ippiQM300-x64.dll
# with Debian's mingw-w64 and shows its export and import tables.
#   scripts/build-windows.sh            the DLL
#   scripts/build-windows.sh --tests    also the test programs that run under Wine
set -euo pipefail
cd "$(dirname "$0")/.."
tests=0
[ "${1:-}" = "--tests" ] && tests=1
bash scripts/install-deps.sh --windows
jobs="${QM_JOBS:-2}"

cmake -S . -B build-windows -G Ninja -DCMAKE_BUILD_TYPE=Release \
  -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64.cmake \
  -DQM_BUILD_TESTS=$([ $tests -eq 1 ] && echo ON || echo OFF) \
  -DQM_BUILD_BENCH=OFF -DQM_BUILD_TOOLS=OFF >/dev/null
targets=(qm_module)
[ $tests -eq 1 ] && targets+=(qm_unit_tests qm_host_tests qm_c_header_test qm_fixed_calls qm_windows_host)
cmake --build build-windows -j "$jobs" --target "${targets[@]}"

dll=build-windows/ippiQM300-x64.dll
x86_64-w64-mingw32-objdump -p "$dll" |
  awk '/^Ordinal Base/ || /^\t\[ *[0-9]+\] / || /^\tDLL Name:/ { print }'
