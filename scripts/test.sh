#!/usr/bin/env bash
# Builds the module and runs the whole test suite, four ways:
#   1. release build (gcc): unit, host, tool and header tests, the install,
#      CMake/pkg-config consumers, the .deb and the Python binding;
#   2. the Windows DLL (mingw-w64) under Wine: unit, host and header tests,
#      and the same fixed calls compared byte for byte with the Linux module;
#   3. clang with address + undefined-behaviour sanitizers and libFuzzer:
#      the same tests plus a short fixed-count run of every fuzz harness;
#   4. clang with the thread sanitizer: the concurrency stress tests;
#   5. line coverage of src/ by the release suite (gcc --coverage, gcovr).
#   scripts/test.sh --quick    only the first
set -euo pipefail
cd "$(dirname "$0")/.."
quick=0
[ "${1:-}" = "--quick" ] && quick=1
if [ $quick -eq 1 ]; then bash scripts/install-deps.sh; else bash scripts/install-deps.sh --fuzz; fi
jobs="${QM_JOBS:-2}"

echo "== release build"
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build -j "$jobs"
ctest --test-dir build -j "$jobs" --output-on-failure
# The packaging and Python checks must be part of the run, not silently absent.
ctest --test-dir build -N -R '^(install_consumers|debian_package|python_binding)$' | grep -q 'Total Tests: 3' ||
  { echo "test.sh: the packaging and Python binding tests are missing from the suite" >&2; exit 1; }
[ $quick -eq 1 ] && exit 0

echo "== Windows DLL under Wine"
bash scripts/test-windows.sh

echo "== address + undefined-behaviour sanitizers, fuzz harnesses"
CC=clang CXX=clang++ cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DQM_SANITIZE=address,undefined -DQM_FUZZ=ON -DQM_BUILD_BENCH=OFF >/dev/null
cmake --build build-asan -j "$jobs"
ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
  ctest --test-dir build-asan -j "$jobs" --output-on-failure

echo "== thread sanitizer, concurrency stress"
CC=clang CXX=clang++ cmake -S . -B build-tsan -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DQM_SANITIZE=thread -DQM_BUILD_BENCH=OFF -DQM_BUILD_TOOLS=OFF >/dev/null
cmake --build build-tsan -j "$jobs" --target qm_unit_tests
TSAN_OPTIONS=halt_on_error=1 ./build-tsan/tests/qm_unit_tests --gtest_filter='Stress*'

echo "== line coverage of src/ by the release suite"
# -O1: the counters follow the source lines; the packaging checks add no module code.
cmake -S . -B build-cov -G Ninja -DCMAKE_BUILD_TYPE=None -DQM_BUILD_BENCH=OFF \
  -DCMAKE_C_FLAGS="-O1 --coverage" -DCMAKE_CXX_FLAGS="-O1 --coverage" \
  -DCMAKE_EXE_LINKER_FLAGS=--coverage -DCMAKE_SHARED_LINKER_FLAGS=--coverage >/dev/null
cmake --build build-cov -j "$jobs"
find build-cov -name '*.gcda' -delete
ctest --test-dir build-cov -j "$jobs" --output-on-failure -E '^(install_consumers|debian_package|python_binding)$'
gcovr -r . --object-directory build-cov --filter 'src/' -j "$jobs" --print-summary --fail-under-line 95 \
  --txt build-cov/coverage.txt | tail -3
